// Keys and the mouse: one table, from which they act and the help is made.
#include <algorithm>

#include "console/screen.h"
#include "console/text.h"

namespace {

void set_input(Screen& s, const std::string& text) {
  s.input = widen(text);
  s.cursor = s.input.size();
  s.focus = kInput;
}

// Enters the words; those that end in a blank are to be gone on with.
void use(Client& c, Screen& s, const std::string& words) {
  if (words.empty()) return;
  if (words.back() == ' ') return set_input(s, words);
  enter(c, words);
}

void mark_chat(Client& c, Screen& s, std::ptrdiff_t step) {
  const std::vector<std::int64_t> ids = chat_order(c.model);
  if (ids.empty()) return;
  const auto it = std::find(ids.begin(), ids.end(), s.chat);
  const std::ptrdiff_t at = it == ids.end() ? -std::max<std::ptrdiff_t>(step, 0) : it - ids.begin();
  const auto last = static_cast<std::ptrdiff_t>(ids.size()) - 1;
  if (at + step > last && c.model.of("chats_end").on("has_more")) enter(c, "/more");
  s.chat = ids[static_cast<std::size_t>(std::clamp<std::ptrdiff_t>(at + step, 0, last))];
}

void open_marked(Client& c, Screen& s, std::int64_t chat_id) {
  if (chat_id == 0) return;
  s.chat = chat_id;
  s.message = 0;
  s.focus = kInput;
  auto& all = c.model.notifications;
  const auto goes = [&](const Event& n) { return n.num("chat_id") == chat_id; };
  all.erase(std::remove_if(all.begin(), all.end(), goes), all.end());
  open_chat(c, chat_id);
}

void older(Client& c, Screen& s) {
  const Rows& messages = c.model.messages;
  if (messages.empty()) return;
  s.focus = kMessages;
  const auto it = messages.lower_bound(s.message == 0 ? INT64_MAX : s.message);
  if (s.hidden_above > 0) {
    const int step = std::min(s.hidden_above, s.page / 2 + 1);
    s.hidden_above -= step;
    s.scroll -= step;
  } else if (it == messages.begin()) {
    load_older(c);
  } else {
    s.message = std::prev(it)->first;
    s.hidden_below = 0;
  }
}

void newer(Client& c, Screen& s) {
  const Rows& messages = c.model.messages;
  const auto it = messages.upper_bound(s.message);
  if (s.hidden_below > 0) {
    const int step = std::min(s.hidden_below, s.page / 2 + 1);
    s.hidden_below -= step;
    s.scroll += step;
  } else if (it != messages.end()) {
    s.message = it->first;
    s.hidden_above = 0;
  } else if (!c.model.at_newest) {
    load_newer(c);
  } else {
    s.message = 0;
    s.focus = kInput;
  }
}

void step(Client& c, Screen& s, int steps) {
  if (s.focus == kList) s.row += steps;
  if (s.focus == kChats) mark_chat(c, s, steps);
  if ((s.focus & (kInput | kMessages)) == 0) return;
  for (; steps < 0; ++steps) older(c, s);
  for (; steps > 0 && s.focus == kMessages; --steps) newer(c, s);
}

void choose(Client& c, Screen& s) {
  const auto& rows = c.model.list.rows;
  s.focus = kInput;
  if (s.row < 0 || s.row >= static_cast<std::int64_t>(rows.size())) return;
  const std::string words = rows[static_cast<std::size_t>(s.row)].words;
  if (words.substr(0, 6) == "/jump ") {
    s.message = std::strtoll(words.c_str() + 6, nullptr, 10);
    s.focus = kMessages;
  }
  use(c, s, words);
}

void accept(Client& c, Screen& s) {
  if (s.focus == kList) return choose(c, s);
  if (s.focus == kChats) return open_marked(c, s, s.chat);
  s.message = 0;
  if (s.focus == kInput) {
    const std::string line = narrow(s.input);
    set_input(s, "");
    if (c.ended) {
      start_client(c);
    } else {
      enter(c, line);
    }
  }
  s.focus = kInput;
}

void back(Client& c, Screen& s) {
  if (s.focus != kInput) {
    s.message = 0;
    s.focus = kInput;
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

void edit_marked(Client& c, Screen& s) {
  const std::string id = std::to_string(s.message);
  set_input(s, "/edit " + id + " " + c.model.message(s.message).str("text"));
}

void open_notification(Client& c, Screen& s) {
  if (!c.model.notifications.empty()) {
    open_marked(c, s, c.model.notifications.back().num("chat_id"));
  }
}

void neighbour(Client& c, Screen& s, int by) {
  mark_chat(c, s, by);
  open_marked(c, s, s.chat);
}

// --- the input line ---

// Removes from the cursor to `to`.
void erase_input(Screen& s, std::size_t to) {
  const auto [begin, end] = std::minmax(s.cursor, to);
  s.input.erase(begin, end - begin);
  s.cursor = begin;
}

// The next place for the cursor. Characters that take no column belong to the one before them.
std::size_t beside(const Screen& s, bool left) {
  std::size_t at = s.cursor;
  do {
    if (at == (left ? 0 : s.input.size())) return at;
    at += left ? std::size_t(-1) : 1;
  } while (at < s.input.size() && columns({&s.input[at], 1}) == 0);
  return at;
}

std::size_t word_begin(const Screen& s) {
  const std::size_t end = s.input.find_last_not_of(L' ', s.cursor - 1);
  const std::size_t blank = s.cursor == 0 || end == s.input.npos ? end : s.input.rfind(L' ', end);
  return s.cursor == 0 || blank == s.input.npos ? 0 : blank + 1;
}

// --- the mouse ---

const Screen::Place* place_at(const Screen& s, const MEVENT& at) {
  const auto holds = [&](const Screen::Place& place) { return place.box.holds(at.y, at.x); };
  const auto it = std::find_if(s.places.rbegin(), s.places.rend(), holds);
  return it == s.places.rend() ? nullptr : &*it;
}

void wheel(Client& c, Screen& s, const MEVENT& at, int steps) {
  const Screen::Place* place = place_at(s, at);
  if (place && place->part == kRaw) {
    s.raw_back = std::max(0, s.raw_back - steps);
  } else if (place && place->part == kChats) {
    mark_chat(c, s, steps);
  } else {
    if (s.focus == kChats) s.focus = kInput;
    step(c, s, steps);
  }
}

void click(Client& c, Screen& s, const MEVENT& at) {
  const Screen::Place* place = place_at(s, at);
  const std::int64_t id = place ? place->id : 0;
  const Part part = place ? place->part : kInput;
  if (s.focus == kList) {
    if (part != kList) return;
    s.row = id;
    choose(c, s);
  } else if (part == kChats || part == kNotice) {
    open_marked(c, s, id);
  } else if (part == kMessages) {
    s.message = id;
    s.focus = id == 0 ? kInput : kMessages;
  } else if (part == kInput) {
    s.focus = kInput;
  }
}

void on_mouse(Client& c, Screen& s) {
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
constexpr unsigned kAnywhere = kInput | kChats | kMessages | kList;

void show_help(Client& c, Screen& s);

struct Key {
  wint_t key;
  unsigned parts;  // where it means this
  void (*act)(Client&, Screen&);
  const char* words;  // in place of it: what it enters, "$" being the marked message or chat
  // In the help; without names it stands in the row of another key.
  const char* names;
  const char* meaning;
};

constexpr Key kKeys[] = {
    {'\t', kAnywhere, [](Client&, Screen& s) { s.focus = s.focus == kChats ? kInput : kChats; }, "",
     "Tab", "from the input to the chat list and back"},
    {code(KEY_UP), kAnywhere, [](Client& c, Screen& s) { step(c, s, -1); }, "", "Up Down",
     "mark a chat; in the input: mark a message"},
    {code(KEY_DOWN), kAnywhere, [](Client& c, Screen& s) { step(c, s, 1); }, "", "", ""},
    {code(KEY_PPAGE), kAnywhere, [](Client& c, Screen& s) { step(c, s, -std::max(s.page / 2, 1)); },
     "", "PgUp PgDn", "page through messages or chats"},
    {code(KEY_NPAGE), kAnywhere, [](Client& c, Screen& s) { step(c, s, std::max(s.page / 2, 1)); },
     "", "", ""},
    {'\r', kAnywhere, accept, "", "Enter", "open the chat, send the text"},
    {'\n', kAnywhere, accept, "", "", ""},
    {code(KEY_ENTER), kAnywhere, accept, "", "", ""},
    {27, kAnywhere, back, "", "Esc", "back; away with a notification"},
    {control('N'), kAnywhere, [](Client& c, Screen& s) { neighbour(c, s, 1); }, "", "Ctrl-N Ctrl-P",
     "next and previous chat"},
    {control('P'), kAnywhere, [](Client& c, Screen& s) { neighbour(c, s, -1); }, "", "", ""},
    {control('F'), kAnywhere, nullptr, "/find ", "Ctrl-F", "search in the chat"},
    {control('K'), kAnywhere, nullptr, "/search ", "Ctrl-K", "search for chats"},
    {code(KEY_F(2)), kAnywhere, [](Client&, Screen& s) { s.raw = !s.raw; }, "", "F2 or Ctrl-R",
     "the raw lines of the protocol"},
    {control('R'), kAnywhere, [](Client&, Screen& s) { s.raw = !s.raw; }, "", "", ""},
    {code(KEY_F(3)), kAnywhere, open_notification, "", "F3", "open the chat of the notification"},
    {code(KEY_F(5)), kAnywhere, nullptr, "/accept", "F5", "take a call"},
    {code(KEY_F(6)), kAnywhere, nullptr, "/hangup", "F6", "end it"},
    {code(KEY_F(1)), kAnywhere, show_help, "", "F1 or ?", "this"},
    {'?', kChats | kMessages | kList, show_help, "", "", ""},
    {control('L'), kAnywhere, [](Client&, Screen&) { clearok(curscr, TRUE); }, "", "Ctrl-L",
     "draw again"},
    {control('C'), kAnywhere, nullptr, "/quit", "Ctrl-C", "end"},
    {code(KEY_MOUSE), kAnywhere, on_mouse, "", "Mouse", "open, mark, scroll"},

    {'r', kMessages, nullptr, "/reply $ ", "r", "on a marked message: answer it"},
    {'e', kMessages, edit_marked, "", "e", "edit it"},
    {'s', kMessages, nullptr, "/get $", "s", "download its file"},
    {'x', kMessages, nullptr, "/stop $", "x", "stop the download"},
    {'+', kMessages, nullptr, "/react $ 👍", "+", "thumb up, or down again"},
    {'*', kMessages, nullptr, "/react $ ", "*", "another reaction"},
    {'d', kMessages, nullptr, "/delete $ ", "d", "delete it here"},
    {'D', kMessages, nullptr, "/revoke $ ", "D", "delete it for all"},
    {'f', kMessages, nullptr, "/forward $ ", "f", "forward it"},
    {'p', kMessages, nullptr, "/pin $", "p", "pin it"},
    {'a', kMessages, nullptr, "/again $", "a", "send it again"},
    {'m', kChats, nullptr, "/raw mute_toggle $", "m", "on a marked chat: mute or unmute it"},
    {'/', kChats, nullptr, "/search ", "/", "search for chats"},

    {code(KEY_LEFT), kAnywhere, [](Client&, Screen& s) { s.cursor = beside(s, true); }, "", "", ""},
    {code(KEY_RIGHT), kAnywhere, [](Client&, Screen& s) { s.cursor = beside(s, false); }, "", "",
     ""},
    {code(KEY_HOME), kAnywhere, [](Client&, Screen& s) { s.cursor = 0; }, "", "Home Ctrl-A",
     "to the begin of the input; End, Ctrl-E to its end"},
    {control('A'), kAnywhere, [](Client&, Screen& s) { s.cursor = 0; }, "", "", ""},
    {code(KEY_END), kAnywhere, [](Client&, Screen& s) { s.cursor = s.input.size(); }, "", "", ""},
    {control('E'), kAnywhere, [](Client&, Screen& s) { s.cursor = s.input.size(); }, "", "", ""},
    {code(KEY_BACKSPACE), kAnywhere, [](Client&, Screen& s) { erase_input(s, beside(s, true)); },
     "", "", ""},
    {8, kAnywhere, [](Client&, Screen& s) { erase_input(s, beside(s, true)); }, "", "", ""},
    {127, kAnywhere, [](Client&, Screen& s) { erase_input(s, beside(s, true)); }, "", "", ""},
    {code(KEY_DC), kAnywhere, [](Client&, Screen& s) { erase_input(s, beside(s, false)); }, "", "",
     ""},
    {control('U'), kAnywhere, [](Client&, Screen& s) { erase_input(s, 0); }, "", "Ctrl-U Ctrl-W",
     "erase the input, a word of it"},
    {control('W'), kAnywhere, [](Client&, Screen& s) { erase_input(s, word_begin(s)); }, "", "",
     ""},
};

void show_help(Client& c, Screen&) {
  enter(c, "/help");
  std::vector<List::Row> keys;
  for (const Key& key : kKeys) {
    if (*key.names) keys.push_back({key.names, "", key.meaning});
  }
  keys.push_back({"What is entered is sent to the open chat, but for:", "", ""});
  c.model.list.rows.insert(c.model.list.rows.begin(), keys.begin(), keys.end());
}

}  // namespace

void handle_key(Client& c, Screen& s, wint_t key, bool is_code) {
  if (is_code) key = code(static_cast<int>(key));
  const std::int64_t marked = s.focus == kChats ? s.chat : s.message;
  for (const Key& k : kKeys) {
    if (k.key != key || (k.parts & s.focus) == 0) continue;
    std::string words = k.words;
    const std::size_t at = words.find('$');
    if (at != std::string::npos && marked == 0) return;
    if (at != std::string::npos) words.replace(at, 1, std::to_string(marked));
    return k.act ? k.act(c, s) : use(c, s, words);
  }
  if (is_code || s.focus != kInput || key < 32) return;
  if (key == '?' && s.input.empty() && !is_secret(c)) return show_help(c, s);
  s.input.insert(s.cursor++, 1, static_cast<wchar_t>(key));
}
