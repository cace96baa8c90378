// Keys and the mouse: one table, from which they act and the help is made.
#include <algorithm>

#include "console/screen.h"
#include "console/text.h"

namespace {

void set_input(Screen& s, const std::string& text) {
  s.input = widen(text);
  s.cursor = s.input.size();
  s.focus = Focus::kInput;
}

// Enters the words; those that end in a blank are to be gone on with.
void use(Client& c, Screen& s, const std::string& words) {
  if (words.empty()) return;
  if (words.back() == ' ') return set_input(s, words);
  enter(c, words);
}

void open_marked(Client& c, Screen& s, std::int64_t chat_id) {
  if (chat_id == 0) return;
  s.chats.marked = chat_id;
  s.messages.marked = 0;
  s.focus = Focus::kInput;
  withdraw(c.model, chat_id, INT64_MAX);
  open_chat(c, chat_id);
}

void step_chats(Client& c, Screen& s, int by) {
  if (!move_mark(s.chats, by) && by > 0 && c.model.of("chats_end").on("has_more")) {
    enter(c, "/more");
  }
}

void step_messages(Client& c, Screen& s, int by) {
  if (c.model.messages.empty() || (s.focus == Focus::kInput && by > 0)) return;
  s.focus = Focus::kMessages;
  if (move_mark(s.messages, by)) return;
  if (by < 0 || !c.model.at_newest) return load_more(c, by < 0);
  s.messages.marked = 0;
  s.focus = Focus::kInput;
}

void step(Client& c, Screen& s, int steps) {
  const int by = steps < 0 ? -1 : 1;
  for (; steps != 0; steps -= by) {
    if (s.focus == Focus::kList) {
      move_mark(s.list, by);
    } else if (s.focus == Focus::kChats) {
      step_chats(c, s, by);
    } else {
      step_messages(c, s, by);
    }
  }
}

void choose(Client& c, Screen& s) {
  const auto& rows = c.model.list.rows;
  s.focus = Focus::kInput;
  const auto at = static_cast<std::size_t>(s.list.marked) - 1;
  if (at >= rows.size()) return;
  const std::string words = rows[at].words;
  if (words.substr(0, 6) == "/jump ") {
    s.messages.marked = std::strtoll(words.c_str() + 6, nullptr, 10);
    s.focus = Focus::kMessages;
  }
  use(c, s, words);
}

void accept(Client& c, Screen& s, int) {
  if (s.focus == Focus::kList) return choose(c, s);
  if (s.focus == Focus::kChats) return open_marked(c, s, s.chats.marked);
  s.messages.marked = 0;
  if (s.focus == Focus::kInput) {
    const std::string line = narrow(s.input);
    set_input(s, "");
    if (c.ended) {
      start_client(c);
    } else {
      enter(c, line);
    }
  }
  s.focus = Focus::kInput;
}

void back(Client& c, Screen& s, int) {
  if (s.focus != Focus::kInput) {
    if (s.focus == Focus::kMessages && !c.model.at_newest) open_chat(c, c.model.open_chat);
    s.messages.marked = 0;
    s.focus = Focus::kInput;
  } else if (!s.input.empty()) {
    set_input(s, "");
  } else {
    c.model.notifications.clear();
    if (c.model.of("call_update").str("state") == "callStateDiscarded") {
      c.model.last.erase("call_update");
    }
    c.note.clear();
  }
}

void edit_marked(Client& c, Screen& s, int) {
  const std::string id = std::to_string(s.messages.marked);
  set_input(s, "/edit " + id + " " + c.model.message(s.messages.marked).str("text"));
}

void open_notification(Client& c, Screen& s, int) {
  if (!c.model.notifications.empty()) {
    open_marked(c, s, c.model.notifications.back().num("chat_id"));
  }
}

// --- the input line ---

// Removes from the cursor to `to`.
void erase_input(Screen& s, std::size_t to) {
  const auto [begin, end] = std::minmax(s.cursor, to);
  s.input.erase(begin, end - begin);
  s.cursor = begin;
}

// The next place for the cursor. Characters that take no column belong to the one before them.
std::size_t beside(const Screen& s, int by) {
  std::size_t at = s.cursor;
  do {
    if (at == (by < 0 ? 0 : s.input.size())) return at;
    at += static_cast<std::size_t>(by);
  } while (at < s.input.size() && columns({&s.input[at], 1}) == 0);
  return at;
}

void go(Client&, Screen& s, int by) { s.cursor = beside(s, by); }
void go_far(Client&, Screen& s, int by) { s.cursor = by < 0 ? 0 : s.input.size(); }
void erase_one(Client&, Screen& s, int by) { erase_input(s, beside(s, by)); }
void erase_all(Client&, Screen& s, int) { erase_input(s, 0); }
void erase_word(Client&, Screen& s, int) {
  erase_input(s, s.input.rfind(L' ', std::max<std::size_t>(s.cursor, 2) - 2) + 1);
}

// --- the mouse ---

void wheel(Client& c, Screen& s, const MEVENT& at, int steps) {
  if (s.raw_box.holds(at.y, at.x)) {
    s.raw_back = std::max(0, s.raw_back - steps);
  } else if (s.chats.box.holds(at.y, at.x)) {
    for (int i = 0; i < 3; ++i) step_chats(c, s, steps / 3);
  } else {
    if (s.focus == Focus::kChats) s.focus = Focus::kInput;
    step(c, s, steps);
  }
}

void click(Client& c, Screen& s, const MEVENT& at) {
  if (s.list.box.holds(at.y, at.x)) {
    s.list.marked = s.list.id_at(at.y);
    if (s.list.marked != 0) choose(c, s);
  } else if (s.notice_box.holds(at.y, at.x)) {
    open_notification(c, s, 0);
  } else if (s.chats.box.holds(at.y, at.x)) {
    open_marked(c, s, s.chats.id_at(at.y));
  } else if (s.messages.box.holds(at.y, at.x)) {
    s.messages.marked = s.messages.id_at(at.y);
    s.focus = s.messages.marked == 0 ? Focus::kInput : Focus::kMessages;
  } else if (s.focus != Focus::kList && !s.raw_box.holds(at.y, at.x)) {
    s.focus = Focus::kInput;
  }
}

void on_mouse(Client& c, Screen& s, int) {
  MEVENT at{};
  if (getmouse(&at) != OK) return;
  if (at.bstate & BUTTON4_PRESSED) wheel(c, s, at, -3);
  if (at.bstate & BUTTON5_PRESSED) wheel(c, s, at, 3);
  if (at.bstate & (BUTTON1_PRESSED | BUTTON1_CLICKED)) click(c, s, at);
}

// --- the keys ---

constexpr wint_t control(char c) { return static_cast<wint_t>(c) & 31U; }
// One of ncurses' own, apart from the characters of the same number.
constexpr wint_t code(int key) { return static_cast<wint_t>(key) | 1U << 30; }

void page(Client& c, Screen& s, int by) {
  const View& view = s.focus == Focus::kList    ? s.list
                     : s.focus == Focus::kChats ? s.chats
                                                : s.messages;
  step(c, s, by * std::max(view.box.h / 2, 1));
}

void neighbour(Client& c, Screen& s, int by) {
  step_chats(c, s, by);
  open_marked(c, s, s.chats.marked);
}

void swap_focus(Client&, Screen& s, int) {
  s.focus = s.focus == Focus::kChats ? Focus::kInput : Focus::kChats;
}
void show_raw(Client&, Screen& s, int) { s.raw = !s.raw; }
void draw_again(Client&, Screen&, int) { clearok(curscr, TRUE); }
void show_help(Client& c, Screen& s, int);

struct Key {
  wint_t key, also;             // `also` does the same; 0: no other one
  const char *names, *meaning;  // in the help
  const char* words;            // what it enters, or what it does:
  void (*act)(Client&, Screen&, int by) = nullptr;
  int by = 0;
};
constexpr Key kKeys[] = {
    {'\t', 0, "Tab", "from the input to the chat list and back", "", swap_focus},
    {code(KEY_UP), 0, "Up", "mark a chat; in the input: mark a message", "", step, -1},
    {code(KEY_DOWN), 0, "Down", "likewise", "", step, 1},
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
};

// Where no text is typed: "$" is the marked message's id, or the marked chat's.
constexpr Key kMessageKeys[] = {
    {'r', 0, "r", "on a marked message: answer it", "/reply $ "},
    {'e', 0, "e", "edit it", "", edit_marked},
    {'s', 0, "s", "download its file", "/get $"},
    {'x', 0, "x", "stop the download", "/stop $"},
    {'+', 0, "+", "thumb up, or down again", "/react $ 👍"},
    {'*', 0, "*", "another reaction", "/react $ "},
    {'d', 0, "d", "delete it here", "/delete $ "},
    {'D', 0, "D", "delete it for all", "/revoke $ "},
    {'f', 0, "f", "forward it", "/forward $ "},
    {'p', 0, "p", "pin it", "/pin $"},
    {'a', 0, "a", "send it again", "/again $"},
};
constexpr Key kChatKeys[] = {
    {'m', 0, "m", "on a marked chat: mute or unmute it", "/raw mute_toggle $"},
    {'/', 0, "/", "search for chats", "/search "},
};

template <typename Keys>
void add_help(std::vector<List::Row>& rows, const Keys& keys) {
  for (const Key& key : keys) rows.push_back({key.names, "", key.meaning});
}

void show_help(Client& c, Screen&, int) {
  List help = {"Help", 0, {}, true};
  add_help(help.rows, kKeys);
  add_help(help.rows, kMessageKeys);
  add_help(help.rows, kChatKeys);
  help.rows.push_back({"What is entered is sent to the open chat, but for:", "", ""});
  for (const List::Row& row : words_help("")) help.rows.push_back(row);
  c.model.list = std::move(help);
}

// True when the key is one of these.
template <typename Keys>
bool press(Client& c, Screen& s, wint_t key, const Keys& keys, std::int64_t marked) {
  for (const Key& k : keys) {
    if (k.key != key && (k.also != key || key == 0)) continue;
    std::string words = k.words;
    const std::size_t at = words.find('$');
    if (at != std::string::npos) words.replace(at, 1, std::to_string(marked));
    if (k.act) k.act(c, s, k.by);
    use(c, s, words);
    return true;
  }
  return false;
}

}  // namespace

void handle_key(Client& c, Screen& s, wint_t key, bool is_code) {
  if (is_code) key = code(static_cast<int>(key));
  if (press(c, s, key, kKeys, 0)) return;
  if (s.focus == Focus::kMessages && press(c, s, key, kMessageKeys, s.messages.marked)) return;
  if (s.focus == Focus::kChats && press(c, s, key, kChatKeys, s.chats.marked)) return;
  if (key == '?' && (s.focus != Focus::kInput || s.input.empty()) && !is_secret(c)) {
    show_help(c, s, 0);
  } else if (!is_code && s.focus == Focus::kInput && key >= 32) {
    s.input.insert(s.cursor++, 1, static_cast<wchar_t>(key));
  }
}
