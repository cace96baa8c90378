// Keys and the mouse: one table, from which they act and the help is made.
#include <algorithm>
#include <cstdlib>

#include "console/screen.h"

namespace {

void set_input(Screen& s, const std::string& text) {
  s.input = text;
  s.cursor = s.input.size();
  s.focus = nullptr;
}

// Enters the words; those that end in a blank are to be gone on with.
void use(Client& c, Screen& s, const std::string& words) {
  if (words.empty()) return;
  if (words.back() == ' ') return set_input(s, words);
  enter(c, words);
}

// --- views ---

// To the input, and to the newest messages.
void leave_view(Client& c, Screen& s) {
  if (s.on(s.messages) && !c.at_newest) open_chat(c, c.open_chat);
  s.messages.marked = 0;
  s.focus = nullptr;
}

void open_marked(Client& c, Screen& s, std::int64_t chat_id) {
  if (chat_id == 0) return;
  s.chats.mark(chat_id);
  s.messages.marked = 0;
  s.focus = nullptr;
  open_chat(c, chat_id);
}

void step(Client& c, Screen& s, View& view, int by) {
  if (&view == &s.raw && by > 0 && view.marked == 0) return;  // it stands at its end
  if (move_mark(view, by)) return;
  if (&view == &s.chats && by > 0 && c.of("chats_end").on("has_more")) enter(c, "/more");
  if (&view == &s.raw && by > 0) view.marked = 0;
  if (&view != &s.messages) return;
  if (by < 0 || !c.at_newest) return load_more(c, by < 0);
  leave_view(c, s);
}

// In the input Up leads to the messages.
void move_by(Client& c, Screen& s, int steps) {
  if (!s.focus && (steps > 0 || c.messages.empty())) return;
  if (!s.focus) s.focus = &s.messages;
  View& view = *s.focus;
  const int by = steps < 0 ? -1 : 1;
  for (; steps != 0 && s.focus == &view; steps -= by) step(c, s, view, by);
}

void page(Client& c, Screen& s, int by) {
  const View& view = s.focus ? *s.focus : s.messages;
  move_by(c, s, by * std::max(view.box.h / 2, 1));
}

void neighbour(Client& c, Screen& s, int by) {
  step(c, s, s.chats, by);
  open_marked(c, s, s.chats.marked);
}

void choose(Client& c, Screen& s) {
  s.focus = nullptr;
  const auto at = static_cast<std::size_t>(s.list.marked) - 1;
  if (at >= c.list.rows.size()) return;
  const std::string words = c.list.rows[at].words;
  if (words.substr(0, 6) == "/jump ") {
    s.messages.marked = std::strtoll(words.c_str() + 6, nullptr, 10);
    s.focus = &s.messages;
  }
  use(c, s, words);
}

void accept(Client& c, Screen& s, int) {
  if (s.on(s.list)) return choose(c, s);
  if (s.on(s.chats)) return open_marked(c, s, s.chats.marked);
  if (s.on(s.messages)) return leave_view(c, s);
  const std::string line = s.input;
  set_input(s, "");
  s.messages.marked = 0;  // what is entered may be an answer to it; the newest are shown again
  if (c.ended) {
    start_client(c);
  } else {
    enter(c, line);
  }
}

void back(Client& c, Screen& s, int) {
  if (s.focus) return leave_view(c, s);
  if (!s.input.empty()) return set_input(s, "");
  c.notifications.clear();
  c.note.clear();
  if (c.of("call_update").str("state") == "callStateDiscarded") c.last.erase("call_update");
}

void open_notification(Client& c, Screen& s, int) {
  if (!c.notifications.empty()) open_marked(c, s, c.notifications.back().num("chat_id"));
}

void swap_focus(Client&, Screen& s, int) { s.focus = s.on(s.chats) ? nullptr : &s.chats; }
void show_raw(Client&, Screen& s, int) { s.show_raw = !s.show_raw; }
void draw_again(Client&, Screen&, int) { clearok(curscr, TRUE); }
void show_help(Client& c, Screen& s, int);

// --- the input line ---

// The next place for the cursor. Characters that take no column belong to the one before them.
std::size_t beside(const Screen& s, int by) {
  const int at = columns(std::string_view(s.input).substr(0, s.cursor));
  const std::size_t next = fitting(s.input, at + by);
  return by < 0 || next != s.cursor ? next : fitting(s.input, at + 2);
}

// Removes from the cursor to `to`.
void erase_to(Screen& s, std::size_t to) {
  const auto [begin, end] = std::minmax(s.cursor, to);
  s.input.erase(begin, end - begin);
  s.cursor = begin;
}

void go(Client&, Screen& s, int by) { s.cursor = beside(s, by); }
void go_far(Client&, Screen& s, int by) { s.cursor = by < 0 ? 0 : s.input.size(); }
void erase_one(Client&, Screen& s, int by) { erase_to(s, beside(s, by)); }
void erase_all(Client&, Screen& s, int) { erase_to(s, 0); }
void erase_word(Client&, Screen& s, int) {
  erase_to(s, s.input.rfind(' ', std::max<std::size_t>(s.cursor, 2) - 2) + 1);
}

// --- the mouse ---

void wheel(Client& c, Screen& s, const MEVENT& at, int steps) {
  for (View* view : {&s.raw, &s.chats}) {
    if (!view->box.holds(at.y, at.x)) continue;
    for (int i = 0; i < 3; ++i) step(c, s, *view, steps / 3);
    return;
  }
  if (s.on(s.chats)) s.focus = nullptr;
  move_by(c, s, steps);
}

void click(Client& c, Screen& s, const MEVENT& at) {
  if (s.list.box.holds(at.y, at.x)) {
    s.list.mark(s.list.id_at(at.y));
    choose(c, s);
  } else if (s.notice_box.holds(at.y, at.x)) {
    open_notification(c, s, 0);
  } else if (s.chats.box.holds(at.y, at.x)) {
    open_marked(c, s, s.chats.id_at(at.y));
  } else if (s.messages.box.holds(at.y, at.x)) {
    s.messages.mark(s.messages.id_at(at.y));
    s.focus = s.messages.marked == 0 ? nullptr : &s.messages;
  } else if (!s.on(s.list)) {
    s.focus = nullptr;
  }
}

void on_mouse(Client& c, Screen& s, int) {
  MEVENT at{};
  if (getmouse(&at) != OK) return;
  if (at.bstate & BUTTON4_PRESSED) wheel(c, s, at, -3);
  if (at.bstate & BUTTON5_PRESSED) wheel(c, s, at, 3);
  if (at.bstate & (BUTTON1_PRESSED | BUTTON1_CLICKED)) click(c, s, at);
}

// --- the table ---

constexpr wint_t control(char c) { return static_cast<wint_t>(c) & 31U; }
// One of ncurses' own, apart from the characters of the same number.
constexpr wint_t code(int key) { return static_cast<wint_t>(key) | 1U << 30; }

struct Key {
  wint_t key, also;             // `also` does the same; 0: no other one
  const char *names, *meaning;  // in the help
  const char* words;            // what it enters, or what it does:
  void (*act)(Client&, Screen&, int by) = nullptr;
  int by = 0;
  View Screen::*where = nullptr;  // only there; the words are then in_words of the marked row
};
constexpr View Screen::*kMessage = &Screen::messages, Screen::*kChat = &Screen::chats;
constexpr Key kKeys[] = {
    {'\t', 0, "Tab", "from the input to the chat list and back", "", swap_focus},
    {code(KEY_UP), 0, "Up", "mark a chat; in the input: mark a message", "", move_by, -1},
    {code(KEY_DOWN), 0, "Down", "likewise", "", move_by, 1},
    {code(KEY_PPAGE), 0, "PgUp", "page through messages or chats", "", page, -1},
    {code(KEY_NPAGE), 0, "PgDn", "likewise", "", page, 1},
    {'\r', code(KEY_ENTER), "Enter", "open the chat, send the text", "", accept},
    {27, 0, "Esc", "back; away with a notification", "", back},
    {control('N'), 0, "Ctrl-N", "next chat", "", neighbour, 1},
    {control('P'), 0, "Ctrl-P", "previous chat", "", neighbour, -1},
    {control('F'), 0, "Ctrl-F", "search in the chat", "/find "},
    {control('K'), 0, "Ctrl-K", "search for chats", "/search "},
    {code(KEY_F(2)), control('R'), "F2 Ctrl-R", "the raw lines of the protocol", "", show_raw},
    {code(KEY_F(3)), 0, "F3", "open the chat of the notification", "", open_notification},
    {code(KEY_F(5)), 0, "F5", "take a call", "/accept"},
    {code(KEY_F(6)), 0, "F6", "end it", "/hangup"},
    {code(KEY_F(1)), 0, "F1 ?", "this", "", show_help},
    {control('L'), 0, "Ctrl-L", "draw again", "", draw_again},
    {control('C'), 0, "Ctrl-C", "end", "/quit"},
    {code(KEY_MOUSE), 0, "Mouse", "open, mark, scroll", "", on_mouse},
    {code(KEY_LEFT), 0, "Left", "back in the input", "", go, -1},
    {code(KEY_RIGHT), 0, "Right", "on in the input", "", go, 1},
    {code(KEY_HOME), control('A'), "Home Ctrl-A", "to its begin", "", go_far, -1},
    {code(KEY_END), control('E'), "End Ctrl-E", "to its end", "", go_far, 1},
    {code(KEY_BACKSPACE), 127, "Backspace", "erase what is before the cursor", "", erase_one, -1},
    {control('H'), 0, "Ctrl-H", "likewise", "", erase_one, -1},
    {code(KEY_DC), control('D'), "Del Ctrl-D", "erase what is behind it", "", erase_one, 1},
    {control('W'), 0, "Ctrl-W", "erase the word before it", "", erase_word},
    {control('U'), 0, "Ctrl-U", "erase all before it", "", erase_all},
    {'r', 0, "r", "on a marked message: answer it", "/reply {id} ", nullptr, 0, kMessage},
    {'e', 0, "e", "edit it", "/edit {id} {text} ", nullptr, 0, kMessage},
    {'s', 0, "s", "download its file", "/get {id}", nullptr, 0, kMessage},
    {'x', 0, "x", "stop the download", "/stop {id}", nullptr, 0, kMessage},
    {'+', 0, "+", "thumb up", "/react {id} 👍", nullptr, 0, kMessage},
    {'-', 0, "-", "away with it", "/unreact {id} 👍", nullptr, 0, kMessage},
    {'*', 0, "*", "another reaction", "/react {id} ", nullptr, 0, kMessage},
    {'d', 0, "d", "delete it here", "/delete {id} ", nullptr, 0, kMessage},
    {'D', 0, "D", "delete it for all", "/revoke {id} ", nullptr, 0, kMessage},
    {'f', 0, "f", "forward it", "/forward {id} ", nullptr, 0, kMessage},
    {'p', 0, "p", "pin it", "/pin {id}", nullptr, 0, kMessage},
    {'a', 0, "a", "send it again", "/again {id}", nullptr, 0, kMessage},
    {'m', 0, "m", "on a marked chat: mute or unmute it", "/raw mute_toggle {id}", nullptr, 0,
     kChat},
    {'/', 0, "/", "search for chats", "/search ", nullptr, 0, kChat},
};

void show_help(Client& c, Screen&, int) {
  c.list = {"Help", 0, {}, true};
  for (const Key& key : kKeys) c.list.rows.push_back(help_row(key.names, key.meaning, ""));
  c.list.rows.push_back({"What is entered is sent to the open chat, but for:", ""});
  for (const List::Row& row : words_help("")) c.list.rows.push_back(row);
}

}  // namespace

void handle_key(Client& c, Screen& s, wint_t key, bool is_code) {
  if (is_code) key = code(static_cast<int>(key));
  const Event marked = s.on(s.chats) ? c.chat(s.chats.marked) : c.message(s.messages.marked);
  for (const Key& k : kKeys) {
    if (k.key != key && (k.also != key || key == 0)) continue;
    if (k.where != nullptr && !s.on(s.*k.where)) continue;
    if (k.act) k.act(c, s, k.by);
    return use(c, s, in_words(c, marked, k.words));
  }
  if (key == '?' && (s.focus || s.input.empty()) && !is_secret(c)) {
    show_help(c, s, 0);
  } else if (!is_code && !s.focus && key >= 32) {
    const std::string typed = utf8(static_cast<wchar_t>(key));
    s.input.insert(s.cursor, typed);
    s.cursor += typed.size();
  }
}
