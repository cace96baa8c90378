#include "state/live_chats.h"

#include <utility>

#include "frame/channels.h"
#include "json/scan.h"
#include "state/chat_requests.h"
#include "state/chat_rows.h"

void ensure_chat_known(ChatTable& table, const TdClient& td, std::int64_t chat_id) {
  if (chat_id == 0) return;
  Chat& chat = chat_record(table, chat_id);
  if (chat.row_written || chat.fetch_pending || chat.is_member == false) return;
  if (!table.loads.empty()) {
    if (!chat.fetch_missed) table.missed.push_back(chat_id);
    chat.fetch_missed = true;
    return;
  }
  chat.fetch_pending = true;
  td_request(td, make_get_chat(chat_id), make_tag("liveGetChat", chat_id));
}

void drop_live_chat(ChatTable& table, std::int64_t chat_id) {
  const auto found = table.chats.find(chat_id);
  if (found != table.chats.end()) found->second.fetch_pending = false;
}

static void finish_live_chat(ChatTable& table, const ChatDescription& chat) {
  drop_live_chat(table, chat.id);
  show_chat(table, chat);
}

void take_live_chat(ChatTable& table, const TdClient& td, const Answer& answer) {
  std::string_view fields = answer.fields;
  const std::int64_t chat_id = next_field_i64(fields);
  ChatDescription row;
  if (!take_chat_object(table, answer.text, chat_id, row)) return drop_live_chat(table, chat_id);
  if (chat_filtered(table, chat_id)) {
    drop_live_chat(table, chat_id);
    return hide_chat(table, row, "not_member_live_cached");
  }
  if (row.group_id == 0) return finish_live_chat(table, row);
  PendingLiveMemberCheck& check = table.live_member_checks[chat_id];
  const bool asked = check.chat.group_id == row.group_id;
  check.chat = std::move(row);
  if (!asked) send_member_check(td, MemberFlow::kLive, check.chat);
}

// Takes the check that the tag names out of the table; false when none is pending.
static bool end_live_check(ChatTable& table, const MemberTag& tag, ChatDescription& chat) {
  const auto found = table.live_member_checks.find(tag.chat_id);
  if (found == table.live_member_checks.end() || !is_check_of(tag, found->second.chat)) {
    return false;
  }
  chat = std::move(found->second.chat);
  table.live_member_checks.erase(found);
  return true;
}

static void log_live_status(std::int64_t chat_id, const std::string& kind, bool is_member) {
  dbg("LIVE_MEMBER_STATUS chat_id=" + std::to_string(chat_id) + " status=" + kind +
      " member=" + (is_member ? "1" : "0"));
}

void take_live_member(ChatTable& table, const Answer& answer) {
  ChatDescription chat;
  if (!end_live_check(table, read_member_tag(answer.fields), chat)) return;
  const std::string_view status = group_status(answer.text);
  const bool is_member = chat_member_status_is_member(status);
  log_live_status(chat.id, chat_member_status_kind(status), is_member);
  if (is_member) return finish_live_chat(table, chat);
  drop_live_chat(table, chat.id);
  hide_chat(table, chat, "not_member_live");
}

void take_live_member_error(ChatTable& table, const TdError& error) {
  ChatDescription chat;
  if (!end_live_check(table, read_member_tag(error.fields), chat)) return;
  log_member_error(MemberFlow::kLive, chat.id, error);
  finish_live_chat(table, chat);
}
