#include "console/screen.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>

#include "console/text.h"

namespace {

// --- the list of chats, and lists to choose from ---

std::string chat_line(const Model& m, std::int64_t id, int width) {
  const Event& chat = m.chat(id);
  const bool online = Model::find(m.users, other_side(m, id)).str("status_type") == "online";
  const bool loud = chat.says("unread_count") && !chat.on("muted");
  const std::string title = (id == m.open_chat ? "▌" : " ") + chat_title(m, id);
  const std::string state = in_words(m, chat,
                                     "{pinned?▴}{muted? ⊘}{unread_mention_count? @}"
                                     "{marked_as_unread? •}{unread_count? {unread_count}}");
  return ends((online ? kGood + "●" + kPlain : " ") + ((loud ? kBold : "") + title),
              (loud ? kBold + kWarn : kDim) + state, width);
}

// What was written last, is being written, or is written there at the moment.
std::string below_chat(const Model& m, std::int64_t id) {
  const Event& chat = m.chat(id);
  if (m.actions.count(id) != 0) return kGood + "  " + presence(m, id);
  if (chat.says("draft")) return in_words(m, chat, kBad + "  Draft: {draft}");
  return in_words(m, chat, kDim + "  {last_outgoing?You: }{last_text}");
}

void draw_chats(const Client& c, Screen& s, Box box) {
  mvvline(box.y, box.x + --box.w, ACS_VLINE | COLOR_PAIR(kDim[0]), box.h);
  std::vector<View::Row> rows;
  for (const std::int64_t id : chat_order(c.model)) {
    rows.push_back({id, chat_line(c.model, id, box.w)});
    if (box.h >= 16) rows.push_back({id, below_chat(c.model, id)});
  }
  if (rows.empty()) rows.push_back({0, kDim + " No chats yet"});
  draw_view(s.chats, box, std::move(rows), false, s.focus == Focus::kChats);
}

void draw_list(const Client& c, Screen& s, Box box) {
  const List& list = c.model.list;
  const std::string count = std::to_string(list.rows.size()) + (list.command != 0 ? "…" : "");
  put(box.top(), ends(" " + list.title + ": " + count, "Enter, Esc ", box.w), bar(kTopBar));
  std::vector<View::Row> rows;
  for (const List::Row& row : list.rows) {
    std::string text = " " + row.text;
    if (!row.meaning.empty()) {
      text.resize(std::max<std::size_t>(text.size() + 1, 34), ' ');
      text = kKeyword + text + kPlain + row.meaning;
    }
    rows.push_back({static_cast<std::int64_t>(rows.size()) + 1, text});
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

void draw_text(const std::vector<std::string>& paragraphs, Box box) {
  const int above = (box.h - 2 * static_cast<int>(paragraphs.size())) / 3;
  for (int i = 0; i < above; ++i) box.top();
  const bool spacious = box.h > 10;
  for (const std::string& paragraph : paragraphs) {
    if (paragraph.empty()) continue;
    for (const std::string& line : wrap(paragraph, std::max(box.w - 4, 1))) {
      put(box.top(), "  " + line);
    }
    if (spacious) box.top();
  }
}

void draw_login(const Client& c, const Box& box) {
  const Model& m = c.model;
  if (c.ended) {
    return draw_text({kBold + "The backend has ended.", "Enter starts it again, Ctrl-C leaves."},
                     box);
  }
  std::string wanted = in_words(m, m.of("auth_state"), "{state:spaced}");
  for (const Need& need : kNeeds) {
    if (need.what == m.of("need").str("what")) wanted = need.text;
  }
  std::vector<std::string> texts = {kBold + "td_console", wanted};
  for (const char* told : {"qr_link", "code_info", "password_info"}) {
    texts.push_back(describe(m, m.of(told)));
  }
  if (m.last.count("auth_error") != 0) texts.push_back(kBad + describe(m, m.of("auth_error")));
  draw_text(texts, box);
}

// --- the raw lines ---

// A line of JSON with its names, strings and other values in colours of their own.
std::string coloured(const std::string& text) {
  if (text[0] == '>') return kBold + kGood + text;
  if (text[0] == '|') return kWarn + text;
  std::string out;
  for (std::size_t at = 0; at < text.size();) {
    std::size_t end = std::min(text.find('"', at), text.size());
    out += kPlain + text.substr(at, end - at);
    at = end++;
    while (end < text.size() && text[end] != '"') end += text[end] == '\\' ? 2 : 1;
    end = std::min(end + 1, text.size());
    if (at < end) out += (text[end] == ':' ? kKeyword : kWarn) + text.substr(at, end - at);
    at = end;
  }
  return out;
}

void draw_raw(const Client& c, Screen& s, Box box) {
  s.raw_box = box;
  const std::string right = std::to_string(c.open_commands.size()) + " open commands, event " +
                            std::to_string(c.last_seq) + " ";
  put(box.top(), ends(" Raw lines: > commands, < events, | output", right, box.w), bar(kTopBar));
  int skip = s.raw_back;
  for (auto raw = c.raw.rbegin(); raw != c.raw.rend() && box.h > 0; ++raw) {
    const std::vector<std::string> lines = wrap(coloured(*raw), std::max(box.w, 4), 2);
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
  const std::string left = " td_console  " + in_words(m, m.of("me"), "{first_name} {last_name}") +
                           (c.quitting && !c.ended ? "  ending…" : "");
  std::string right = in_words(m, connection, "{state:spaced}");
  if (c.losses > 0) right = std::to_string(c.losses) + " losses  " + right;
  if (connection.str("state") == "connecting_to_proxy") right += " (/noproxy?)";
  right += connection.str("state") == "ready" ? " ● " : " ○ ";
  put(box, ends(left, right, box.w), bar(kTopBar));
}

void draw_call(const Client& c, Box box) {
  const Event& call = c.model.of("call_update");
  const std::string& state = call.str("state");
  const bool over = state == "callStateDiscarded" || state == "callStateError";
  const bool asks = state == "callStatePending" && !call.on("outgoing");
  const char* hint = over ? "  (Esc)" : asks ? "  (F5 takes it, F6 not)" : "  (F6 ends it)";
  put(box, " ☎ " + describe(c.model, call) + hint, over ? A_REVERSE : bar(kCallBar));
}

void draw_notification(const Client& c, Screen& s, Box box) {
  const auto& all = c.model.notifications;
  const std::string more = all.size() > 1 ? "+" + std::to_string(all.size() - 1) + "  " : "";
  s.notice_box = box;
  put(box, ends(" " + describe(c.model, all.back()), more + "F3 opens ", box.w), bar(kNoticeBar));
}

void draw_status(const Client& c, const Screen& s, Box box) {
  if (!c.note.empty()) return put(box, (c.note_is_error ? kBad : kGood) + " " + c.note);
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
  put(box, kDim + hint);
}

void draw_input(const Client& c, const Screen& s, Box box) {
  const std::string need = c.model.ready() ? "" : c.model.of("need").str("what");
  const std::wstring prompt = clip(widen(need + "> "), std::max(2, box.w / 2));
  const std::wstring text = is_secret(c) ? std::wstring(s.input.size(), L'*') : s.input;
  const int room = box.w - columns(prompt) - 1;
  std::size_t begin = 0;
  const auto before = [&] { return columns({&text[begin], s.cursor - begin}); };
  while (begin < s.cursor && before() > room) ++begin;
  put(box, kBold + kKeyword + narrow(prompt) + kPlain + narrow(text.substr(begin)));
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
    draw_text({kDim + "Tab, Up and Down, Enter open a chat; ? shows all keys."}, rest);
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
