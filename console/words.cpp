// The words that begin with "/": one table, from which they are run and the help is made.
#include <cstdlib>

#include "console/client.h"
#include "console/text.h"

namespace {

// What stands behind a word: the words that its command names, and what is left behind them.
struct Arguments {
  std::string one, two, rest;
};

struct Word {
  std::string_view name, arguments, meaning;
  // The command that it becomes; "{...}" are kParts.
  std::string_view command;
  bool lists = false;  // the command's events are a list to choose from
  // In place of a command. False: the arguments will not do.
  bool (*run)(Client&, const std::string& rest) = nullptr;
};

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
    {"file", "<path> [caption]", "sends a file", "sendfile64 {chat} {path} {caption}"},
    {"photo", "<path> [caption]", "sends a photo", "sendphoto64 {chat} {path} {caption}"},
    {"video", "<path> [caption]", "sends a video", "sendvideo64 {chat} {path} {caption}"},
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

std::string text_of(std::int64_t id) { return id == 0 ? "" : std::to_string(id); }

const Event& named_message(const Client& c, const Arguments& a) {
  return c.model.message(std::strtoll(a.one.c_str(), nullptr, 10));
}

// A part of a command; empty when there is none, which is said by `missing` unless it may be so.
struct Part {
  std::string_view name;
  std::string (*text)(const Client&, const Arguments&);
  const char* missing = "";  // "": how the word is used
};
constexpr Part kParts[] = {
    {"1", [](const Client&, const Arguments& a) { return a.one; }},
    {"2", [](const Client&, const Arguments& a) { return a.two; }},
    {"rest", [](const Client&, const Arguments& a) { return a.rest; }},
    {"text", [](const Client&, const Arguments& a) { return base64(a.rest); }},
    {"path", [](const Client&, const Arguments& a) { return base64(a.one); }},
    {"caption", [](const Client&, const Arguments& a) { return base64(a.rest); }, nullptr},
    {"id", [](const Client& c, const Arguments&) { return std::to_string(c.last_id + 1); }},
    {"chat", [](const Client& c, const Arguments&) { return text_of(c.model.open_chat); },
     "Open a chat first"},
    {"user",
     [](const Client& c, const Arguments&) {
       return text_of(other_side(c.model, c.model.open_chat));
     },
     "Open a private chat first"},
    {"call",
     [](const Client& c, const Arguments&) { return c.model.of("call_update").str("call_id"); },
     "There is no call"},
    {"file",
     [](const Client& c, const Arguments& a) { return named_message(c, a).str("media_file_id"); },
     "There is no file in it"},
    // The same emoji again takes it away.
    {"add",
     [](const Client& c, const Arguments& a) -> std::string {
       for (const Reaction& r : reactions(named_message(c, a))) {
         if (r.emoji == a.two && r.chosen) return "remove";
       }
       return "add";
     }},
};

// The command of a word. Empty when something is missing, which is noted.
std::string filled(Client& c, const Word& word, std::string_view text) {
  const auto names = [&](const char* part) {
    return word.command.find(part) != std::string_view::npos;
  };
  Arguments a;
  if (names("{1}") || names("{file}") || names("{path}")) a.one = take_word(text);
  if (names("{2}")) a.two = take_word(text);
  a.rest = text;
  std::string out;
  std::string_view left = word.command;
  for (std::size_t open; (open = left.find('{')) != std::string_view::npos;) {
    out += left.substr(0, open);
    const std::size_t close = left.find('}');
    for (const Part& part : kParts) {
      if (part.name != left.substr(open + 1, close - open - 1)) continue;
      const std::string value = part.text(c, a);
      out += value;
      if (!value.empty() || !part.missing) continue;
      const std::string usage = "/" + std::string(word.name) + " " + std::string(word.arguments);
      tell(c, *part.missing ? part.missing : usage, true);
      return {};
    }
    left.remove_prefix(close + 1);
  }
  return out.append(left);
}

}  // namespace

std::vector<List::Row> words_help(std::string_view begin) {
  std::vector<List::Row> rows;
  for (const Word& w : kWords) {
    if (w.name.substr(0, begin.size()) != begin) continue;
    const std::string left = "/" + std::string(w.name) + " ";
    rows.push_back({left + std::string(w.arguments), left, std::string(w.meaning)});
  }
  return rows;
}

void run_word(Client& c, std::string_view line) {
  const std::string name = take_word(line);
  for (const Word& word : kWords) {
    if (word.name != name) continue;
    if (word.run) {
      if (!word.run(c, std::string(line))) {
        tell(c, "/" + name + " " + std::string(word.arguments), true);
      }
      return;
    }
    const std::string command = filled(c, word, line);
    if (command.empty()) return;
    if (word.lists) {
      c.model.list = {"/" + name + " " + std::string(line), c.last_id + 1, {}, true};
    }
    say(c, command);
    return;
  }
  tell(c, "There is no /" + name + "; /help lists what there is", true);
}
