#include "commands/chat_list.h"

#include <string>
#include <vector>

#include "frame/td_errors.h"
#include "json/scan.h"
#include "json/text.h"
#include "state/chat_loads.h"
#include "state/chat_rows.h"

constexpr std::int64_t kDefaultChats = 50;
constexpr std::int64_t kMostChats = 200;

static std::string make_get_chats(std::int64_t limit) {
  std::string request = "{\"@type\":\"getChats\",\"chat_list\":{\"@type\":\"chatListMain\"}";
  append_int_member(request, "limit", limit);
  request += '}';
  return request;
}

void run_chats(CommandCall& call, ChatTable& chats, const TdClient& td) {
  // The command has no usage line: a limit that is no number counts as not given.
  std::int64_t limit = kDefaultChats;
  (void)arg_optional_i64(call, limit);
  if (!gate_open(call)) return;
  const std::int64_t gen = begin_chat_load(chats);
  td_request(td, make_get_chats(clamp_i64(limit, 1, kMostChats)), make_tag("getChats", gen));
  reply_ok(call, "SEND getChats");
}

void on_chats(Answer& answer, ChatTable& chats, const TdClient& td) {
  std::vector<std::int64_t> ids;
  if (json_contains(answer.text, "\"@type\":\"chats\"")) {
    ids = extract_json_int64_array_field(answer.text, "chat_ids", kMostChats);
  }
  list_chat_load(chats, td, next_field_i64(answer.fields), ids);
}

void on_chats_error(TdError& error, ChatTable& chats, const TdClient& td) {
  report_td_error(error);
  list_chat_load(chats, td, next_field_i64(error.fields), {});
}

void on_list_chat_error(TdError& error, ChatTable& chats, const TdClient& td) {
  report_td_error(error);
  drop_list_chat(error, chats, td);
}

void on_live_chat_error(TdError& error, ChatTable& chats) {
  report_td_error(error);
  drop_live_chat(error, chats);
}
