#include "commands/search_commands.h"

#include <string>

#include "commands/search_requests.h"
#include "frame/answer.h"
#include "frame/channels.h"
#include "json/text.h"

namespace {

constexpr std::int64_t kMostResults = 100;  // what TDLib gives at once
constexpr std::int64_t kPublicLimit = 30;
constexpr std::int64_t kChatLimit = 50;
constexpr std::int64_t kSharedLimit = 50;

std::int64_t usable_limit(std::int64_t limit) { return clamp_i64(limit, 1, kMostResults); }

// The query, decoded and trimmed; otherwise the refusal has been replied.
bool decode_query(const CommandCall& call, std::string_view encoded, std::string& query) {
  if (!base64_decode(encoded, query)) {
    reply_error(call, "bad_base64_query");
    return false;
  }
  query = trim(query);
  if (!query.empty()) return true;
  reply_error(call, "empty_query");
  return false;
}

std::string_view filter_of(std::string_view kind) {
  if (kind == "photo") return "searchMessagesFilterPhoto";
  if (kind == "video") return "searchMessagesFilterVideo";
  if (kind == "file") return "searchMessagesFilterDocument";
  if (kind == "link") return "searchMessagesFilterUrl";
  return {};
}

}  // namespace

void run_search_server64(CommandCall& call, Searches& searches, const TdClient& td) {
  std::int64_t req = 0;
  std::int64_t limit = kPublicLimit;
  if (!arg_positive(call, req)) return reply_usage(call);
  const std::string_view encoded = next_arg(call);
  if (encoded.empty() || !arg_optional_i64(call, limit)) return reply_usage(call);
  std::string query;
  if (!decode_query(call, encoded, query) || !gate_open(call)) return;

  begin_public_search(searches, req, static_cast<unsigned>(usable_limit(limit)));
  std::string event = begin_event("search_begin");
  append_int_member(event, "req", req);
  end_event(event);
  td_request(td, make_search_public_chats(query), make_tag("searchServer", req));
  reply_ok(call, "SEND searchPublicChats");
}

void run_chat_search64(CommandCall& call, Searches& searches, const TdClient& td) {
  std::int64_t req = 0;
  MessageSearch search;
  search.limit = kChatLimit;
  search.filter = "searchMessagesFilterEmpty";
  if (!arg_positive(call, req) || !arg_id(call, search.chat_id)) return reply_usage(call);
  const std::string_view encoded = next_arg(call);
  if (encoded.empty() || !arg_optional_i64(call, search.from_message_id) ||
      !arg_optional_i64(call, search.limit)) {
    return reply_usage(call);
  }
  std::string query;
  if (!decode_query(call, encoded, query) || !gate_open(call)) return;
  search.query = query;
  search.limit = usable_limit(search.limit);

  begin_chat_search(searches, req, search.chat_id);
  std::string event = begin_event("chat_search_begin");
  append_int_member(event, "req", req);
  append_int_member(event, "chat_id", search.chat_id);
  end_event(event);
  td_request(td, make_search_chat_messages(search), make_tag("chatSearch", req, search.chat_id));
  reply_ok(call, "SEND searchChatMessages (chat_search)");
}

void run_shared64(CommandCall& call, const TdClient& td) {
  std::int64_t req = 0;
  MessageSearch search;
  search.limit = kSharedLimit;
  if (!arg_positive(call, req) || !arg_id(call, search.chat_id)) return reply_usage(call);
  const std::string kind = to_lower_ascii(std::string(next_arg(call)));
  if (kind.empty() || !arg_optional_i64(call, search.from_message_id) ||
      !arg_optional_i64(call, search.limit)) {
    return reply_usage(call);
  }
  search.filter = filter_of(kind);
  if (search.filter.empty()) return reply_error(call, "bad_kind");
  if (!gate_open(call)) return;
  search.limit = usable_limit(search.limit);

  std::string event = begin_event("shared_begin");
  append_int_member(event, "req", req);
  append_int_member(event, "chat_id", search.chat_id);
  append_string_member(event, "kind", kind);
  append_int_member(event, "from_message_id", search.from_message_id);
  append_int_member(event, "limit", search.limit);
  end_event(event);
  td_request(td, make_search_chat_messages(search),
             make_tag("shared", req, search.chat_id) + ":" + kind);
  reply_ok(call, "SEND searchChatMessages (shared)");
}
