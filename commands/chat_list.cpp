#include "commands/chat_list.h"

#include <string>
#include <vector>

#include "frame/in_flight.h"
#include "frame/protocol.h"
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

static std::string make_load_chats(std::int64_t limit) {
  std::string request = "{\"@type\":\"loadChats\",\"chat_list\":{\"@type\":\"chatListMain\"}";
  append_int_member(request, "limit", limit);
  request += '}';
  return request;
}

void run_chats(CommandCall& call, ChatTable& chats, const TdClient& td) {
  // The command has no usage line: a limit that is no number counts as not given.
  std::int64_t limit = kDefaultChats;
  (void)arg_optional_i64(call, limit);
  if (!gate_open(call)) return;
  limit = clamp_i64(limit, 1, kMostChats);
  const std::int64_t gen = begin_chat_load(chats, LoadKind::kAnew, limit);
  td_request(td, make_get_chats(limit), make_tag("getChats", gen));
  reply_ok(call, "SEND getChats");
}

void run_chats_more(CommandCall& call, ChatTable& chats, const TdClient& td) {
  std::int64_t limit = kDefaultChats;
  if (!arg_optional_i64(call, limit)) return refuse_usage(call);
  if (!gate_open(call)) return;
  limit = clamp_i64(limit, 1, kMostChats);
  const std::int64_t gen = begin_chat_load(chats, LoadKind::kMore, limit);
  td_request(td, make_load_chats(limit), make_tag("loadChats", gen, limit));
  reply_ok(call, "SEND loadChats");
}

// Whether the library had more to load or not, what it has now may go beyond the last load. Where
// it has all, one chat more than the load wants tells whether any are left behind it.
static void list_more_chats(std::string_view fields, ChatTable& chats, const TdClient& td,
                            bool has_all) {
  const std::int64_t gen = next_field_i64(fields);
  const std::int64_t limit = next_field_i64(fields);
  if (gen < 1 || limit < 1) return;
  if (has_all) note_all_chats_loaded(chats, gen);
  td_request(td, make_get_chats(chats.chain_count + limit + (has_all ? 1 : 0)),
             make_tag("getChats", gen));
}

void on_chats_loaded(Answer& answer, ChatTable& chats, const TdClient& td) {
  list_more_chats(answer.fields, chats, td, false);
}

void on_load_chats_error(TdError& error, ChatTable& chats, const TdClient& td) {
  constexpr std::int64_t kNoMore = 404;
  const bool has_all = error.code == kNoMore;
  if (!has_all) {
    note_td_error(error.code, error.message);
    report_td_error(error);
  }
  list_more_chats(error.fields, chats, td, has_all);
}

void on_chats(Answer& answer, ChatTable& chats, const TdClient& td) {
  std::vector<std::int64_t> ids;
  if (json_contains(answer.text, "\"@type\":\"chats\"")) {
    const std::int64_t most = kMostChats + (at_level2() ? chats.chain_count + 1 : 0);
    ids = extract_json_int64_array_field(answer.text, "chat_ids", static_cast<unsigned>(most));
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
