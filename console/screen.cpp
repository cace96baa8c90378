#include "console/screen.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace {

void put_bar(const Box& box, const std::string& colour, const std::string& left,
             const std::string& right) {
  put(box, kBold + colour + ends(" " + left, right + " ", box.w), A_REVERSE);
}

// --- the chats, the messages, and lists to choose from ---

std::string chat_line(const Client& c, std::int64_t id, int width) {
  const Event& chat = c.chat(id);
  const bool online = Client::find(c.users, other_side(c, id)).str("status_type") == "online";
  const bool loud = chat.says("unread_count") && !chat.on("muted");
  const std::string title = (id == c.open_chat ? "▌" : " ") + chat_title(c, id);
  const std::string state = in_words(c, chat,
                                     "{pinned?▴}{muted? ⊘}{unread_mention_count? @}"
                                     "{marked_as_unread? •}{unread_count? {unread_count}}");
  return ends((online ? kGood + "●" + kPlain : " ") + ((loud ? kBold : "") + title),
              (loud ? kBold + kWarn : kDim) + state, width);
}

void draw_chats(const Client& c, Screen& s, Box box) {
  mvvline(box.y, box.x + --box.w, ACS_VLINE | COLOR_PAIR(kDim[0]), box.h);
  std::vector<View::Row> rows;
  for (const std::int64_t id : chat_order(c)) {
    // What was written last, is being written, or is done there at the moment.
    const Event& chat = c.chat(id);
    const std::string below = chat.says("doing")   ? kGood + "  {doing}"
                              : chat.says("draft") ? kBad + "  Draft: {draft}"
                                                   : kDim + "  {last_outgoing?You: }{last_text}";
    rows.push_back({id, chat_line(c, id, box.w)});
    if (box.h >= 16) rows.push_back({id, in_words(c, chat, below)});
  }
  if (rows.empty()) rows.push_back({0, kDim + " No chats yet"});
  draw_view(s.chats, box, std::move(rows), false, s.on(s.chats));
}

void draw_messages(const Client& c, Screen& s, Box box) {
  put_bar(box.top(), kKeyword, chat_title(c, c.open_chat), presence(c, c.open_chat));
  ++box.x;
  --box.w;
  std::vector<View::Row> rows = lay_out_messages(c, box.w);
  if (rows.empty()) rows.push_back({0, kDim + (c.loading == 0 ? "No messages" : "Loading…")});
  for (int gap = box.h - static_cast<int>(rows.size()); gap > 0; --gap) box.top();
  draw_view(s.messages, box, std::move(rows), true, true);
}

void draw_list(const Client& c, Screen& s, Box box) {
  const List& list = c.list;
  const std::string count = std::to_string(list.rows.size()) + (list.command != 0 ? "…" : "");
  put_bar(box.top(), kKeyword, list.title + ": " + count, "Enter, Esc");
  std::vector<View::Row> rows;
  for (const List::Row& row : list.rows) {
    rows.push_back({static_cast<std::int64_t>(rows.size()) + 1, " " + row.text});
  }
  if (s.list.marked == 0) s.list.marked = 1;
  draw_view(s.list, box, std::move(rows), false, true);
}

// --- what is said in place of messages ---

void draw_texts(const std::vector<std::string>& texts, Box box) {
  const bool spacious = box.h > 10;
  if (spacious) box.top();
  for (const std::string& text : texts) {
    if (text.empty()) continue;
    for (const std::string& line : wrap(text, std::max(box.w - 4, 1))) put(box.top(), "  " + line);
    if (spacious) box.top();
  }
}

void draw_login(const Client& c, const Box& box) {
  const char* asked = c.of("need").members.empty() ? "auth_state" : "need";
  std::vector<std::string> texts = {kBold + describe(c, c.of(asked)) + kPlain};
  for (const char* told : {"qr_link", "code_info", "password_info", "auth_error"}) {
    texts.push_back(describe(c, c.of(told)));
  }
  if (c.ended) texts = {kBold + "The backend has ended.", "Enter starts it again, Ctrl-C leaves."};
  draw_texts(texts, box);
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
  put_bar(box.top(), kKeyword, "Raw lines: > commands, < events, | output",
          "event " + std::to_string(c.last_seq));
  std::vector<View::Row> rows;
  std::int64_t id = c.raw_before;
  for (const std::string& line : c.raw) {
    ++id;
    for (std::string& part : wrap(coloured(line), std::max(box.w, 4), 2)) {
      rows.push_back({id, std::move(part)});
    }
  }
  draw_view(s.raw, box, std::move(rows), true, false);
}

// --- bars, and the whole ---

void draw_top(const Client& c, Box box) {
  const Event& connection = c.of("connection_state");
  const std::string left = "td_console  " + in_words(c, c.of("me"), "{first_name} {last_name}") +
                           (c.quitting && !c.ended ? "  ending…" : "");
  std::string right = in_words(c, connection, "{state:spaced}");
  if (connection.str("state") == "connecting_to_proxy") right += " (/noproxy?)";
  right += connection.str("state") == "ready" ? " ●" : " ○";
  put_bar(box, kKeyword, left, right);
}

void draw_call(const Client& c, Box box) {
  const std::string& state = c.of("call_update").str("state");
  const bool over = state == "callStateDiscarded" || state == "callStateError";
  put_bar(box, kGood, "☎ " + describe(c, c.of("call_update")),
          over ? "Esc" : "F5 takes it, F6 ends it");
}

void draw_notification(const Client& c, Screen& s, Box box) {
  const auto& all = c.notifications;
  const std::string more = all.size() > 1 ? "+" + std::to_string(all.size() - 1) + "  " : "";
  s.notice_box = box;
  put_bar(box, kWarn, describe(c, all.back()), more + "F3 opens");
}

void draw_status(const Client& c, const Screen& s, Box box) {
  if (!c.note.empty()) return put(box, (c.note_is_error ? kBad : kGood) + " " + c.note);
  std::string hint = s.on(s.messages) ? " r answer  e edit  s download  + react  d delete  ? help"
                     : s.on(s.chats)  ? " Enter opens  m mutes  / searches  ? help"
                                      : " ? help  Tab chats  F2 raw lines";
  if (s.input.substr(0, 1) == "/") {
    hint.clear();
    for (const List::Row& row : words_help(s.input.substr(1, s.input.find(' ') - 1))) {
      hint += " " + row.text;
    }
  }
  put(box, kDim + hint);
}

void draw_input(const Client& c, const Screen& s, Box box) {
  const std::string need = c.ready() ? "" : c.of("need").str("what");
  const std::string prompt = clip(need + "> ", std::max(2, box.w / 2));
  std::string_view before = std::string_view(s.input).substr(0, s.cursor);
  const std::string_view behind = std::string_view(s.input).substr(s.cursor);
  const int room = box.w - columns(prompt) - 1;
  while (!before.empty() && columns(before) > room) take_char(before);
  std::string shown = std::string(before) + std::string(behind);
  if (is_secret(c)) shown.assign(static_cast<std::size_t>(columns(shown)), '*');
  put(box, kBold + kKeyword + prompt + kPlain + shown);
  move(box.y, std::min(columns(prompt) + columns(before), box.w - 1));
  curs_set(s.focus ? 0 : 1);
}

}  // namespace

void draw(const Client& c, Screen& s) {
  Box box = {0, 0, getmaxy(stdscr), getmaxx(stdscr)};
  const int height = box.h;
  erase();
  s.chats.box = s.messages.box = s.list.box = s.raw.box = s.notice_box = {};
  if (s.show_raw && height >= 6) {
    box.h -= height / 3;
    draw_raw(c, s, {box.h, 0, height / 3, box.w});
  }
  const Box input = box.bottom();
  if (height >= 4) draw_status(c, s, box.bottom());
  if (height >= 5) draw_top(c, box.top());
  if (c.of("call_update").says("state")) draw_call(c, box.top());
  if (!c.notifications.empty() && box.h > 2) draw_notification(c, s, box.top());
  const bool covered = s.on(s.list) || !c.ready() || c.ended;
  const bool one = box.w < 60;  // there is room for one of the chats and the messages
  const int width = one ? box.w : std::clamp(box.w / 3, 24, 40);
  // The chats are laid out for the keys that go from one to the next even where they are not seen.
  const bool shown = !covered && (!one || s.on(s.chats));
  draw_chats(c, s, {box.y, 0, shown ? box.h : 0, width});
  const Box rest = {box.y, shown ? width : 0, box.h, shown ? box.w - width : box.w};
  if (s.on(s.list)) {
    draw_list(c, s, rest);
  } else if (covered) {
    draw_login(c, rest);
  } else if (c.open_chat != 0) {
    draw_messages(c, s, rest);
  } else {
    draw_texts({kDim + "Tab, Up and Down, Enter open a chat; ? shows all keys."}, rest);
  }
  draw_input(c, s, input);
  refresh();
}

int run_screen(Client& c) {
  Screen s;
  start_curses();
  while (!c.ended || !c.quitting) {
    if (c.list.is_new) {
      s.focus = &s.list;
      s.list = {};
      c.list.is_new = false;
    }
    if (c.changed) draw(c, s);
    c.changed = false;
    const std::size_t notifications = c.notifications.size();
    follow(c, STDIN_FILENO);
    wint_t key = 0;
    for (int got; (got = get_wch(&key)) != ERR; c.changed = true) {
      handle_key(c, s, key, got == KEY_CODE_YES);
    }
    if (c.notifications.size() > notifications) beep();
  }
  endwin();
  if (!c.note.empty()) std::fprintf(stderr, "td_console: %s\n", c.note.c_str());
  return c.backend.status;
}
