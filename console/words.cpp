// The words that begin with "/": one table, from which they are run and the help is made.
#include <algorithm>
#include <cstdlib>

#include "console/client.h"
#include "console/text.h"

namespace {

// A word is a command of the protocol and what is done with it.
struct Word {
  std::string_view name, arguments, meaning;
  // As in_words has it: {1} to {3} are the words behind the name, as far as they are asked for,
  // {rest} is what follows them.
  std::string_view command;
  void (*run)(Client&, const std::string& command, const std::string& entered) = nullptr;
};

// The command's events are a list to choose from.
void list(Client& c, const std::string& command, const std::string& entered) {
  c.list = {entered, c.last_id + 1, {}, true};
  say(c, command);
}

// A chat of the list that has this in its title, or of that id.
void open(Client& c, const std::string& wanted, const std::string&) {
  std::int64_t found = std::strtoll(wanted.c_str(), nullptr, 10);
  for (const std::int64_t id : chat_order(c)) {
    if (found == 0 && chat_title(c, id).find(wanted) != std::string::npos) found = id;
  }
  if (found == 0) return tell(c, "No chat here is called " + wanted, true);
  open_chat(c, found);
}

void leave(Client& c, const std::string&, const std::string&) { open_chat(c, 0); }

void jump(Client& c, const std::string& command, const std::string&) { load_messages(c, command); }

void help(Client& c, const std::string&, const std::string&) {
  c.list = {"Help", 0, words_help(""), true};
}

// A second one does not wait for the backend's answer.
void quit(Client& c, const std::string& command, const std::string&) {
  if (c.quitting && c.backend.pid > 0) kill(c.backend.pid, SIGKILL);
  c.quitting = true;
  say(c, command);
}

constexpr Word kWords[] = {
    {"open", "<chat id, or a part of its title>", "shows a chat", "{rest}", open},
    {"close", "", "leaves it", "close", leave},
    {"name", "<public name>", "shows the chat of a public name", "resolve {1}"},
    {"reply", "<message id> <text>", "answers a message", "send64 {chat} {1} {rest:base64}"},
    {"edit", "<message id> <text>", "changes a message", "edit64 {chat} {1} {rest:base64}"},
    {"delete", "<message id>", "deletes it here", "delete {chat} self {1}"},
    {"revoke", "<message id>", "deletes it for all", "delete {chat} all {1}"},
    {"react", "<message id> <emoji>", "adds a reaction", "react {chat} {1} {2} add"},
    {"unreact", "<message id> <emoji>", "takes it back", "react {chat} {1} {2} remove"},
    {"pin", "<message id>", "pins a message", "pin {chat} {1} 1"},
    {"forward", "<message id> <chat id>", "forwards a message", "forward {2} {chat} {1}"},
    {"again", "<message id>", "sends one that failed once more", "send_again {chat} {1}"},
    {"get", "<message id>", "downloads a message's file", "downloadp {1:file}"},
    {"stop", "<message id>", "stops that download", "cancel {1:file}"},
    {"file", "<path> [caption]", "sends a file",
     "sendfile64 {chat} {1:base64}{rest? {rest:base64}}"},
    {"photo", "<path> [caption]", "sends a photo",
     "sendphoto64 {chat} {1:base64}{rest? {rest:base64}}"},
    {"find", "<text>", "searches the open chat", "chat_search64 {id} {chat} {rest:base64}", list},
    {"search", "<text>", "searches for public chats", "search_server64 {id} {rest:base64}", list},
    {"media", "<photo|video|file|link>", "lists shared media", "shared64 {id} {chat} {1}", list},
    {"pins", "", "lists pinned messages", "pinned_list {chat}", list},
    {"jump", "<message id>", "shows what stands around it", "history_jump {chat} {1}", jump},
    {"info", "", "tells what is known of the chat", "chat_info {chat}"},
    {"mute", "", "mutes the chat, or unmutes it", "mute_toggle {chat}"},
    {"join", "", "joins the open chat", "join {chat}"},
    {"leave", "", "leaves it", "leave {chat}"},
    {"more", "", "loads more of the chat list", "chats_more"},
    {"call", "", "calls the other side", "call_start {user}"},
    {"accept", "", "takes a call", "call_accept {call}"},
    {"hangup", "", "ends or declines it", "call_discard {call}"},
    {"proxy", "<server> <port> <secret>", "uses a proxy", "proxy_try_mtproto {1} {2} {3}"},
    {"noproxy", "", "uses none", "proxy_disable"},
    {"qr", "", "logs in by another device", "qr"},
    {"resend", "", "asks for another code", "resend"},
    {"logout", "", "logs out", "logout"},
    {"raw", "<command>", "a command of the protocol, as it is", "{rest}"},
    {"help", "", "shows this", "help", help},
    {"quit", "", "ends it", "quit", quit},
};

std::string usage(const Word& word) {
  return "/" + std::string(word.name) + " " + std::string(word.arguments);
}

void run(Client& c, const Word& word, std::string_view line) {
  const auto id_text = [](std::int64_t id) { return id == 0 ? "" : std::to_string(id); };
  std::string entered = "/" + std::string(word.name) + (line.empty() ? "" : " ");
  entered += line;
  Event parts;
  for (const char* name : {"1", "2", "3"}) {
    const bool asked = word.command.find("{" + std::string(name)) != std::string_view::npos;
    if (asked) parts.members[name] = take_word(line);
  }
  parts.members["rest"] = line;
  parts.members["id"] = std::to_string(c.last_id + 1);
  parts.members["chat"] = id_text(c.open_chat);
  parts.members["user"] = id_text(other_side(c, c.open_chat));
  parts.members["call"] = c.of("call_update").str("call_id");
  const std::string command = in_words(c, parts, word.command);
  // What there is not leaves its blank behind; blanks in what goes as it is are the person's.
  if (command.empty() || command.back() == ' ' ||
      (command != line && command.find("  ") != std::string::npos)) {
    return tell(c, "Something is missing: " + usage(word), true);
  }
  word.run ? word.run(c, command, entered) : static_cast<void>(say(c, command));
}

}  // namespace

List::Row help_row(const std::string& what, const std::string& meaning, const std::string& words) {
  const std::size_t gap = what.size() < 32 ? 32 - what.size() : 1;
  return {kKeyword + what + std::string(gap, ' ') + kPlain + meaning, words};
}

std::vector<List::Row> words_help(std::string_view begin) {
  std::vector<List::Row> rows;
  for (const Word& w : kWords) {
    if (w.name.substr(0, begin.size()) != begin) continue;
    const std::string name = "/" + std::string(w.name);
    rows.push_back(help_row(usage(w), std::string(w.meaning), name + " "));
  }
  return rows;
}

void run_word(Client& c, std::string_view line) {
  const std::string name = take_word(line);
  const auto word = std::find_if(std::begin(kWords), std::end(kWords),
                                 [&](const Word& w) { return w.name == name; });
  if (word != std::end(kWords)) return run(c, *word, line);
  tell(c, "There is no /" + name + "; /help lists what there is", true);
}
