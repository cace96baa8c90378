#include "console/screen.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>

#include "console/text.h"

namespace {

// --- the list of chats, and lists to choose from ---

void draw_chat(const Client& c, const Screen& s, std::int64_t id, Box box) {
  const Model& m = c.model;
  const Event& chat = m.chat(id);
  const attr_t over = id == s.chat && s.focus == kChats ? A_REVERSE : A_NORMAL;
  const bool online = Model::find(m.users, other_side(m, id)).str("status_type") == "online";
  const bool loud = chat.says("unread_count") && !chat.on("muted");
  const std::wstring mark = id == m.open_chat ? L"▌" : L" ";
  const std::string state =
      in_words(m, chat,
               "{pinned?▴}{muted? ⊘}{unread_mention_count? @}{marked_as_unread? •}"
               "{unread_count? {unread_count}}");
  const Box line = box.top();
  put({line.y, line.x, 1, 1}, {{online ? L"●" : L" ", colour(kGood)}}, over);
  put_ends({line.y, line.x + 1, 1, line.w - 1},
           {mark + widen(chat_title(m, id)), loud ? A_BOLD : A_NORMAL},
           {widen(state), loud ? colour(kWarn) | A_BOLD : colour(kDim)}, over);
  if (box.h < 1) return;
  Span below = {L"  " + widen(in_words(m, chat, "{last_outgoing?You: }{last_text}")), colour(kDim)};
  if (chat.says("draft")) below = {L"  Draft: " + widen(chat.str("draft")), colour(kBad)};
  if (m.actions.count(id) != 0) below = {L"  " + widen(presence(m, id)), colour(kGood)};
  put(box, {below}, over);
}

// The first of `total` rows that is seen when `shown` are, and this one shall be.
std::size_t first_row(std::size_t marked, std::size_t total, std::size_t shown) {
  return marked < total && marked >= shown ? marked - shown + 1 : 0;
}

void draw_chats(const Client& c, Screen& s, Box box) {
  const int height = box.h >= 16 ? 2 : 1;
  const std::vector<std::int64_t> ids = chat_order(c.model);
  const auto at = static_cast<std::size_t>(std::find(ids.begin(), ids.end(), s.chat) - ids.begin());
  const auto shown = static_cast<std::size_t>(box.h / height);
  const std::size_t first = first_row(at, ids.size(), shown);
  attrset(colour(kDim));
  mvvline(box.y, box.x + box.w - 1, ACS_VLINE, box.h);
  s.places.push_back({box, kChats, 0});
  if (ids.empty()) put({box.y, box.x, 1, box.w - 1}, {{L" No chats yet", colour(kDim)}});
  for (std::size_t i = first; i < ids.size() && i - first < shown; ++i) {
    const Box row = {box.y + static_cast<int>(i - first) * height, box.x, height, box.w - 1};
    s.places.push_back({row, kChats, ids[i]});
    draw_chat(c, s, ids[i], row);
  }
}

void draw_list(const Client& c, Screen& s, Box box) {
  const List& list = c.model.list;
  const std::wstring count = L": " + std::to_wstring(list.rows.size());
  put_ends(box.top(),
           {L" " + widen(list.title) + count + (list.command ? L"…" : L" found"), A_BOLD},
           {L"Enter, Esc ", A_NORMAL}, colour(kBar));
  const auto total = static_cast<std::int64_t>(list.rows.size());
  s.row = std::clamp<std::int64_t>(s.row, 0, std::max<std::int64_t>(total - 1, 0));
  s.page = box.h;
  const auto shown = static_cast<std::size_t>(std::max(box.h, 1));
  for (std::size_t i = first_row(static_cast<std::size_t>(s.row), list.rows.size(), shown);
       i < list.rows.size() && box.h > 0; ++i) {
    const Box line = box.top();
    const auto row = static_cast<std::int64_t>(i);
    const List::Row& r = list.rows[i];
    const attr_t over = row == s.row ? A_REVERSE : A_NORMAL;
    s.places.push_back({line, kList, row});
    std::wstring text = L" " + widen(r.text);
    if (!r.meaning.empty()) text.resize(std::max<std::size_t>(text.size() + 1, 34), L' ');
    put(line, {{text, r.meaning.empty() ? A_NORMAL : colour(kKeyword)}, {widen(r.meaning)}}, over);
  }
}

// --- the login ---

struct StateText {
  std::string_view state;
  const wchar_t* text;
};
constexpr StateText kStateTexts[] = {
    {"", L"The backend starts."},
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

void draw_text(const Line& paragraphs, Box box) {
  for (int skip = (box.h - 2 * static_cast<int>(paragraphs.size())) / 3; skip > 0; --skip)
    box.top();
  const bool spacious = box.h > 10;
  for (const Span& paragraph : paragraphs) {
    for (const Line& line : wrap({paragraph}, std::max(box.w - 4, 1))) {
      const Box place = box.top();
      put({place.y, place.x + 2, place.h, place.w - 3}, line);
    }
    if (spacious) box.top();
  }
}

void draw_login(const Client& c, const Box& box) {
  const Model& m = c.model;
  Line texts = {{L"td_console", A_BOLD}};
  for (const StateText& text : kStateTexts) {
    if (text.state == m.of("auth_state").str("state")) texts.push_back({text.text});
  }
  const auto tell_last = [&](const char* type, const char* words, attr_t attr) {
    const std::string text = in_words(m, m.of(type), words);
    if (!text.empty()) texts.push_back({widen(text), attr});
  };
  tell_last("qr_link", "{link}", colour(kKeyword));
  for (const char* facts : {"code_info", "password_info"}) {
    if (m.last.count(facts) != 0) {
      texts.push_back({widen(describe(m, m.of(facts))), colour(kDim)});
    }
  }
  tell_last("auth_error", "{message}", colour(kBad) | A_BOLD);
  if (c.ended) {
    texts = {{L"The backend has ended.", A_BOLD}, {L"Enter starts it again, Ctrl-C leaves."}};
  }
  draw_text(texts, box);
}

// --- the raw lines ---

// A line of JSON with its names, strings and other values in colours of their own.
Line coloured(const std::string& raw) {
  const std::wstring text = widen(raw);
  if (raw[0] == '>') return {{text, colour(kGood) | A_BOLD}};
  if (raw[0] == '|') return {{text, colour(kWarn)}};
  Line line;
  for (std::size_t at = 0; at < text.size();) {
    std::size_t end = at + 1;
    attr_t attr = A_NORMAL;
    if (text[at] == L'"') {
      while (end < text.size() && text[end] != L'"') end += text[end] == L'\\' ? 2 : 1;
      end = std::min(end + 1, text.size());
      attr = end < text.size() && text[end] == L':' ? colour(kKeyword) : colour(kWarn);
    } else {
      end = std::min(text.find(L'"', end), text.size());
    }
    line.push_back({text.substr(at, end - at), attr});
    at = end;
  }
  return line;
}

void draw_raw(const Client& c, Screen& s, Box box) {
  s.places.push_back({box, kRaw, 0});
  put_ends(box.top(), {L" Raw lines: > commands, < events, | output", A_BOLD},
           {std::to_wstring(c.open_commands.size()) + L" open commands, event " +
            std::to_wstring(c.last_seq) + L" "},
           colour(kBar));
  int skip = s.raw_back;
  for (auto raw = c.raw.rbegin(); raw != c.raw.rend() && box.h > 0; ++raw) {
    const std::vector<Line> lines = wrap(coloured(*raw), std::max(box.w, 4), 2);
    for (auto line = lines.rbegin(); line != lines.rend() && box.h > 0; ++line) {
      if (skip-- <= 0) put(box.bottom(), *line);
    }
  }
  if (skip > 0) s.raw_back -= skip;
}

// --- bars, and the whole ---

void draw_top(const Client& c, Box box) {
  const Model& m = c.model;
  const Event& connection = m.of("connection_state");
  const std::string left =
      " td_console  " + describe(m, m.of("me")) + (c.quitting && !c.ended ? "  ending…" : "");
  std::string right = in_words(m, connection, "{state:spaced}");
  if (c.losses > 0) right = std::to_string(c.losses) + " losses  " + right;
  if (connection.str("state") == "connecting_to_proxy") right += " (/noproxy?)";
  right += connection.str("state") == "ready" ? " ● " : " ○ ";
  put_ends(box, {widen(left), A_BOLD}, {widen(right), A_BOLD}, colour(kBar));
}

void draw_call(const Client& c, Box box) {
  const Event& call = c.model.of("call_update");
  const std::string& state = call.str("state");
  const bool over = state == "callStateDiscarded" || state == "callStateError";
  const bool asks = state == "callStatePending" && !call.on("outgoing");
  const std::string text = " ☎ " + describe(c.model, call) +
                           (over   ? "  (Esc)"
                            : asks ? "  (F5 takes it, F6 not)"
                                   : "  (F6 ends it)");
  put(box, {{widen(text), over ? A_NORMAL : colour(kGood) | A_BOLD}}, A_REVERSE);
}

void draw_notification(const Client& c, Screen& s, Box box) {
  const auto& all = c.model.notifications;
  const std::string more = all.size() > 1 ? "+" + std::to_string(all.size() - 1) + "  " : "";
  s.places.push_back({box, kNotice, all.back().num("chat_id")});
  put_ends(box, {L" " + widen(describe(c.model, all.back())), A_BOLD}, {widen(more) + L"F3 opens "},
           colour(kWarn) | A_REVERSE);
}

void draw_status(const Client& c, const Screen& s, Box box) {
  if (!c.note.empty()) {
    return put(box, {{L" " + widen(c.note), colour(c.note_is_error ? kBad : kGood)}});
  }
  std::string hint = s.focus == kMessages
                         ? " r answer  e edit  s download  + react  d delete  ? help"
                     : s.focus == kChats ? " Enter opens  m mutes  / searches  ? help"
                                         : " ? help  Tab chats  F2 raw lines";
  if (s.input.substr(0, 1) == L"/") {
    const std::string typed = narrow(s.input);
    const std::string word = typed.substr(1, typed.find(' ') - 1);
    hint.clear();
    for (const List::Row& row : words_help(word)) hint += " " + row.text;
  }
  put(box, {{widen(hint), colour(kDim)}});
}

void draw_input(const Client& c, const Screen& s, Box box) {
  const std::string need = c.model.ready() ? "" : c.model.of("need").str("what");
  const std::wstring prompt = clip(widen(need + "> "), std::max(2, box.w / 2));
  const std::wstring text = is_secret(c) ? std::wstring(s.input.size(), L'*') : s.input;
  const int room = box.w - columns(prompt) - 1;
  std::size_t begin = 0;
  const auto before = [&] { return columns({&text[begin], s.cursor - begin}); };
  while (begin < s.cursor && before() > room) ++begin;
  put(box, {{prompt, colour(kKeyword) | A_BOLD}, {text.substr(begin)}});
  move(box.y, std::min(columns(prompt) + before(), box.w - 1));
  curs_set(s.focus == kInput ? 1 : 0);
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

}  // namespace

void draw(const Client& c, Screen& s) {
  const Model& m = c.model;
  Box box = {0, 0, getmaxy(stdscr), getmaxx(stdscr)};
  const int height = box.h;
  erase();
  s.places.clear();
  if (s.raw && height >= 6) {
    box.h -= height / 3;
    draw_raw(c, s, {box.h, 0, height / 3, box.w});
  }
  const Box input = box.bottom();
  if (height >= 4) draw_status(c, s, box.bottom());
  if (height >= 5) draw_top(c, box.top());
  if (m.of("call_update").says("state")) draw_call(c, box.top());
  if (!m.notifications.empty() && box.h > 2) draw_notification(c, s, box.top());
  const bool narrow_one = box.w < 60;  // there is room for one of the list and the messages
  if (s.focus == kList) {
    draw_list(c, s, box);
  } else if (!m.ready() || c.ended) {
    draw_login(c, box);
  } else if (narrow_one && s.focus == kChats) {
    draw_chats(c, s, box);
  } else {
    if (!narrow_one) {
      const int width = std::clamp(box.w / 3, 24, 40);
      draw_chats(c, s, {box.y, 0, box.h, width});
      box.x = width;
      box.w -= width;
    }
    if (m.open_chat != 0) {
      draw_messages(c, s, box);
    } else {
      draw_text({{L"Tab, Up and Down, Enter open a chat; ? shows all keys.", colour(kDim)}}, box);
    }
  }
  draw_input(c, s, input);
  refresh();
}

int run_screen(Client& c) {
  Screen s;
  start_curses();
  std::int64_t drawn = 0;
  while (!s.done) {
    // During a flood thirty pictures a second are enough.
    if (c.changed && now_ms() - drawn >= 33) {
      draw(c, s);
      drawn = now_ms();
      c.changed = false;
    }
    const std::size_t notifications = c.model.notifications.size();
    follow(c, STDIN_FILENO, c.changed ? 33 : 1000);
    if (read_keys(c, s)) c.changed = true;
    if (c.model.list.is_new) {
      s.focus = kList;
      s.row = 0;
      c.model.list.is_new = false;
    }
    if (c.model.notifications.size() > notifications) beep();
    if (c.ended && c.quitting) s.done = true;
  }
  endwin();
  if (!c.note.empty()) std::fprintf(stderr, "td_console: %s\n", c.note.c_str());
  return c.backend.status;
}
