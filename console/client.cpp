#include "console/client.h"

#include <algorithm>
#include <cstring>
#include <ctime>

#include "console/text.h"

namespace {

constexpr std::size_t kRawLines = 2000;

void keep_raw(Client& c, const char* mark, std::string_view line) {
  c.raw.push_back(mark + clean(line));
  if (c.raw.size() > kRawLines) c.raw.pop_front();
  c.changed = true;
}

// Marks what is shown as read, once for every further message.
void mark_read(Client& c) {
  const Model& m = c.model;
  if (!m.at_newest) return;
  const std::int64_t known = m.chat(m.open_chat).num("last_read_inbox_message_id");
  for (auto it = m.messages.rbegin(); it != m.messages.rend(); ++it) {
    if (it->second.on("outgoing")) continue;
    if (it->first <= std::max(c.told_read, known)) return;
    c.told_read = it->first;
    say(c, "read " + std::to_string(m.open_chat) + " " + std::to_string(it->first));
    return;
  }
}

// Every number is used once: what does not follow the last one says that lines were lost.
void check_order(Client& c, const Event& e) {
  const std::int64_t seq = e.num("seq");
  const bool lost = (c.last_seq != 0 && seq != c.last_seq + 1) || e.str("type") == "events_lost";
  c.last_seq = seq;
  if (!lost) return;
  ++c.losses;
  tell(c, "Events were lost; asking for the state again", true);
  c.resync = say(c, "resync");
}

void on_command_end(Client& c, const Event& e) {
  const std::int64_t id = e.num("cmd");
  c.open_commands.erase(id);
  if (c.loading == id) c.loading = 0;
  if (!e.on("ok")) tell(c, e.str("command") + ": " + e.str("error"), true);
  if (c.resync != id) return;
  c.resync = 0;
  if (c.model.open_chat != 0) open_chat(c, c.model.open_chat);
}

void react(Client& c, const Event& e) {
  const std::string& type = e.str("type");
  if (type == "command_end") on_command_end(c, e);
  if (type == "history_end" || type == "message_new") mark_read(c);
  if (type == "tg_resolve") open_chat(c, e.num("chat_id"));
  if (type == "need" && e.str("what") == "params") say(c, "params");
  if (type == "auth_state" && c.model.ready() && c.model.chats.empty()) say(c, "chats 50");
  for (const char* told : {"backend_fatal", "chat_info", "file", "storage", "user_info"}) {
    if (type == told) tell(c, describe(c.model, e), type == "backend_fatal");
  }
}

void on_event_line(Client& c, std::string_view line) {
  keep_raw(c, "< ", line);
  Event e;
  // A torn line stands alone; the number of the next one tells of the loss.
  if (!read_object(line, e) || !e.says("seq")) {
    if (c.last_seq != 0 || c.quitting) return;
    tell(c, "This backend does not speak the protocol's second level", true);
    return run_word(c, "quit");
  }
  apply(c.model, e);
  check_order(c, e);
  react(c, e);
  if (c.on_event) c.on_event(e);
}

void on_output_line(Client& c, std::string_view line) {
  keep_raw(c, "| ", line);
  if (line.substr(0, 5) == "FATAL") tell(c, std::string(line), true);
}

void on_end(Client& c) {
  c.ended = c.changed = true;
  c.model.last.erase("call_update");
  c.model.notifications.clear();
  const Event& goodbye = c.model.of("goodbye");
  if (goodbye.says("reason")) {
    tell(c, describe(c.model, goodbye), false);
  } else if (c.note.substr(0, 5) != "FATAL") {
    tell(c, "The backend has ended with status " + std::to_string(c.backend.status), true);
  }
}

// What the login is asked for, as a command.
std::string login_command(const std::string& need, std::string_view answer) {
  if (need != "name") return need + " " + std::string(answer);
  const std::string first = take_word(answer);
  return "register64 " + base64(first) + (answer.empty() ? "" : " " + base64(answer));
}

}  // namespace

bool start_client(Client& c) {
  c.model = Model();
  c.note.clear();
  c.open_commands.clear();
  c.last_seq = c.loading = c.resync = c.told_read = c.touched = 0;
  const int error = start(c.backend);
  c.ended = error != 0;
  if (c.ended) tell(c, "The backend cannot be started: " + std::string(strerror(error)), true);
  if (!c.ended) say(c, "active 1");
  return !c.ended;
}

void follow(Client& c, int terminal, int milliseconds) {
  const std::int64_t now = std::time(nullptr);
  if (now - c.touched >= 10) {
    touch_ui_running(c.backend);
    c.touched = now;
  }
  wait_for_news(c.backend, terminal, milliseconds);
  const bool runs = read_lines(
      c.backend, [&](std::string_view line) { on_output_line(c, line); },
      [&](std::string_view line) { on_event_line(c, line); });
  if (!runs) on_end(c);
  if (g_stop) run_word(c, "quit");
  g_stop = 0;
}

void tell(Client& c, std::string note, bool is_error) {
  c.note = std::move(note);
  c.note_is_error = is_error;
}

std::int64_t say(Client& c, const std::string& command) {
  const std::string line = "#" + std::to_string(++c.last_id) + " " + command;
  c.open_commands.insert(c.last_id);
  const bool secret = command.substr(0, 9) == "password ";
  keep_raw(c, "> ", secret ? line.substr(0, line.size() - command.size() + 9) + "***" : line);
  send_line(c.backend, line);
  return c.last_id;
}

void enter(Client& c, const std::string& line) {
  c.note.clear();
  if (line.empty()) return;
  const bool escaped = line.substr(0, 2) == "//";
  if (line[0] == '/' && !escaped) return run_word(c, std::string_view(line).substr(1));
  const std::string text = line.substr(escaped ? 1 : 0);
  const std::string& need = c.model.of("need").str("what");
  if (c.model.ready() && c.model.open_chat == 0) return tell(c, "Open a chat first", true);
  if (c.model.ready()) {
    // What is written is shown behind the newest.
    if (!c.model.at_newest) open_chat(c, c.model.open_chat);
    say(c, "send64 " + std::to_string(c.model.open_chat) + " " + base64(text));
  } else if (need.empty()) {
    tell(c, "Nothing is asked for now", true);
  } else {
    c.model.last.erase("auth_error");
    say(c, login_command(need, text));
  }
}

void open_chat(Client& c, std::int64_t chat_id) {
  if (c.model.open_chat != 0 && c.model.open_chat != chat_id) {
    say(c, "close " + std::to_string(c.model.open_chat));
  }
  show_chat(c.model, chat_id);
  c.told_read = 0;
  c.loading = chat_id == 0 ? 0 : say(c, "open " + std::to_string(chat_id));
}

void load_more(Client& c, bool older) {
  const Model& m = c.model;
  if (c.loading != 0 || m.messages.empty() || (older ? !m.more_older : m.at_newest)) return;
  const auto& [id, message] = older ? *m.messages.begin() : *m.messages.rbegin();
  c.loading = say(c, (older ? "history_more " : "history_newer ") + std::to_string(m.open_chat) +
                         " " + std::to_string(id));
}

bool is_secret(const Client& c) {
  return !c.model.ready() && c.model.of("need").str("what") == "password";
}
