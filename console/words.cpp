// The words that begin with "/": one table, from which they are run and the help is made.
#include <cstdlib>

#include "console/client.h"
#include "console/text.h"

namespace {

struct Word {
  std::string_view name, arguments, meaning;
  // The command that it becomes, as in_words has it, made of the members of parts_of.
  std::string_view command;
  bool lists = false;  // the command's events are a list to choose from
  // In place of a command. False: the arguments will not do.
  bool (*run)(Client&, const std::string& rest) = nullptr;
};

std::string usage(const Word& word) {
  return "/" + std::string(word.name) + " " + std::string(word.arguments);
}

// A chat of the list that has this in its title, or of that id.
bool run_open(Client& c, const std::string& wanted) {
  std::int64_t found = std::strtoll(wanted.c_str(), nullptr, 10);
  for (const std::int64_t id : chat_order(c.model)) {
    if (found == 0 && chat_title(c.model, id).find(wanted) != std::string::npos) found = id;
  }
  if (!wanted.empty() && found != 0) open_chat(c, found);
  return !wanted.empty() && found != 0;
}

bool run_close(Client& c, const std::string&) {
  open_chat(c, 0);
  return true;
}

bool run_help(Client& c, const std::string&) {
  c.model.list = {"Help", 0, words_help(""), true};
  return true;
}

// A second one does not wait for the backend's answer.
bool run_quit(Client& c, const std::string&) {
  if (c.quitting && c.backend.pid > 0) kill(c.backend.pid, SIGKILL);
  c.quitting = true;
  say(c, "quit");
  return true;
}

constexpr Word kWords[] = {
    {"open", "<chat id, or a part of its title>", "shows a chat", "", false, run_open},
    {"close", "", "leaves it", "", false, run_close},
    {"name", "<public name>", "shows the chat of a public name", "resolve {1}"},
    {"reply", "<message id> <text>", "answers a message", "send64 {chat} {1} {text}"},
    {"edit", "<message id> <text>", "changes a message", "edit64 {chat} {1} {text}"},
    {"delete", "<message id>", "deletes it here", "delete {chat} self {1}"},
    {"revoke", "<message id>", "deletes it for all", "delete {chat} all {1}"},
    {"react", "<message id> <emoji>", "adds a reaction, or takes it back",
     "react {chat} {1} {2} {add}"},
    {"pin", "<message id>", "pins a message", "pin {chat} {1} 1"},
    {"forward", "<message id> <chat id>", "forwards a message", "forward {2} {chat} {1}"},
    {"again", "<message id>", "sends one that failed once more", "send_again {chat} {1}"},
    {"get", "<message id>", "downloads a message's file", "downloadp {file}"},
    {"stop", "<message id>", "stops that download", "cancel {file}"},
    {"file", "<path> [caption]", "sends a file", "sendfile64 {chat} {path}{text? {text}}"},
    {"photo", "<path> [caption]", "sends a photo", "sendphoto64 {chat} {path}{text? {text}}"},
    {"video", "<path> [caption]", "sends a video", "sendvideo64 {chat} {path}{text? {text}}"},
    {"find", "<text>", "searches the open chat", "chat_search64 {id} {chat} {text}", true},
    {"search", "<text>", "searches for public chats", "search_server64 {id} {text}", true},
    {"media", "<photo|video|file|link>", "lists shared media", "shared64 {id} {chat} {1}", true},
    {"pins", "", "lists pinned messages", "pinned_list {chat}", true},
    {"jump", "<message id>", "shows what stands around a message", "history_jump {chat} {1}"},
    {"info", "", "tells what is known of the chat", "chat_info {chat}"},
    {"mute", "", "mutes the chat, or unmutes it", "mute_toggle {chat}"},
    {"join", "", "joins the open chat", "join {chat}"},
    {"leave", "", "leaves it", "leave {chat}"},
    {"more", "", "loads more of the chat list", "chats_more"},
    {"call", "", "calls the other side", "call_start {user}"},
    {"accept", "", "takes a call", "call_accept {call}"},
    {"hangup", "", "ends or declines it", "call_discard {call}"},
    {"proxies", "", "lists the proxies, to use another", "proxy_list", true},
    {"proxy", "<server> <port> <secret>", "adds one", "proxy_try_mtproto {1} {2} {rest}"},
    {"noproxy", "", "uses none", "proxy_disable"},
    {"network", "<none|mobile|roaming|wifi|other>", "tells the kind of network", "network {1}"},
    {"storage", "", "tells what the files take", "storage"},
    {"clean", "", "frees some of it", "storage_clean"},
    {"qr", "", "logs in by another device", "qr"},
    {"resend", "", "asks for another code", "resend"},
    {"logout", "", "logs out", "logout"},
    {"resync", "", "asks for the whole state again", "resync"},
    {"raw", "<command>", "a command of the protocol, as it is", "{rest}"},
    {"help", "", "shows this", "", false, run_help},
    {"quit", "", "ends it", "", false, run_quit},
};

// What commands are made of: the first words behind the word, if the command names them, what is
// left behind those, and what the client knows. Empty: there is no such thing.
Event parts_of(const Client& c, std::string_view command, std::string_view line) {
  const Model& m = c.model;
  const auto names = [&](const char* part) { return command.find(part) != std::string::npos; };
  const auto id_text = [](std::int64_t id) { return id == 0 ? "" : std::to_string(id); };
  Event e;
  auto& parts = e.members;
  if (names("{1}") || names("{file}") || names("{path}")) parts["1"] = take_word(line);
  if (names("{2}")) parts["2"] = take_word(line);
  const Event& message = m.message(e.num("1"));
  parts["rest"] = line;
  parts["text"] = base64(line);
  parts["path"] = base64(e.str("1"));
  parts["id"] = std::to_string(c.last_id + 1);
  parts["chat"] = id_text(m.open_chat);
  parts["user"] = id_text(other_side(m, m.open_chat));
  parts["call"] = m.of("call_update").str("call_id");
  parts["file"] = message.str("media_file_id");
  // The same emoji again takes it away.
  parts["add"] = "add";
  for (const Reaction& r : reactions(message)) {
    if (r.emoji == e.str("2") && r.chosen) parts["add"] = "remove";
  }
  return e;
}

void run_command(Client& c, const Word& word, const std::string& line) {
  const Event parts = parts_of(c, word.command, line);
  const auto names = [&](const std::string& part) {
    return word.command.find(part) != std::string_view::npos;
  };
  for (const auto& [name, value] : parts.members) {
    if (!value.empty() || !names("{" + name + "}") || names("{" + name + "?")) continue;
    return tell(c, usage(word) + (name < "a" ? "" : "  (there is no " + name + ")"), true);
  }
  if (word.lists) {
    const std::string title = "/" + std::string(word.name) + (line.empty() ? "" : " ") + line;
    c.model.list = {title, c.last_id + 1, {}, true};
  }
  say(c, in_words(c.model, parts, word.command));
}

}  // namespace

std::vector<List::Row> words_help(std::string_view begin) {
  std::vector<List::Row> rows;
  for (const Word& w : kWords) {
    if (w.name.substr(0, begin.size()) != begin) continue;
    rows.push_back({usage(w), "/" + std::string(w.name) + " ", std::string(w.meaning)});
  }
  return rows;
}

void run_word(Client& c, std::string_view line) {
  const std::string name = take_word(line);
  for (const Word& word : kWords) {
    if (word.name != name) continue;
    if (!word.run) return run_command(c, word, std::string(line));
    if (!word.run(c, std::string(line))) tell(c, usage(word), true);
    return;
  }
  tell(c, "There is no /" + name + "; /help lists what there is", true);
}
