#include "console/client.h"

#include <algorithm>
#include <cstring>
#include <ctime>

#include "console/text.h"

namespace {

constexpr std::size_t kRawLines = 500;

void keep_raw(Client& c, const char* mark, std::string_view line) {
  c.raw.push_back(mark + clean(line));
  c.changed = true;
  if (c.raw.size() <= kRawLines) return;
  c.raw.pop_front();
  ++c.raw_before;
}

// Every number is used once: what does not follow the last one says that lines were lost.
void check_order(Client& c, const Event& e) {
  const std::int64_t seq = e.num("seq");
  const bool lost = (c.last_seq != 0 && seq != c.last_seq + 1) || e.str("type") == "events_lost";
  c.last_seq = seq;
  if (!lost) return;
  tell(c, "Events were lost; asking for the state again", true);
  say(c, "resync");
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
  check_order(c, e);
  take_event(c, e);
  if (c.on_event) c.on_event(e);
}

void on_output_line(Client& c, std::string_view line) {
  keep_raw(c, "| ", line);
  if (line.substr(0, 5) == "FATAL") tell(c, clean(line), true);
}

void on_end(Client& c) {
  c.ended = c.changed = true;
  c.last.erase("call_update");
  c.notifications.clear();
  const Event& goodbye = c.of("goodbye");
  if (goodbye.says("reason")) {
    tell(c, describe(c, goodbye), false);
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
  Client fresh;
  fresh.backend = c.backend;
  fresh.on_event = c.on_event;
  fresh.raw = std::move(c.raw);  // it may tell why the last one has ended
  fresh.raw_before = c.raw_before;
  c = std::move(fresh);
  const int error = start(c.backend);
  c.ended = error != 0;
  if (c.ended) tell(c, "The backend cannot be started: " + std::string(strerror(error)), true);
  if (!c.ended) say(c, "active 1");
  return !c.ended;
}

void follow(Client& c, int terminal) {
  const std::int64_t now = std::time(nullptr);
  if (now - c.touched >= 10) {
    touch_ui_running(c.backend);
    c.touched = now;
  }
  wait_for_news(c.backend, terminal);
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
  const std::string id = "#" + std::to_string(++c.last_id) + " ";
  const bool secret = command.substr(0, 9) == "password ";
  keep_raw(c, "> ", id + (secret ? "password ***" : command));
  send_line(c.backend, id + command);
  return c.last_id;
}

void enter(Client& c, const std::string& line) {
  c.note.clear();
  if (line.empty()) return;
  const bool escaped = line.substr(0, 2) == "//";
  if (line[0] == '/' && !escaped) return run_word(c, std::string_view(line).substr(1));
  const std::string text = line.substr(escaped ? 1 : 0);
  const std::string& need = c.of("need").str("what");
  if (!c.ready() && !need.empty()) {
    c.last.erase("auth_error");
    say(c, login_command(need, text));
  } else if (c.open_chat == 0) {
    tell(c, c.ready() ? "Open a chat first" : "Nothing is asked for now", true);
  } else {
    // What is written is shown behind the newest.
    if (!c.at_newest) open_chat(c, c.open_chat);
    say(c, "send64 " + std::to_string(c.open_chat) + " " + base64(text));
  }
}

void open_chat(Client& c, std::int64_t chat_id) {
  if (c.open_chat != 0 && c.open_chat != chat_id) say(c, "close " + std::to_string(c.open_chat));
  c.open_chat = chat_id;
  c.at_newest = true;
  c.told_read = 0;
  withdraw(c, chat_id, INT64_MAX);
  load_messages(c, chat_id == 0 ? "" : "open " + std::to_string(chat_id));
}

void load_messages(Client& c, const std::string& command) {
  c.messages.clear();
  c.more_older = false;
  c.loading = command.empty() ? 0 : say(c, command);
}

void withdraw(Client& c, std::int64_t chat_id, std::int64_t message_id) {
  const auto goes = [&](const Event& n) {
    return n.num("chat_id") == chat_id && n.num("message_id") <= message_id;
  };
  auto& all = c.notifications;
  all.erase(std::remove_if(all.begin(), all.end(), goes), all.end());
}

void load_more(Client& c, bool older) {
  if (c.loading != 0 || c.messages.empty() || (older ? !c.more_older : c.at_newest)) return;
  const std::int64_t id = older ? c.messages.begin()->first : c.messages.rbegin()->first;
  c.loading = say(c, (older ? "history_more " : "history_newer ") + std::to_string(c.open_chat) +
                         " " + std::to_string(id));
}

bool is_secret(const Client& c) { return !c.ready() && c.of("need").str("what") == "password"; }
