#include "console/screen.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>

#include "console/text.h"

namespace {

// --- the list of chats, and lists to choose from ---

void add_chat(std::vector<View::Row>& rows, const Client& c, std::int64_t id, int width) {
  const Model& m = c.model;
  const Event& chat = m.chat(id);
  const bool online = Model::find(m.users, other_side(m, id)).str("status_type") == "online";
  const bool loud = chat.says("unread_count") && !chat.on("muted");
  const std::wstring title = (id == m.open_chat ? L"▌" : L" ") + widen(chat_title(m, id));
  const std::string state = in_words(m, chat,
                                     "{pinned?▴}{muted? ⊘}{unread_mention_count? @}"
                                     "{marked_as_unread? •}{unread_count? {unread_count}}");
  Line line = ends({title, loud ? A_BOLD : A_NORMAL},
                   {widen(state), loud ? colour(kWarn) | A_BOLD : colour(kDim)}, width - 1);
  line.insert(line.begin(), {online ? L"●" : L" ", colour(kGood)});
  rows.push_back({id, std::move(line)});
}

// What was written last, is being written, or is written there at the moment.
Line below_chat(const Model& m, std::int64_t id) {
  const Event& chat = m.chat(id);
  if (m.actions.count(id) != 0) return {{L"  " + widen(presence(m, id)), colour(kGood)}};
  if (chat.says("draft")) return {{widen(in_words(m, chat, "  Draft: {draft}")), colour(kBad)}};
  return {{widen(in_words(m, chat, "  {last_outgoing?You: }{last_text}")), colour(kDim)}};
}

void draw_chats(const Client& c, Screen& s, Box box) {
  attrset(colour(kDim));
  mvvline(box.y, box.x + --box.w, ACS_VLINE, box.h);
  std::vector<View::Row> rows;
  for (const std::int64_t id : chat_order(c.model)) {
    add_chat(rows, c, id, box.w);
    if (box.h >= 16) rows.push_back({id, below_chat(c.model, id)});
  }
  if (rows.empty()) rows.push_back({0, {{L" No chats yet", colour(kDim)}}});
  draw_view(s.chats, box, std::move(rows), false, s.focus == Focus::kChats);
}

void draw_list(const Client& c, Screen& s, Box box) {
  const List& list = c.model.list;
  const std::wstring count = L": " + std::to_wstring(list.rows.size());
  const std::wstring title = L" " + widen(list.title) + count + (list.command ? L"…" : L" found");
  put(box.top(), ends({title, A_BOLD}, {L"Enter, Esc "}, box.w), colour(kBar));
  std::vector<View::Row> rows;
  for (const List::Row& row : list.rows) {
    std::wstring text = L" " + widen(row.text);
    if (!row.meaning.empty()) text.resize(std::max<std::size_t>(text.size() + 1, 34), L' ');
    const attr_t attr = row.meaning.empty() ? A_NORMAL : colour(kKeyword);
    rows.push_back(
        {static_cast<std::int64_t>(rows.size()) + 1, {{text, attr}, {widen(row.meaning)}}});
  }
  if (s.list.marked == 0) s.list.marked = 1;
  draw_view(s.list, box, std::move(rows), false, true);
}

// --- the login ---

struct Need {
  std::string_view what, text;
};
constexpr Need kNeeds[] = {
    {"phone", "Enter your telephone number, or /qr to use another device."},
    {"code", "Enter the code that was sent to you."},
    {"password", "Enter the password of the account."},
    {"email", "Enter your e-mail address."},
    {"email_code", "Enter the code from the e-mail."},
    {"name", "This number is new here: enter your first and last name."},
    {"purchase", "The service wants a payment that cannot be made here."},
};

void draw_text(const Line& paragraphs, Box box) {
  for (int skip = (box.h - 2 * static_cast<int>(paragraphs.size())) / 3; skip > 0; --skip)
    box.top();
  const bool spacious = box.h > 10;
  for (const Span& paragraph : paragraphs) {
    if (paragraph.text.empty()) continue;
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
  if (c.ended) {
    texts.push_back({L"The backend has ended."});
    texts.push_back({L"Enter starts it again, Ctrl-C leaves."});
    return draw_text(texts, box);
  }
  std::string wanted = in_words(m, m.of("auth_state"), "{state:spaced}");
  for (const Need& need : kNeeds) {
    if (need.what == m.of("need").str("what")) wanted = need.text;
  }
  texts.push_back({widen(wanted)});
  for (const char* told : {"qr_link", "code_info", "password_info", "auth_error"}) {
    const attr_t attr =
        told == std::string_view("auth_error") ? colour(kBad) | A_BOLD : colour(kDim);
    texts.push_back({widen(describe(m, m.of(told))), attr});
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
  s.raw_box = box;
  const std::wstring right = std::to_wstring(c.open_commands.size()) + L" open commands, event " +
                             std::to_wstring(c.last_seq) + L" ";
  put(box.top(), ends({L" Raw lines: > commands, < events, | output", A_BOLD}, {right}, box.w),
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
  put(box, ends({widen(left), A_BOLD}, {widen(right), A_BOLD}, box.w), colour(kBar));
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
  s.notice_box = box;
  put(box,
      ends({L" " + widen(describe(c.model, all.back())), A_BOLD}, {widen(more) + L"F3 opens "},
           box.w),
      colour(kWarn) | A_REVERSE);
}

void draw_status(const Client& c, const Screen& s, Box box) {
  if (!c.note.empty()) {
    return put(box, {{L" " + widen(c.note), colour(c.note_is_error ? kBad : kGood)}});
  }
  std::string hint = s.focus == Focus::kMessages
                         ? " r answer  e edit  s download  + react  d delete  ? help"
                     : s.focus == Focus::kChats ? " Enter opens  m mutes  / searches  ? help"
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
  curs_set(s.focus == Focus::kInput ? 1 : 0);
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
  s.chats.box = s.messages.box = s.list.box = s.raw_box = s.notice_box = {};
  if (s.raw && height >= 6) {
    box.h -= height / 3;
    draw_raw(c, s, {box.h, 0, height / 3, box.w});
  }
  const Box input = box.bottom();
  if (height >= 4) draw_status(c, s, box.bottom());
  if (height >= 5) draw_top(c, box.top());
  if (m.of("call_update").says("state")) draw_call(c, box.top());
  if (!m.notifications.empty() && box.h > 2) draw_notification(c, s, box.top());
  const bool covered = s.focus == Focus::kList || !m.ready() || c.ended;
  const bool one = box.w < 60;  // there is room for one of the chats and the messages
  const int width = one ? box.w : std::clamp(box.w / 3, 24, 40);
  // The chats are laid out for the keys that go from one to the next even where they are not seen.
  const bool shown = !covered && (!one || s.focus == Focus::kChats);
  draw_chats(c, s, {box.y, 0, shown ? box.h : 0, width});
  const Box rest = {box.y, shown ? width : 0, box.h, shown ? box.w - width : box.w};
  if (s.focus == Focus::kList) {
    draw_list(c, s, rest);
  } else if (covered) {
    draw_login(c, rest);
  } else if (m.open_chat != 0) {
    draw_messages(c, s, rest);
  } else {
    draw_text({{L"Tab, Up and Down, Enter open a chat; ? shows all keys.", colour(kDim)}}, rest);
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
      s.focus = Focus::kList;
      s.list = {};
      c.model.list.is_new = false;
    }
    if (c.model.notifications.size() > notifications) beep();
    if (c.ended && c.quitting) s.done = true;
  }
  endwin();
  if (!c.note.empty()) std::fprintf(stderr, "td_console: %s\n", c.note.c_str());
  return c.backend.status;
}
