// Keys and the mouse.
#include <ncurses.h>

#include <algorithm>

#include "console/screen.h"
#include "console/text.h"

const KeyWord kMessageKeys[] = {
    {L'r', "/reply $ ", true, "answer it"},
    {L'e', "/edit $ ", true, "edit it"},
    {L's', "/get $", false, "download its file"},
    {L'x', "/stop $", false, "stop the download"},
    {L'+', "/react $ 👍", false, "thumb up, or down again"},
    {L'*', "/react $ ", true, "another reaction"},
    {L'd', "/delete $", true, "delete it here"},
    {L'D', "/delete $ all", true, "delete it for all"},
    {L'f', "/forward $ ", true, "forward it"},
    {L'p', "/pin $", false, "pin it"},
    {L'a', "/again $", false, "send it again"},
    {L't', "/thread $", false, "comments of a post"},
};
const std::size_t kMessageKeyCount = sizeof kMessageKeys / sizeof kMessageKeys[0];

const KeyWord kChatKeys[] = {
    {L'm', "/mute $", false, "mute or unmute it"},
    {L'/', "/search ", true, "search for public chats"},
};
const std::size_t kChatKeyCount = sizeof kChatKeys / sizeof kChatKeys[0];

const KeyHelp kKeyHelp[] = {
    {"Tab", "from the input to the chat list and back"},
    {"Up Down", "mark a chat; in the input: mark a message"},
    {"Enter", "open the chat, send the text"},
    {"PgUp PgDn", "page through messages or chats"},
    {"Esc", "back; away with a notification"},
    {"Ctrl-N Ctrl-P", "next and previous chat"},
    {"Ctrl-F Ctrl-K", "search in the chat, search for chats"},
    {"F2 or Ctrl-R", "the raw lines of the protocol"},
    {"F3", "open the chat of the notification"},
    {"F5 F6", "take a call, end it"},
    {"F1 or ?", "this"},
    {"Ctrl-L Ctrl-C", "draw again, end"},
};
const std::size_t kKeyHelpCount = sizeof kKeyHelp / sizeof kKeyHelp[0];

namespace {

constexpr wint_t control(char c) { return static_cast<wint_t>(c) & 31U; }

void set_input(Screen& s, const std::string& text) {
  s.input = widen(text);
  s.cursor = s.input.size();
  s.focus = Focus::kInput;
}

void mark_chat(Client& c, Screen& s, std::ptrdiff_t step) {
  const std::vector<std::int64_t> ids = chat_order(c.model);
  if (ids.empty()) return;
  const auto it = std::find(ids.begin(), ids.end(), s.chat);
  const std::ptrdiff_t at = it == ids.end() ? -std::max<std::ptrdiff_t>(step, 0) : it - ids.begin();
  const auto last = static_cast<std::ptrdiff_t>(ids.size()) - 1;
  if (at + step > last && c.model.more_chats) enter(c, "/more");
  s.chat = ids[static_cast<std::size_t>(std::clamp<std::ptrdiff_t>(at + step, 0, last))];
}

void open_marked(Client& c, Screen& s, std::int64_t chat_id) {
  if (chat_id == 0) return;
  s.chat = chat_id;
  s.message = 0;
  s.focus = Focus::kInput;
  auto& all = c.model.notifications;
  const auto goes = [&](const Notification& n) { return n.chat_id == chat_id; };
  all.erase(std::remove_if(all.begin(), all.end(), goes), all.end());
  enter(c, "/open " + std::to_string(chat_id));
}

void older(Client& c, Screen& s) {
  const auto& messages = c.model.messages;
  if (messages.empty()) return;
  s.focus = Focus::kMessages;
  auto it = messages.lower_bound(s.message == 0 ? INT64_MAX : s.message);
  if (s.message == s.drawn_message && s.message != 0 && s.drawn_row < 0) {
    s.drawn_row = std::min(0, s.drawn_row + s.view.h / 2 + 1);  // a message taller than the view
  } else if (it == messages.begin()) {
    load_older(c);
  } else {
    s.message = std::prev(it)->first;
  }
}

void newer(Client& c, Screen& s) {
  const auto& messages = c.model.messages;
  const int below = s.drawn_row + s.drawn_rows - s.view.h;
  const auto it = messages.upper_bound(s.message);
  if (s.message == s.drawn_message && s.message != 0 && below > 0) {
    s.drawn_row -= std::min(below, s.view.h / 2 + 1);
  } else if (it != messages.end()) {
    s.message = it->first;
  } else if (!c.model.at_newest) {
    load_newer(c);
  } else {
    s.message = 0;
    s.focus = Focus::kInput;
  }
}

void move(Client& c, Screen& s, int steps) {
  if (s.overlay != Overlay::kNone) {
    const auto at = static_cast<std::ptrdiff_t>(s.overlay_at) + steps;
    s.overlay_at = static_cast<std::size_t>(std::max<std::ptrdiff_t>(at, 0));
  } else if (s.focus == Focus::kChats) {
    mark_chat(c, s, steps);
  } else {
    for (; steps < 0; ++steps) older(c, s);
    for (; steps > 0 && s.focus == Focus::kMessages; --steps) newer(c, s);
  }
}

void enter_input(Client& c, Screen& s) {
  if (c.ended) {
    start_client(c);
    return;
  }
  const std::string line = narrow(s.input);
  s.input.clear();
  s.cursor = 0;
  s.message = 0;
  enter(c, line);
}

void accept(Client& c, Screen& s) {
  if (s.overlay == Overlay::kResults) {
    const auto& rows = c.model.results.rows;
    s.overlay = Overlay::kNone;
    if (s.overlay_at < rows.size()) {
      const std::string words = rows[s.overlay_at].words;
      s.message = words.substr(0, 6) == "/jump " ? std::strtoll(words.c_str() + 6, nullptr, 10) : 0;
      s.focus = s.message != 0 ? Focus::kMessages : Focus::kInput;
      enter(c, words);
    }
  } else if (s.overlay == Overlay::kHelp) {
    s.overlay = Overlay::kNone;
  } else if (s.focus == Focus::kChats) {
    open_marked(c, s, s.chat);
  } else if (s.focus == Focus::kMessages) {
    s.message = 0;
    s.focus = Focus::kInput;
  } else {
    enter_input(c, s);
  }
}

void back(Client& c, Screen& s) {
  if (s.overlay != Overlay::kNone) {
    s.overlay = Overlay::kNone;
  } else if (s.focus != Focus::kInput) {
    s.message = 0;
    s.focus = Focus::kInput;
  } else if (!s.input.empty()) {
    set_input(s, "");
  } else {
    c.model.notifications.clear();
    if (c.model.call.state == "callStateDiscarded") c.model.call.id = 0;
    c.note.clear();
  }
}

void show_help(Screen& s) {
  s.overlay = Overlay::kHelp;
  s.overlay_at = 0;
}

// Letters where no text is typed. True when the key meant something.
bool act(Client& c, Screen& s, wint_t key, const KeyWord* keys, std::size_t count,
         std::int64_t id) {
  for (std::size_t i = 0; i < count; ++i) {
    if (static_cast<wint_t>(keys[i].key) != key || id == 0) continue;
    std::string words = keys[i].words;
    if (const std::size_t at = words.find('$'); at != std::string::npos) {
      words.replace(at, 1, std::to_string(id));
    }
    if (keys[i].asks) {
      const auto message = c.model.messages.find(id);
      if (key == L'e' && message != c.model.messages.end()) words += message->second.text;
      set_input(s, words);
    } else {
      enter(c, words);
    }
    return true;
  }
  return false;
}

void type(Client& c, Screen& s, wint_t key) {
  if (key == L'?' && (s.focus != Focus::kInput || s.input.empty()) && !is_secret(c)) {
    show_help(s);
    return;
  }
  if (s.focus == Focus::kMessages && act(c, s, key, kMessageKeys, kMessageKeyCount, s.message)) {
    return;
  }
  if (s.focus == Focus::kChats && act(c, s, key, kChatKeys, kChatKeyCount, s.chat)) return;
  if (s.focus != Focus::kInput || s.overlay != Overlay::kNone || key < 32 || key == 127) return;
  s.input.insert(s.cursor++, 1, static_cast<wchar_t>(key));
}

// Removes from the cursor to `to`.
void erase_input(Screen& s, std::size_t to) {
  const auto [begin, end] = std::minmax(s.cursor, to);
  s.input.erase(begin, end - begin);
  s.cursor = begin;
}

std::size_t word_begin(const Screen& s) {
  std::size_t at = s.cursor;
  while (at > 0 && s.input[at - 1] == L' ') --at;
  while (at > 0 && s.input[at - 1] != L' ') --at;
  return at;
}

// Characters that take no column belong to the one before them.
std::size_t left_of(const Screen& s, std::size_t at) {
  if (at > 0) --at;
  while (at > 0 && columns(s.input[at]) == 0) --at;
  return at;
}

std::size_t right_of(const Screen& s, std::size_t at) {
  if (at < s.input.size()) ++at;
  while (at < s.input.size() && columns(s.input[at]) == 0) ++at;
  return at;
}

void open_notification(Client& c, Screen& s) {
  if (!c.model.notifications.empty()) open_marked(c, s, c.model.notifications.back().chat_id);
}

void neighbour_chat(Client& c, Screen& s, int step) {
  mark_chat(c, s, step);
  open_marked(c, s, s.chat);
}

template <typename Ids>
std::int64_t id_at(const Ids& ids, int row) {
  return row >= 0 && static_cast<std::size_t>(row) < ids.size() ? ids[static_cast<std::size_t>(row)]
                                                                : 0;
}

void wheel(Client& c, Screen& s, const MEVENT& at, int step) {
  if (s.raw_box.holds(at.y, at.x)) {
    s.raw_back = std::max(0, s.raw_back - step);
  } else if (s.overlay == Overlay::kNone && s.list.holds(at.y, at.x)) {
    mark_chat(c, s, step);
  } else {
    if (s.focus == Focus::kChats) s.focus = Focus::kInput;
    move(c, s, step);
  }
}

void click(Client& c, Screen& s, const MEVENT& at) {
  if (s.overlay != Overlay::kNone) {
    if (!s.view.holds(at.y, at.x)) return;
    s.overlay_at = static_cast<std::size_t>(id_at(s.view_ids, at.y - s.view.y));
    accept(c, s);
  } else if (s.list.holds(at.y, at.x)) {
    open_marked(c, s, id_at(s.list_ids, (at.y - s.list.y) / s.rows_per_chat));
  } else if (s.note_box.holds(at.y, at.x)) {
    open_notification(c, s);
  } else if (s.view.holds(at.y, at.x)) {
    s.message = id_at(s.view_ids, at.y - s.view.y);
    s.focus = s.message == 0 ? Focus::kInput : Focus::kMessages;
  } else if (!s.raw_box.holds(at.y, at.x)) {
    s.focus = Focus::kInput;
  }
}

void handle_mouse(Client& c, Screen& s) {
  MEVENT at{};
  if (getmouse(&at) != OK) return;
  if (at.bstate & BUTTON4_PRESSED) {
    wheel(c, s, at, -3);
  } else if (at.bstate & BUTTON5_PRESSED) {
    wheel(c, s, at, 3);
  } else if (at.bstate & (BUTTON1_PRESSED | BUTTON1_CLICKED)) {
    click(c, s, at);
  }
}

void handle_code(Client& c, Screen& s, wint_t key) {
  const int page = std::max(s.view.h / 2, 1);
  switch (static_cast<int>(key)) {
    case KEY_UP: move(c, s, -1); break;
    case KEY_DOWN: move(c, s, 1); break;
    case KEY_PPAGE: move(c, s, -page); break;
    case KEY_NPAGE: move(c, s, page); break;
    case KEY_LEFT: s.cursor = left_of(s, s.cursor); break;
    case KEY_RIGHT: s.cursor = right_of(s, s.cursor); break;
    case KEY_HOME: s.cursor = 0; break;
    case KEY_END: s.cursor = s.input.size(); break;
    case KEY_DC: erase_input(s, right_of(s, s.cursor)); break;
    case KEY_BACKSPACE: erase_input(s, left_of(s, s.cursor)); break;
    case KEY_ENTER: accept(c, s); break;
    case KEY_MOUSE: handle_mouse(c, s); break;
    case KEY_F(1): show_help(s); break;
    case KEY_F(2): s.raw = !s.raw; break;
    case KEY_F(3): open_notification(c, s); break;
    case KEY_F(5): enter(c, "/accept"); break;
    case KEY_F(6): enter(c, "/hangup"); break;
    default: break;
  }
}

}  // namespace

void handle_key(Client& c, Screen& s, wint_t key, bool is_code) {
  if (is_code) return handle_code(c, s, key);
  switch (key) {
    case 27: back(c, s); break;
    case '\r':
    case '\n': accept(c, s); break;
    case '\t': s.focus = s.focus == Focus::kChats ? Focus::kInput : Focus::kChats; break;
    case 8:
    case 127: erase_input(s, left_of(s, s.cursor)); break;
    case control('A'): s.cursor = 0; break;
    case control('E'): s.cursor = s.input.size(); break;
    case control('F'): set_input(s, "/find "); break;
    case control('K'): set_input(s, "/search "); break;
    case control('L'): clearok(curscr, TRUE); break;
    case control('N'): neighbour_chat(c, s, 1); break;
    case control('P'): neighbour_chat(c, s, -1); break;
    case control('R'): s.raw = !s.raw; break;
    case control('U'): erase_input(s, 0); break;
    case control('W'): erase_input(s, word_begin(s)); break;
    default: type(c, s, key); break;
  }
}
