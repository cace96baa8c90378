#include "console/client.h"

#include <csignal>

#include "console/text.h"

namespace {

constexpr std::size_t kRawLines = 2000;

void note(Client& c, const std::string& text, bool is_error) {
  c.note = text;
  c.note_is_error = is_error;
}

void keep_raw(Client& c, char kind, std::string text) {
  ++c.raw_count;
  c.raw.push_back({kind, std::move(text)});
  if (c.raw.size() > kRawLines) c.raw.pop_front();
}

// Marks what is shown as read, once for every further message.
void mark_read(Client& c) {
  const Model& m = c.model;
  if (m.open_chat == 0 || !m.history_loaded || !m.at_newest) return;
  for (auto it = m.messages.rbegin(); it != m.messages.rend(); ++it) {
    if (it->second.outgoing) continue;
    const auto chat = m.chats.find(m.open_chat);
    const std::int64_t known = chat == m.chats.end() ? 0 : chat->second.read_inbox;
    if (it->first <= std::max(c.told_read, known)) return;
    c.told_read = it->first;
    say(c, "read " + std::to_string(m.open_chat) + " " + std::to_string(it->first));
    return;
  }
}

void begin_resync(Client& c) {
  c.resync_losses = c.losses;
  c.resync = say(c, "resync");
}

// Every number is used once: what does not follow the last one says that lines were lost.
void check_order(Client& c, const Event& e) {
  const std::int64_t seq = e.num("seq");
  if (seq <= 0) return;
  const bool lost = (c.last_seq != 0 && seq != c.last_seq + 1) || e.str("type") == "events_lost";
  c.last_seq = seq;
  if (!lost) return;
  ++c.losses;
  note(c, "Events were lost; asking for the state again", true);
  if (c.resync == 0) begin_resync(c);
}

void on_command_end(Client& c, const Event& e) {
  const std::int64_t id = e.num("cmd");
  if (c.paging == id) c.paging = 0;
  if (!e.on("ok") && c.resync != id) note(c, e.str("command") + ": " + e.str("error"), true);
  c.open_commands.erase(id);
  if (c.resync != id) return;
  c.resync = 0;
  // What was lost meanwhile may have been a part of it.
  if (c.losses != c.resync_losses) return begin_resync(c);
  if (c.model.open_chat != 0) open_chat(c, c.model.open_chat);
}

void react(Client& c, const Event& e) {
  const std::string& type = e.str("type");
  if (type == "command_end") {
    on_command_end(c, e);
  } else if (type == "auth_state" && e.str("state") == "Ready" && c.model.chats.empty()) {
    say(c, "chats 50");
  } else if (type == "need" && e.str("what") == "params") {
    say(c, "params");
  } else if (type == "tg_resolve" || type == "open_user_chat" || type == "chat_joined") {
    open_chat(c, e.num("chat_id"));
  } else if (type == "history_end" || type == "message_new") {
    if (e.num("chat_id") == c.model.open_chat) mark_read(c);
  } else if (type == "file") {
    note(c, "Downloaded: " + e.str("path"), false);
  } else if (type == "chat_info" || type == "user_info") {
    std::string text;
    for (const Member& member : e.members) {
      if (member.name != "type" && member.name != "seq" && member.name != "cmd") {
        text += member.name + "=" + member.value + " ";
      }
    }
    note(c, text, false);
  } else if (type == "storage") {
    note(c,
         "Files: " + size_text(e.num("files_size")) + " in " + e.str("file_count") +
             ", database: " + size_text(e.num("database_size")),
         false);
  } else if (type == "backend_fatal") {
    note(c, "The backend dies: " + e.str("kind") + " " + e.str("sig"), true);
  }
}

// A second one does not wait for the backend's answer.
bool run_quit(Client& c, std::string_view) {
  if (c.quitting) signal_backend(c.backend, SIGKILL);
  c.quitting = true;
  say(c, "quit");
  return true;
}

void on_event_line(Client& c, std::string_view line) {
  keep_raw(c, '<', std::string(line));
  Event e;
  // A torn line stands alone; the number of the next one tells of the loss.
  if (!read_object(line, e) || !e.has("type")) return;
  if (c.last_seq == 0 && e.str("type") != "hello") {
    note(c, "This backend does not speak the protocol's second level", true);
    if (!c.quitting) run_quit(c, "");
    return;
  }
  apply(c.model, e);
  check_order(c, e);
  react(c, e);
  if (c.on_event) c.on_event(e);
}

void on_output_line(Client& c, std::string_view line) {
  keep_raw(c, '|', std::string(line));
  if (line.substr(0, 5) == "FATAL") note(c, std::string(line), true);
}

// What is sent to the chat that is open: "<word> <chat id> <rest>".
bool say_in_chat(Client& c, const std::string& word, std::string_view rest) {
  if (c.model.open_chat == 0) {
    note(c, "Open a chat first", true);
    return true;
  }
  std::string command = word + " " + std::to_string(c.model.open_chat);
  if (!rest.empty()) command.append(" ").append(rest);
  say(c, command);
  return true;
}

std::int64_t number(std::string_view text) {
  return std::strtoll(std::string(text).c_str(), nullptr, 10);
}

void begin_results(Client& c, std::string title) {
  c.model.results = {std::move(title), c.last_id + 1, false, {}};
}

bool run_open(Client& c, std::string_view args) {
  const std::int64_t id = number(args);
  if (id != 0) {
    open_chat(c, id);
    return true;
  }
  for (const std::int64_t chat_id : chat_order(c.model)) {
    if (args.empty() || chat_title(c.model, chat_id).find(args) == std::string::npos) continue;
    open_chat(c, chat_id);
    return true;
  }
  return false;
}

bool run_close(Client& c, std::string_view) {
  say_in_chat(c, "close", "");
  show_chat(c.model, 0);
  return true;
}

bool run_name(Client& c, std::string_view args) {
  say(c, "resolve " + std::string(args));
  return !args.empty();
}

bool run_reply(Client& c, std::string_view args) {
  const std::string id(take_word(args));
  return !args.empty() && say_in_chat(c, "send64", id + " " + base64(args));
}

bool run_edit(Client& c, std::string_view args) {
  const std::string id(take_word(args));
  return !args.empty() && say_in_chat(c, "edit64", id + " " + base64(args));
}

bool run_delete(Client& c, std::string_view args) {
  const std::string id(take_word(args));
  return !id.empty() && say_in_chat(c, "delete", (args == "all" ? "all " : "self ") + id);
}

// The same emoji again takes it away.
bool run_react(Client& c, std::string_view args) {
  const std::string id(take_word(args));
  const std::string emoji(take_word(args));
  const auto message = c.model.messages.find(number(id));
  if (emoji.empty() || message == c.model.messages.end()) return false;
  bool chosen = false;
  for (const Reaction& r : message->second.reactions) chosen |= r.emoji == emoji && r.chosen;
  return say_in_chat(c, "react", id + " " + emoji + (chosen ? " remove" : " add"));
}

bool run_pin(Client& c, std::string_view args) {
  return number(args) != 0 && say_in_chat(c, "pin", std::string(take_word(args)) + " 1");
}

bool run_forward(Client& c, std::string_view args) {
  const std::string id(take_word(args));
  const std::string to(take_word(args));
  if (to.empty()) return false;
  say(c, "forward " + to + " " + std::to_string(c.model.open_chat) + " " + id);
  return true;
}

bool run_again(Client& c, std::string_view args) {
  return number(args) != 0 && say_in_chat(c, "send_again", args);
}

bool run_get(Client& c, std::string_view args) {
  const auto message = c.model.messages.find(number(args));
  if (message == c.model.messages.end()) return false;
  if (message->second.file == 0) {
    note(c, "This message has no file", true);
    return true;
  }
  const std::string file = std::to_string(message->second.file);
  File& known = c.model.files[message->second.file];
  if (!known.active) known = {0, message->second.size, true, false, {}};
  say(c, "downloadp " + file);
  return true;
}

bool run_stop(Client& c, std::string_view args) {
  const auto message = c.model.messages.find(number(args));
  if (message == c.model.messages.end()) return false;
  say(c, "cancel " + std::to_string(message->second.file));
  return true;
}

// Blanks in the path are written "\ ", as a shell would have it; the rest is the caption.
bool send_path(Client& c, const char* command, std::string_view args) {
  std::string path;
  while (!args.empty() && args[0] != ' ') {
    if (args[0] == '\\' && args.size() > 1) args.remove_prefix(1);
    path += args[0];
    args.remove_prefix(1);
  }
  if (path.empty()) return false;
  if (!args.empty()) args.remove_prefix(1);
  return say_in_chat(c, command, base64(path) + (args.empty() ? "" : " " + base64(args)));
}
bool run_file(Client& c, std::string_view args) { return send_path(c, "sendfile64", args); }
bool run_photo(Client& c, std::string_view args) { return send_path(c, "sendphoto64", args); }
bool run_video(Client& c, std::string_view args) { return send_path(c, "sendvideo64", args); }

bool run_find(Client& c, std::string_view args) {
  if (args.empty()) return false;
  begin_results(c, "Messages with \"" + std::string(args) + "\"");
  say(c, "chat_search64 " + std::to_string(c.last_id + 1) + " " +
             std::to_string(c.model.open_chat) + " " + base64(args));
  return true;
}

bool run_search(Client& c, std::string_view args) {
  if (args.empty()) return false;
  begin_results(c, "Chats for \"" + std::string(args) + "\"");
  say(c, "search_server64 " + std::to_string(c.last_id + 1) + " " + base64(args));
  return true;
}

bool run_media(Client& c, std::string_view args) {
  const std::string kind(args.empty() ? "photo" : take_word(args));
  begin_results(c, "Shared: " + kind);
  say(c, "shared64 " + std::to_string(c.last_id + 1) + " " + std::to_string(c.model.open_chat) +
             " " + kind);
  return true;
}

bool run_pins(Client& c, std::string_view) {
  begin_results(c, "Pinned messages");
  return say_in_chat(c, "pinned_list", "");
}

bool run_jump(Client& c, std::string_view args) {
  return number(args) != 0 && say_in_chat(c, "history_jump", take_word(args));
}

bool run_thread(Client& c, std::string_view args) {
  return number(args) != 0 && say_in_chat(c, "thread_open", take_word(args));
}

bool run_info(Client& c, std::string_view) { return say_in_chat(c, "chat_info", ""); }

// The chat that is named, else the open one.
bool run_mute(Client& c, std::string_view args) {
  if (args.empty()) return say_in_chat(c, "mute_toggle", "");
  say(c, "mute_toggle " + std::string(args));
  return true;
}
bool run_join(Client& c, std::string_view) { return say_in_chat(c, "join", ""); }
bool run_leave(Client& c, std::string_view) { return say_in_chat(c, "leave", ""); }

bool run_call(Client& c, std::string_view args) {
  const auto chat = c.model.chats.find(c.model.open_chat);
  const std::int64_t other = chat == c.model.chats.end() ? 0 : chat->second.user_id;
  const std::int64_t user = args.empty() ? other : number(args);
  if (user == 0) return false;
  say(c, "call_start " + std::to_string(user));
  return true;
}

bool run_accept(Client& c, std::string_view) {
  if (c.model.call.id != 0) say(c, "call_accept " + std::to_string(c.model.call.id));
  return true;
}

bool run_hangup(Client& c, std::string_view) {
  if (c.model.call.id != 0) say(c, "call_discard " + std::to_string(c.model.call.id));
  return true;
}

bool run_proxy(Client& c, std::string_view args) {
  const std::string_view what = take_word(args);
  const std::string rest(args);
  if (what.empty()) {
    begin_results(c, "Proxies");
    say(c, "proxy_list");
  } else if (what == "off") {
    say(c, "proxy_disable");
  } else if (what == "on" || what == "remove") {
    say(c, (what == "on" ? "proxy_enable " : "proxy_remove ") + rest);
  } else if (what == "add") {
    say(c, "proxy_try_mtproto " + rest);
  } else {
    return false;
  }
  return true;
}

bool run_storage(Client& c, std::string_view args) {
  say(c, args == "clean" ? "storage_clean" : "storage");
  return true;
}

// Words that are a command as they stand.
template <const char* kCommand>
bool run_plain(Client& c, std::string_view args) {
  say(c, args.empty() ? kCommand : kCommand + (" " + std::string(args)));
  return true;
}
constexpr char kQr[] = "qr";
constexpr char kResend[] = "resend";
constexpr char kNetwork[] = "network";
constexpr char kLogout[] = "logout";
constexpr char kResync[] = "resync";
constexpr char kChatsMore[] = "chats_more";

bool run_raw(Client& c, std::string_view args) {
  if (!args.empty()) say(c, std::string(args));
  return !args.empty();
}

bool run_help(Client& c, std::string_view) {
  c.wants_help = true;
  return true;
}

// What the login is asked for, as a command. Empty: nothing is.
std::string login_command(const std::string& need, std::string_view answer) {
  if (need != "name") return need + " " + std::string(answer);
  const std::string_view first = take_word(answer);
  return "register64 " + base64(first) + (answer.empty() ? "" : " " + base64(answer));
}

}  // namespace

const Word kWords[] = {
    {"open", "<chat id, or a part of its title>", "shows a chat", run_open},
    {"close", "", "leaves it", run_close},
    {"name", "<public name>", "shows the chat of a public name", run_name},
    {"reply", "<message id> <text>", "answers a message", run_reply},
    {"edit", "<message id> <text>", "changes a message", run_edit},
    {"delete", "<message id> [all]", "deletes it here, or for all", run_delete},
    {"react", "<message id> <emoji>", "adds a reaction, or takes it back", run_react},
    {"pin", "<message id>", "pins a message", run_pin},
    {"forward", "<message id> <chat id>", "forwards a message", run_forward},
    {"again", "<message id>", "sends one that failed once more", run_again},
    {"get", "<message id>", "downloads a message's file", run_get},
    {"stop", "<message id>", "stops that download", run_stop},
    {"file", "<path> [caption]", "sends a file", run_file},
    {"photo", "<path> [caption]", "sends a photo", run_photo},
    {"video", "<path> [caption]", "sends a video", run_video},
    {"find", "<text>", "searches the open chat", run_find},
    {"search", "<text>", "searches for public chats", run_search},
    {"media", "[photo|video|file|link]", "lists shared media", run_media},
    {"pins", "", "lists pinned messages", run_pins},
    {"jump", "<message id>", "shows what stands around a message", run_jump},
    {"thread", "<message id>", "shows the comments of a post", run_thread},
    {"info", "", "tells what is known of the chat", run_info},
    {"mute", "[chat id]", "mutes a chat, or unmutes it", run_mute},
    {"join", "", "joins the open chat", run_join},
    {"leave", "", "leaves it", run_leave},
    {"more", "", "loads more of the chat list", run_plain<kChatsMore>},
    {"call", "[user id]", "calls", run_call},
    {"accept", "", "takes a call", run_accept},
    {"hangup", "", "ends or declines it", run_hangup},
    {"proxy", "[off | on <id> | remove <id> | add <server> <port> <secret>]", "lists or sets them",
     run_proxy},
    {"network", "<none|mobile|roaming|wifi|other>", "tells the kind of network",
     run_plain<kNetwork>},
    {"storage", "[clean]", "tells what the files take, or frees it", run_storage},
    {"qr", "", "logs in by another device", run_plain<kQr>},
    {"resend", "", "asks for another code", run_plain<kResend>},
    {"logout", "", "logs out", run_plain<kLogout>},
    {"resync", "", "asks for the whole state again", run_plain<kResync>},
    {"raw", "<command>", "a command of the protocol, as it is", run_raw},
    {"help", "", "shows this", run_help},
    {"quit", "", "ends it", run_quit},
};
const std::size_t kWordCount = sizeof kWords / sizeof kWords[0];

bool start_client(Client& c) {
  std::string why;
  c.model = Model();
  c.open_commands.clear();
  c.last_seq = c.paging = c.resync = c.told_read = 0;
  c.ended = !start(c.backend, why);
  if (c.ended) {
    note(c, "The backend cannot be started: " + why, true);
    return false;
  }
  touch_ui_running(c.backend);
  say(c, "active 1");
  return true;
}

void follow(Client& c) {
  const bool runs = read_lines(
      c.backend, [&](std::string_view line) { on_output_line(c, line); },
      [&](std::string_view line) { on_event_line(c, line); });
  if (runs) return;
  c.ended = true;
  c.model.call = Call();
  c.model.notifications.clear();
  if (!c.model.goodbye.empty()) {
    note(c, "The backend has ended: " + c.model.goodbye, false);
  } else if (!c.note_is_error || c.note.substr(0, 5) != "FATAL") {
    note(c, "The backend has ended with status " + std::to_string(c.backend.status), true);
  }
}

std::int64_t say(Client& c, const std::string& command) {
  const std::int64_t id = ++c.last_id;
  c.open_commands[id] = command;
  const std::string line = "#" + std::to_string(id) + " " + command;
  const bool secret = command.substr(0, 9) == "password ";
  keep_raw(c, '>', secret ? line.substr(0, line.find(' ') + 10) + "***" : line);
  send_line(c.backend, line);
  return id;
}

void enter(Client& c, const std::string& line) {
  c.note.clear();
  if (!line.empty() && line[0] == '/' && line.substr(0, 2) != "//") {
    std::string_view rest = std::string_view(line).substr(1);
    const std::string_view name = take_word(rest);
    for (const Word& word : kWords) {
      if (word.name != name) continue;
      if (!word.run(c, rest)) {
        note(c, "/" + std::string(name) + " " + std::string(word.arguments), true);
      }
      return;
    }
    note(c, "There is no /" + std::string(name) + "; /help lists what there is", true);
    return;
  }
  const std::string text = line.substr(0, 2) == "//" ? line.substr(1) : line;
  if (text.empty()) return;
  if (c.model.auth != "Ready") {
    if (c.model.need.empty()) return note(c, "Nothing is asked for now", true);
    c.model.login_error.clear();
    say(c, login_command(c.model.need, text));
    return;
  }
  say_in_chat(c, "send64", base64(text));
}

void open_chat(Client& c, std::int64_t chat_id) {
  if (c.model.open_chat != 0 && c.model.open_chat != chat_id) {
    say(c, "close " + std::to_string(c.model.open_chat));
  }
  show_chat(c.model, chat_id);
  c.told_read = 0;
  c.paging = 0;
  say(c, "open " + std::to_string(chat_id));
}

void load_older(Client& c) {
  const Model& m = c.model;
  if (c.paging != 0 || !m.more_older || m.messages.empty()) return;
  c.paging = say(c, "history_more " + std::to_string(m.open_chat) + " " +
                        std::to_string(m.messages.begin()->first));
}

void load_newer(Client& c) {
  const Model& m = c.model;
  if (c.paging != 0 || m.at_newest || m.messages.empty()) return;
  c.paging = say(c, "history_newer " + std::to_string(m.open_chat) + " " +
                        std::to_string(m.messages.rbegin()->first));
}

bool is_secret(const Client& c) { return c.model.auth != "Ready" && c.model.need == "password"; }
