#include "state/chat_rows.h"

#include <utility>

#include "frame/protocol.h"
#include "json/walk.h"
#include "state/chat_events.h"
#include "state/chat_level2.h"
#include "state/chat_loads.h"
#include "state/notifications.h"

bool take_chat_object(ChatTable& table, std::string_view text, std::int64_t chat_id,
                      ChatDescription& row) {
  const ChatObject object = read_chat_object(find_chat_object(text));
  (void)fill_chat_record(table, object);
  if (chat_id == 0 || object.id != chat_id) return false;
  row = describe_chat(chat_id, object);
  return true;
}

void show_chat(ChatTable& table, const ChatDescription& chat) {
  set_chat_member(table, chat.id, true);
  MuteState mute;
  mute.known = chat_muted(table, chat.id, mute.muted);
  chat_record(table, chat.id).row_written = true;
  if (at_level2()) note_chat_place(table, chat.id, chat.order);
  emit_chat_event(chat, mute);
  settle_hub_notification(table, chat.id);
}

// The chat stays hidden, and a notification that waited for it is dropped.
static void hide_chat(ChatTable& table, std::int64_t chat_id) {
  set_chat_member(table, chat_id, false);
  settle_hub_notification(table, chat_id);
}

static void end_live_fetch(ChatTable& table, std::int64_t chat_id) {
  const auto found = table.chats.find(chat_id);
  if (found != table.chats.end()) found->second.fetch_pending = false;
}

// The row waits for the verdict; who waits for the same chat shares one question.
static void check_member(ChatTable& table, const TdClient& td, MemberFlow flow, ChatDescription row,
                         std::int64_t gen) {
  PendingMemberCheck& check = table.member_checks[static_cast<std::size_t>(flow)][row.id];
  const bool asked = check.chat.group_id == row.group_id;
  check.chat = std::move(row);
  if (gen != 0) check.gens.insert(gen);
  if (!asked) send_member_check(td, flow, check.chat);
}

// Takes the check that the tag names out of the table; false when none is pending.
static bool end_check(ChatTable& table, const MemberTag& tag, PendingMemberCheck& check) {
  auto& checks = table.member_checks[static_cast<std::size_t>(tag.flow)];
  const auto found = checks.find(tag.chat_id);
  if (found == checks.end() || !is_check_of(tag, found->second.chat)) return false;
  check = std::move(found->second);
  checks.erase(found);
  return true;
}

static void settle_check(ChatTable& table, const TdClient& td, MemberFlow flow,
                         const PendingMemberCheck& check, bool is_member) {
  const std::int64_t chat_id = check.chat.id;
  if (!is_member) {
    log_chat_filtered(flow, check.chat);
    hide_chat(table, chat_id);
  }
  if (flow == MemberFlow::kLive) {
    end_live_fetch(table, chat_id);
    if (is_member) show_chat(table, check.chat);
  }
  for (const std::int64_t gen : check.gens) {
    // Each load gets its row in its own command's name, whichever of them asked.
    as_command(command_of_load(table, gen), [&] {
      if (is_member) show_chat(table, check.chat);
    });
    settle_row(table, td, gen, chat_id);
  }
}

std::int64_t record_chat(ChatTable& table, std::string_view chat_json) {
  const ChatObject object = read_chat_object(find_chat_object(chat_json));
  const std::int64_t chat_id = fill_chat_record(table, object);
  if (chat_id == 0) return 0;
  // For a group the membership verdict comes first; the fetch that brings it settles then.
  const Chat& chat = chat_record(table, chat_id);
  const bool is_group = chat.scope == NotifyScope::kGroup || chat.scope == NotifyScope::kChannel;
  if (!is_group || chat.is_member.has_value()) settle_hub_notification(table, chat_id);
  return chat_id;
}

void take_list_chat(Answer& answer, ChatTable& table, const TdClient& td) {
  const std::int64_t chat_id = next_field_i64(answer.fields);
  const std::int64_t gen = next_field_i64(answer.fields);
  ChatDescription row;
  const bool described = take_chat_object(table, answer.text, chat_id, row);
  if (!owes_row(table, gen, chat_id)) return;
  if (described && row.group_id != 0) {
    return check_member(table, td, MemberFlow::kPaging, std::move(row), gen);
  }
  if (described) show_chat(table, row);
  settle_row(table, td, gen, chat_id);
}

void drop_list_chat(TdError& error, ChatTable& table, const TdClient& td) {
  const std::int64_t chat_id = next_field_i64(error.fields);
  settle_row(table, td, next_field_i64(error.fields), chat_id);
}

void take_live_chat(Answer& answer, ChatTable& table, const TdClient& td) {
  const std::int64_t chat_id = next_field_i64(answer.fields);
  ChatDescription row;
  const bool described = take_chat_object(table, answer.text, chat_id, row);
  if (described && row.group_id != 0 && !chat_filtered(table, chat_id)) {
    return check_member(table, td, MemberFlow::kLive, std::move(row), 0);
  }
  end_live_fetch(table, chat_id);
  if (!described) return;
  if (!chat_filtered(table, chat_id)) return show_chat(table, row);
  log_chat_filtered_before(row);
  hide_chat(table, chat_id);
}

void drop_live_chat(TdError& error, ChatTable& table) {
  const std::int64_t chat_id = next_field_i64(error.fields);
  end_live_fetch(table, chat_id);
  settle_hub_notification(table, chat_id);  // no verdict will come for it
}

static void on_group_status(ChatTable& table, const TdClient& td, std::int64_t chat_id,
                            std::string_view status) {
  const Chat* chat = find_chat(table, chat_id);
  if (chat == nullptr || status.empty()) return;
  const bool is_member = chat_member_status_is_member(status);
  if (!is_member && chat->is_member != false) {
    const bool shown = chat->row_written;
    hide_chat(table, chat_id);
    if (shown) emit_chat_position_event(chat_id, 0, false, false);
  } else if (is_member && chat->is_member == false) {
    set_chat_member(table, chat_id, true);
    ensure_chat_known(table, td, chat_id);
  }
}

void on_basic_group(ChatTable& table, const TdClient& td, std::string_view text) {
  const std::string_view group = member_object(text, "basic_group");
  const std::int64_t chat_id = basic_group_chat(table, member_int(group, "id", 0));
  on_group_status(table, td, chat_id, group_status(group));
}

void on_supergroup(ChatTable& table, const TdClient& td, std::string_view text) {
  const std::string_view group = member_object(text, "supergroup");
  const std::int64_t chat_id = supergroup_chat(table, member_int(group, "id", 0));
  on_group_status(table, td, chat_id, group_status(group));
}

void take_member(Answer& answer, ChatTable& table, const TdClient& td) {
  const MemberTag tag = read_member_tag(answer.tag);
  PendingMemberCheck check;
  if (!end_check(table, tag, check)) return;
  const std::string_view status = group_status(answer.text);
  log_member_status(tag.flow, tag.chat_id, status);
  settle_check(table, td, tag.flow, check, chat_member_status_is_member(status));
}

void take_member_error(TdError& error, ChatTable& table, const TdClient& td) {
  const MemberTag tag = read_member_tag(error.tag);
  PendingMemberCheck check;
  if (!end_check(table, tag, check)) return;
  log_member_error(tag.flow, tag.chat_id, error);
  settle_check(table, td, tag.flow, check, true);
}
