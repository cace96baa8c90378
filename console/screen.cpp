#include "console/screen.h"

#include <ncurses.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <clocale>

#include "console/paint.h"
#include "console/stop.h"
#include "console/text.h"

namespace {

// --- the chat list ---

void draw_chat(const Client& c, const Screen& s, std::int64_t id, int y, const Box& box) {
  const Chat& chat = c.model.chats.at(id);
  const auto user = c.model.users.find(chat.user_id);
  const bool online = user != c.model.users.end() && user->second.status == "online";
  const bool marked = id == s.chat && s.focus == Focus::kChats;
  const attr_t over = marked ? A_REVERSE : A_NORMAL;
  std::wstring right;
  if (chat.pinned) right += L"▴";
  if (chat.muted) right += L" ⊘";
  if (chat.mentions > 0) right += L" @";
  if (chat.unread > 0) right += L" " + std::to_wstring(chat.unread);
  if (chat.unread == 0 && chat.marked) right += L" •";
  const bool loud = chat.unread > 0 && !chat.muted;
  const Span left = {(id == c.model.open_chat ? L"▌" : L" ") + widen(chat_title(c.model, id)),
                     loud ? A_BOLD : A_NORMAL};
  put(y, box.x, 1, {{online ? L"●" : L" ", colour(kGood)}}, over);
  put_ends(y, box.x + 1, box.w - 2, left, {right, loud ? colour(kWarn) | A_BOLD : dim()}, over);
  if (s.rows_per_chat < 2) return;
  std::wstring text = widen(chat.last_text);
  if (chat.last_outgoing) text = L"You: " + text;
  if (!chat.draft.empty()) text = L"Draft: " + widen(chat.draft);
  attr_t attr = chat.draft.empty() ? dim() : colour(kBad);
  if (!chat.actions.empty()) {
    text = widen(presence(c.model, id));
    attr = colour(kGood);
  }
  put(y + 1, box.x, box.w - 1, {{L"  " + text, attr}}, over);
}

void draw_list(const Client& c, Screen& s, Box box) {
  s.list = box;
  s.rows_per_chat = box.h >= 16 ? 2 : 1;
  const std::vector<std::int64_t> ids = chat_order(c.model);
  if (ids.empty()) put(box.y, box.x + 1, box.w - 2, {{L"No chats yet", dim()}});
  const auto shown = static_cast<std::size_t>(box.h / s.rows_per_chat);
  const auto at = static_cast<std::size_t>(std::find(ids.begin(), ids.end(), s.chat) - ids.begin());
  const std::size_t first = at < ids.size() && at >= shown ? at - shown + 1 : 0;
  for (std::size_t i = 0; i < shown && first + i < ids.size(); ++i) {
    s.list_ids.push_back(ids[first + i]);
    draw_chat(c, s, ids[first + i], box.y + static_cast<int>(i) * s.rows_per_chat, box);
  }
  attrset(dim());
  mvvline(box.y, box.x + box.w - 1, ACS_VLINE, box.h);
  attrset(A_NORMAL);
}

// --- what takes the place of the messages ---

struct StateText {
  std::string_view state;
  const wchar_t* text;
};
constexpr StateText kStateTexts[] = {
    {"WaitTdlibParameters", L"The library starts."},
    {"WaitPhoneNumber", L"Enter your telephone number, or /qr to use another device."},
    {"WaitCode", L"Enter the code that was sent to you."},
    {"WaitPassword", L"Enter the password of the account."},
    {"WaitEmailAddress", L"Enter your e-mail address."},
    {"WaitEmailCode", L"Enter the code from the e-mail."},
    {"WaitRegistration", L"This number is new here: enter your first and last name."},
    {"WaitOtherDeviceConfirmation", L"Open this link on a device that is logged in:"},
    {"WaitPremiumPurchase", L"The service wants a payment that cannot be made here."},
    {"LoggingOut", L"Logging out."},
    {"Closing", L"Closing."},
    {"Closed", L"Closed."},
};

void draw_text(const std::vector<Span>& texts, const Box& box) {
  int y = box.y + std::max(0, (box.h - 2 * static_cast<int>(texts.size())) / 3);
  for (const Span& span : texts) {
    for (const std::wstring& line : wrap(span.text, std::max(box.w - 4, 1))) {
      if (y < box.y + box.h) put(y++, box.x + 2, box.w - 3, {{line, span.attr}});
    }
    if (box.h > 10) ++y;
  }
}

void draw_login(const Client& c, const Box& box) {
  const Model& m = c.model;
  std::vector<Span> texts = {{L"td_console", A_BOLD}};
  for (const StateText& text : kStateTexts) {
    if (text.state == m.auth) texts.push_back({text.text, A_NORMAL});
  }
  if (texts.size() == 1) texts.push_back({L"The backend starts.", A_NORMAL});
  if (!m.qr_link.empty()) texts.push_back({widen(m.qr_link), colour(kKeyword)});
  for (const std::string& fact : m.login_facts) texts.push_back({widen(fact), dim()});
  if (!m.login_error.empty()) texts.push_back({widen(m.login_error), colour(kBad) | A_BOLD});
  if (c.ended) {
    texts = {{L"The backend has ended.", A_BOLD},
             {L"Enter starts it again, Ctrl-C leaves.", A_NORMAL}};
  }
  draw_text(texts, box);
}

std::vector<Line> overlay_lines(const Client& c, const Screen& s) {
  std::vector<Line> lines;
  if (s.overlay == Overlay::kResults) {
    for (const Results::Row& row : c.model.results.rows) lines.push_back({{widen(row.text)}});
    return lines;
  }
  const auto pair = [&](const std::string& left, std::string_view right, std::size_t width) {
    std::wstring wide = widen(left);
    wide.resize(std::max(wide.size() + 1, width), L' ');
    lines.push_back({{wide, colour(kKeyword) | A_BOLD}, {widen(right), A_NORMAL}});
  };
  for (std::size_t i = 0; i < kKeyHelpCount; ++i) pair(kKeyHelp[i].keys, kKeyHelp[i].meaning, 16);
  lines.push_back({{L"On a marked message:", A_BOLD}});
  for (std::size_t i = 0; i < kMessageKeyCount; ++i) {
    pair(narrow({&kMessageKeys[i].key, 1}), kMessageKeys[i].meaning, 4);
  }
  lines.push_back({{L"On a marked chat:", A_BOLD}});
  for (std::size_t i = 0; i < kChatKeyCount; ++i) {
    pair(narrow({&kChatKeys[i].key, 1}), kChatKeys[i].meaning, 4);
  }
  lines.push_back({{L"What is entered is sent to the open chat, but for:", A_BOLD}});
  for (std::size_t i = 0; i < kWordCount; ++i) {
    pair("/" + std::string(kWords[i].name) + " " + std::string(kWords[i].arguments),
         kWords[i].meaning, 32);
  }
  return lines;
}

void draw_overlay(const Client& c, Screen& s, Box box) {
  const std::vector<Line> lines = overlay_lines(c, s);
  const Results& results = c.model.results;
  std::wstring title = L" Help";
  if (s.overlay == Overlay::kResults) {
    title = L" " + widen(results.title) + L": " + std::to_wstring(results.rows.size()) +
            (results.complete ? L" found" : L"…");
  }
  put_ends(box.y, box.x, box.w, {title, A_BOLD}, {L"Enter, Esc ", A_NORMAL}, colour(kBar));
  ++box.y;
  --box.h;
  s.overlay_at = std::min(s.overlay_at, lines.empty() ? 0 : lines.size() - 1);
  const auto height = static_cast<std::size_t>(std::max(box.h, 1));
  const std::size_t first = s.overlay_at < height ? 0 : s.overlay_at - height + 1;
  s.view = box;
  s.view_ids.clear();
  for (std::size_t i = 0; i < height && first + i < lines.size(); ++i) {
    s.view_ids.push_back(static_cast<std::int64_t>(first + i));
    put(box.y + static_cast<int>(i), box.x + 1, box.w - 1, lines[first + i],
        first + i == s.overlay_at ? A_REVERSE : A_NORMAL);
  }
}

// --- the raw lines ---

// A line of JSON with its names, strings and other values in colours of their own.
std::vector<Span> coloured(const RawLine& raw) {
  const std::wstring text = widen(raw.text);
  if (raw.kind == '>') return {{L"> " + text, colour(kGood) | A_BOLD}};
  if (raw.kind == '|') return {{L"| " + text, colour(kWarn)}};
  std::vector<Span> spans = {{L"< ", dim()}};
  for (std::size_t at = 0; at < text.size();) {
    std::size_t end = at + 1;
    attr_t attr = A_NORMAL;
    if (text[at] == L'"') {
      while (end < text.size() && text[end] != L'"') end += text[end] == L'\\' ? 2 : 1;
      end = std::min(end + 1, text.size());
      attr = end < text.size() && text[end] == L':' ? colour(kKeyword) : colour(kWarn);
    } else {
      while (end < text.size() && text[end] != L'"') ++end;
    }
    spans.push_back({text.substr(at, end - at), attr});
    at = end;
  }
  return spans;
}

// Broken at the last column wherever that is.
std::vector<Line> broken(const std::vector<Span>& spans, int width) {
  std::vector<Line> lines(1);
  int used = 0;
  for (const Span& span : spans) {
    lines.back().push_back({L"", span.attr});
    for (const wchar_t c : span.text) {
      if (used + columns(c) > width) {
        lines.push_back({{L"  ", A_NORMAL}, {L"", span.attr}});
        used = 2;
      }
      lines.back().back().text += c;
      used += columns(c);
    }
  }
  return lines;
}

void draw_raw(const Client& c, Screen& s, const Box& box) {
  s.raw_box = box;
  if (box.h < 1) return;
  put_ends(box.y, box.x, box.w, {L" Raw lines: > commands, < events, | output", A_BOLD},
           {std::to_wstring(c.open_commands.size()) + L" open commands, event " +
                std::to_wstring(c.last_seq) + L" ",
            A_NORMAL},
           colour(kBar));
  int skip = s.raw_back;
  int y = box.y + box.h - 1;
  for (auto raw = c.raw.rbegin(); raw != c.raw.rend() && y > box.y; ++raw) {
    const std::vector<Line> lines = broken(coloured(*raw), std::max(box.w, 4));
    for (auto line = lines.rbegin(); line != lines.rend() && y > box.y; ++line) {
      if (skip-- <= 0) put(y--, box.x, box.w, *line);
    }
  }
  if (skip > 0) s.raw_back -= skip;
}

// --- bars, and the whole ---

void draw_top(const Client& c, int width) {
  const Model& m = c.model;
  const bool good = m.connection == "ready";
  std::wstring right = widen(m.connection);
  std::replace(right.begin(), right.end(), L'_', L' ');
  if (c.losses > 0) right = std::to_wstring(c.losses) + L" losses  " + right;
  if (m.connection == "connecting_to_proxy") right += L" (/proxy off?)";
  const std::wstring left = L" td_console" + (m.my_name.empty() ? L"" : L"  " + widen(m.my_name)) +
                            (c.quitting && !c.ended ? L"  ending…" : L"");
  put_ends(0, 0, width, {left, A_BOLD},
           {right + (right.empty() ? L" "
                     : good        ? L" ● "
                                   : L" ○ "),
            A_BOLD},
           colour(kBar));
}

void draw_call(const Call& call, int y, int width) {
  std::wstring text = widen(call.who);
  attr_t attr = colour(kGood) | A_REVERSE | A_BOLD;
  if (call.state == "callStateDiscarded" || call.state == "callStateError") {
    text = L"The call with " + text + L" has ended" +
           (call.reason.empty() ? L"" : L": " + widen(call.reason)) + L"  (Esc)";
    attr = A_REVERSE;
  } else if (call.state == "callStatePending" && !call.outgoing) {
    text += L" calls" + std::wstring(call.video ? L" with video" : L"") + L": F5 takes it, F6 not";
  } else {
    const std::wstring state = widen(call.state);
    text =
        L"Call with " + text + L": " + state.substr(state.find(L"State") + 5) + L"  (F6 ends it)";
  }
  put(y, 0, width, {{L" ☎ " + text, attr}}, A_REVERSE);
}

void draw_status(const Client& c, const Screen& s, int y, int width) {
  if (!c.note.empty()) {
    put(y, 0, width, {{L" " + widen(c.note), c.note_is_error ? colour(kBad) : colour(kGood)}});
    return;
  }
  std::string hint = " ? help  Tab chats  F2 raw lines";
  if (s.focus == Focus::kMessages)
    hint = " r answer  e edit  s download  + react  d delete  ? help";
  if (s.focus == Focus::kChats) hint = " Enter opens  m mutes  / searches  ? help";
  // The words that begin with what is typed.
  const std::string typed = narrow(s.input);
  if (!typed.empty() && typed[0] == '/') {
    hint = " ";
    const std::string word = typed.substr(1, typed.find(' ') - 1);
    for (std::size_t i = 0; i < kWordCount; ++i) {
      if (kWords[i].name.substr(0, word.size()) != word) continue;
      hint.append(hint.size() > 1 ? "  " : "").append("/").append(kWords[i].name);
      if (kWords[i].name == word) hint.append(" ").append(kWords[i].arguments);
    }
  }
  put(y, 0, width, {{widen(hint), dim()}});
}

void draw_input(const Client& c, const Screen& s, int y, int width) {
  const std::wstring prompt =
      clip(widen(c.model.auth == "Ready" ? "" : c.model.need) + L"> ", std::max(2, width / 2));
  const std::wstring text = is_secret(c) ? std::wstring(s.input.size(), L'*') : s.input;
  const int room = width - columns(prompt) - 1;
  std::size_t begin = 0;
  const auto before = [&] {
    return columns(std::wstring_view(text).substr(begin, s.cursor - begin));
  };
  while (begin < s.cursor && before() > room) ++begin;
  put(y, 0, width, {{prompt, colour(kKeyword) | A_BOLD}, {text.substr(begin), A_NORMAL}});
  if (s.focus == Focus::kInput) ::move(y, std::min(columns(prompt) + before(), width - 1));
  curs_set(s.focus == Focus::kInput ? 1 : 0);
}

void start_curses() {
  initscr();
  cbreak();
  noecho();
  nonl();
  keypad(stdscr, TRUE);
  nodelay(stdscr, TRUE);
  set_escdelay(25);
  mousemask(BUTTON1_PRESSED | BUTTON1_CLICKED | BUTTON4_PRESSED | BUTTON5_PRESSED, nullptr);
  mouseinterval(0);
  start_color();
  use_default_colors();
  const short grey = COLORS >= 256 ? 245 : COLOR_WHITE;
  init_pair(kBar, COLOR_WHITE, COLORS >= 256 ? short{24} : short{COLOR_BLUE});
  init_pair(kDim, grey, -1);
  init_pair(kGood, COLOR_GREEN, -1);
  init_pair(kBad, COLOR_RED, -1);
  init_pair(kWarn, COLOR_YELLOW, -1);
  init_pair(kKeyword, COLOR_CYAN, -1);
  constexpr short kNames[] = {COLOR_CYAN, COLOR_MAGENTA, COLOR_YELLOW,
                              COLOR_BLUE, COLOR_RED,     COLOR_CYAN};
  for (short i = 0; i < 6; ++i) init_pair(static_cast<short>(kFirstName + i), kNames[i], -1);
}

std::int64_t now_ms() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

bool read_keys(Client& c, Screen& s) {
  wint_t key = 0;
  bool any = false;
  for (int got; (got = get_wch(&key)) != ERR; any = true) {
    handle_key(c, s, key, got == KEY_CODE_YES);
  }
  return any;
}

// What happened in the client that concerns the window.
void look_at_client(Client& c, Screen& s, std::size_t notifications) {
  if (c.wants_help) s.overlay = Overlay::kHelp;
  c.wants_help = false;
  if (c.model.results.request != s.results_request) {
    s.results_request = c.model.results.request;
    if (s.results_request != 0) s.overlay = Overlay::kResults;
    s.overlay_at = 0;
  }
  if (c.model.notifications.size() > notifications) beep();
  if (c.ended && c.quitting) s.done = true;
}

}  // namespace

void draw(const Client& c, Screen& s) {
  int height = 0;
  int width = 0;
  getmaxyx(stdscr, height, width);
  erase();
  s.list = s.view = s.call_box = s.note_box = s.raw_box = {};
  s.list_ids.clear();
  int top = 0;
  int bottom = height;
  if (s.raw && height >= 6) {
    bottom -= height / 3;
    draw_raw(c, s, {bottom, 0, height / 3, width});
  }
  const int input = --bottom;
  if (height >= 4) draw_status(c, s, --bottom, width);
  if (height >= 5) {
    draw_top(c, width);
    top = 1;
  }
  const Model& m = c.model;
  if (m.call.id != 0 && m.call.state != "callStateEmpty") draw_call(m.call, top++, width);
  if (!m.notifications.empty() && bottom - top > 2) {
    const Notification& n = m.notifications.back();
    const std::size_t more = m.notifications.size() - 1;
    s.note_box = {top, 0, 1, width};
    put_ends(top++, 0, width, {L" ★ " + widen(n.title) + L"  " + widen(n.text), A_BOLD},
             {(more > 0 ? L"+" + std::to_wstring(more) + L" " : L"") + L"F3 opens ", A_NORMAL},
             colour(kWarn) | A_REVERSE);
  }
  Box rest = {top, 0, std::max(bottom - top, 0), width};
  const bool ready = m.auth == "Ready" && !c.ended;
  const bool list_alone = width < 60;
  if (ready && s.overlay == Overlay::kNone && (!list_alone || s.focus == Focus::kChats)) {
    const int list_width = list_alone ? width : std::clamp(width / 3, 24, 40);
    draw_list(c, s, {rest.y, rest.x, rest.h, list_width});
    rest.x += list_width;
    rest.w -= list_width;
  }
  if (s.overlay != Overlay::kNone) {
    draw_overlay(c, s, rest);
  } else if (!ready) {
    draw_login(c, rest);
  } else if (m.open_chat != 0) {
    draw_messages(c, s, rest);
  } else {
    draw_text({{L"Tab, Up and Down, Enter open a chat; ? shows all keys.", dim()}}, rest);
  }
  draw_input(c, s, input, width);
  refresh();
}

int run_screen(Client& client) {
  Screen screen;
  start_curses();
  std::int64_t touched = now_ms();
  std::int64_t drawn = 0;
  bool changed = true;
  while (!screen.done) {
    // During a flood thirty pictures a second are enough.
    const std::int64_t now = now_ms();
    if (changed && now - drawn >= 33) {
      draw(client, screen);
      drawn = now;
      changed = false;
    }
    wait_for_news(client.backend, STDIN_FILENO, changed ? 33 : 1000);
    const std::size_t notifications = client.model.notifications.size();
    const std::int64_t lines = client.raw_count;
    const bool ended = client.ended;
    if (!ended) follow(client);
    if (read_keys(client, screen) || client.raw_count != lines || client.ended != ended) {
      changed = true;
    }
    look_at_client(client, screen, notifications);
    if (g_stop) {
      g_stop = 0;
      changed = true;
      if (client.ended) screen.done = true;
      enter(client, "/quit");
    }
    if (now_ms() - touched > 10000) {
      touch_ui_running(client.backend);
      touched = now_ms();
    }
  }
  endwin();
  if (!client.note.empty()) std::fprintf(stderr, "td_console: %s\n", client.note.c_str());
  return client.backend.status;
}
