#include "commands/pinned.h"

#include "commands/search.h"
#include "frame/channels.h"
#include "frame/in_flight.h"
#include "frame/protocol.h"
#include "json/text.h"
#include "state/chat_events.h"
#include "state/message.h"
#include "state/service_messages.h"

namespace {

constexpr std::int64_t kDefaultListLimit = 50;
constexpr std::int64_t kMaxListLimit = 100;

void emit_pinned_event(std::string_view type, std::int64_t chat_id, const MessagePreview& message,
                       std::string_view text) {
  std::string event = begin_chat_event(type, chat_id);
  append_int_member(event, "id", message.id);
  append_bool_member(event, "outgoing", message.outgoing);
  append_string_member(event, "text", text);
  if (at_level2()) append_message_details(event, message);
  end_event(event);
}

void emit_pinned_none(std::int64_t chat_id) {
  if (chat_id == 0) return;
  std::string event = begin_chat_event("pinned_none", chat_id);
  end_event(event);
}

// Only words of the message itself stand in the list; a caption does not, its photo does.
std::string list_text(std::int64_t chat_id, const MessagePreview& message, std::string_view json) {
  if (message.content_type == "messageText" || message.content_type == "messageAnimatedEmoji") {
    return message.text;
  }
  return format_message_preview_and_track(chat_id, message.id, message.content_type, json);
}

}  // namespace

std::string make_get_chat_pinned_message(std::int64_t chat_id) {
  return make_id_request("getChatPinnedMessage", "chat_id", chat_id);
}

void request_pinned_message(std::int64_t chat_id, PinnedLoads& loads, const TdClient& td) {
  td_request(td, make_get_chat_pinned_message(chat_id),
             make_tag("pinned", chat_id, ++loads.requests));
}

void on_pinned_message(Answer& answer) {
  const std::int64_t chat_id = next_field_i64(answer.fields);
  if (chat_id == 0) return;
  MessagePreview message;
  std::int64_t sender_user_id = 0;
  if (parse_first_message(answer.text, kChatPreview, message, sender_user_id)) {
    emit_pinned_event("pinned_message", chat_id, message, message.text);
  } else {
    emit_pinned_none(chat_id);
  }
}

void on_pinned_message_error(TdError& error) {
  // The library's way of saying that the chat has none; the command that asked has not failed.
  constexpr std::int64_t kNone = 404;
  if (error.code != kNone) note_td_error(error.code, error.message);
  emit_pinned_none(next_field_i64(error.fields));
}

void run_pinned_list(CommandCall& call, PinnedLoads& loads, const TdClient& td) {
  std::int64_t chat_id = 0;
  std::int64_t limit = kDefaultListLimit;
  if (!arg_id(call, chat_id) || !arg_optional_i64(call, limit)) return refuse_usage(call);
  limit = clamp_i64(limit, 1, kMaxListLimit);
  if (!gate_open(call)) return;
  const std::int64_t gen = begin_series(loads.lists);
  std::string event = begin_chat_event("pinned_list_begin", chat_id);
  append_int_member(event, "gen", gen);
  end_event(event);
  td_request(td, make_search_chat_messages({chat_id, "", 0, limit, "searchMessagesFilterPinned"}),
             make_tag("pinned_list", chat_id, gen, limit));
  reply_ok(call, "SEND searchChatMessages (pinned)");
}

void on_pinned_list(Answer& answer, PinnedLoads& loads) {
  const std::int64_t chat_id = next_field_i64(answer.fields);
  const std::int64_t gen = next_field_i64(answer.fields);
  if (chat_id == 0 || gen < 1 || !take_series_answer(loads.lists, gen)) return;
  std::int64_t count = 0;
  MessagePage page = open_message_page(answer.text);
  for (std::string_view json; next_message(page, json);) {
    MessagePreview message;
    std::int64_t sender_user_id = 0;
    if (!parse_first_message(json, kFullMessage, message, sender_user_id)) continue;
    emit_pinned_event("pinned_list_item", chat_id, message, list_text(chat_id, message, json));
    ++count;
  }
  dbg("PINNED_LIST chat_id=" + std::to_string(chat_id) + " gen=" + std::to_string(gen) +
      " emitted=" + std::to_string(count) + " total_count=" + std::to_string(page.total_count));
  std::string event = begin_chat_event("pinned_list_end", chat_id);
  append_int_member(event, "gen", gen);
  append_int_member(event, "count", count);
  append_int_member(event, "total_count", page.total_count);
  end_event(event);
}

void on_pinned_list_error(TdError& error, PinnedLoads& loads) {
  const std::int64_t chat_id = next_field_i64(error.fields);
  if (chat_id == 0 || !take_series_answer(loads.lists, next_field_i64(error.fields))) return;
  std::string event = begin_chat_event("pinned_list_end", chat_id);
  append_int_member(event, "count", 0);
  end_event(event);
}
