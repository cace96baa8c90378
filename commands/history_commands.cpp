#include "commands/history_commands.h"

#include "frame/channels.h"
#include "json/text.h"

namespace {

constexpr std::int64_t kMaxLimit = 100;  // of one load
constexpr std::int64_t kOpenLimit = 30;
constexpr std::int64_t kAroundLimit = 81;  // a message with 40 on each side
constexpr std::int64_t kAroundSide = 40;

std::string make_close_chat(std::int64_t chat_id) {
  return make_id_request("closeChat", "chat_id", chat_id);
}

std::string make_view_message(std::int64_t chat_id, std::int64_t message_id) {
  std::string json = "{\"@type\":\"viewMessages\"";
  append_int_member(json, "chat_id", chat_id);
  json += ",\"message_ids\":[";
  append_i64(json, message_id);
  json += "],\"source\":{\"@type\":\"messageSourceChatHistory\"},\"force_read\":true}";
  return json;
}

}  // namespace

std::string make_get_chat_history(std::int64_t chat_id, std::int64_t from_message_id,
                                  std::int64_t limit) {
  return make_get_chat_history_with_offset(chat_id, from_message_id, 0, limit);
}

std::string make_get_chat_history_with_offset(std::int64_t chat_id, std::int64_t from_message_id,
                                              std::int64_t offset, std::int64_t limit) {
  std::string json = "{\"@type\":\"getChatHistory\"";
  append_int_member(json, "chat_id", chat_id);
  append_int_member(json, "from_message_id", from_message_id);
  append_int_member(json, "offset", offset);
  append_int_member(json, "limit", limit);
  json += ",\"only_local\":false}";
  return json;
}

std::string make_open_chat(std::int64_t chat_id) {
  return make_id_request("openChat", "chat_id", chat_id);
}

void run_open(CommandCall& call, HistoryLoads& loads, PinnedLoads& pinned, OpenChat& open_chat,
              const TdClient& td) {
  std::int64_t chat_id = 0;
  if (!arg_id(call, chat_id)) return reply_usage(call);
  std::int64_t anchor = 0;
  const std::string_view piece = next_arg(call);
  if (!piece.empty() && (!parse_i64(piece, anchor) || anchor < 1)) return reply_usage(call);
  if (!gate_open(call)) return;
  open_chat.chat_id = chat_id;
  const HistoryLoad load{chat_id, ++loads.gen, true, anchor,
                         anchor == 0 ? kOpenLimit : kAroundLimit};
  emit_history_begin_event(load);
  td_request(td, make_open_chat(chat_id), make_tag("open", chat_id));
  send_history_request(load,
                       make_get_chat_history_with_offset(
                           chat_id, anchor, anchor == 0 ? 0 : -kAroundSide, load.limit),
                       loads, td);
  request_pinned_message(chat_id, pinned, td);
  reply_ok(call, "SEND openChat + getChatHistory + getChatPinnedMessage");
}

void run_close(CommandCall& call, HistoryLoads& loads, OpenChat& open_chat, const TdClient& td) {
  std::int64_t chat_id = 0;
  if (!arg_id(call, chat_id)) return reply_usage(call);
  if (!gate_open(call)) return;
  if (open_chat.chat_id == chat_id) open_chat.chat_id = 0;
  drop_clear_load(loads, chat_id);
  td_request(td, make_close_chat(chat_id), make_tag("close", chat_id));
  reply_ok(call, "SEND closeChat");
}

void run_history(CommandCall& call, HistoryLoads& loads, PinnedLoads& pinned, const TdClient& td) {
  std::int64_t chat_id = 0;
  std::int64_t limit = 30;
  if (!arg_id(call, chat_id) || !arg_optional_i64(call, limit)) return reply_usage(call);
  limit = clamp_i64(limit, 1, kMaxLimit);
  if (!gate_open(call)) return;
  const HistoryLoad load{chat_id, ++loads.gen, true, 0, limit};
  emit_history_begin_event(load);
  send_history_request(load, make_get_chat_history(chat_id, 0, limit), loads, td);
  request_pinned_message(chat_id, pinned, td);
  reply_ok(call, "SEND getChatHistory + getChatPinnedMessage");
}

void run_history_more(CommandCall& call, HistoryLoads& loads, const TdClient& td) {
  std::int64_t chat_id = 0;
  std::int64_t from = 0;
  std::int64_t limit = 50;
  if (!arg_id(call, chat_id) || !arg_positive(call, from) || !arg_optional_i64(call, limit)) {
    return reply_usage(call);
  }
  limit = clamp_i64(limit, 1, kMaxLimit);
  if (!gate_open(call)) return;
  drop_silent_questions(loads, chat_id);
  const HistoryLoad load{chat_id, ++loads.gen, false, from, limit};
  emit_history_begin_event(load);
  send_history_request(load, make_get_chat_history_with_offset(chat_id, from, -1, limit), loads,
                       td);
  reply_ok(call, "SEND getChatHistory (more)");
}

void run_history_jump(CommandCall& call, HistoryLoads& loads, const TdClient& td) {
  std::int64_t chat_id = 0;
  std::int64_t message_id = 0;
  std::int64_t before = 40;
  std::int64_t after = 40;
  if (!arg_id(call, chat_id) || !arg_positive(call, message_id) ||
      !arg_optional_i64(call, before) || !arg_optional_i64(call, after)) {
    return reply_usage(call);
  }
  before = clamp_i64(before, 0, kMaxLimit - 1);
  after = clamp_i64(after, 0, kMaxLimit - 1);
  if (before + after + 1 > kMaxLimit) before = kMaxLimit - 1 - after;
  if (!gate_open(call)) return;
  const HistoryLoad load{chat_id, ++loads.gen, true, message_id, before + after + 1};
  emit_history_begin_event(load);
  send_history_request(
      load, make_get_chat_history_with_offset(chat_id, message_id, -after, load.limit), loads, td);
  reply_ok(call, "SEND getChatHistory (jump/around)");
}

void run_read(CommandCall& call, const TdClient& td) {
  std::int64_t chat_id = 0;
  std::int64_t message_id = 0;
  if (!arg_id(call, chat_id) || !arg_positive(call, message_id)) return reply_usage(call);
  if (!gate_open(call)) return;
  td_request(td, make_view_message(chat_id, message_id), make_tag("read", chat_id, message_id));
  reply_ok(call, "SEND viewMessages(force_read)");
}

void on_read(const Answer& answer) {
  std::string_view fields = answer.fields;
  const std::int64_t chat_id = next_field_i64(fields);
  if (chat_id != 0) dbg("TD_OK read chat_id=" + std::to_string(chat_id));
}
