#include "commands/search.h"

#include <string>

#include "frame/answer.h"
#include "frame/channels.h"
#include "frame/protocol.h"
#include "frame/td_errors.h"
#include "json/scan.h"
#include "json/text.h"
#include "json/walk.h"
#include "state/chat_object.h"
#include "state/chat_rows.h"
#include "state/message_events.h"

namespace {

std::string make_search_public_chats(std::string_view query) {
  std::string request = "{\"@type\":\"searchPublicChats\"";
  append_string_member(request, "query", query);
  request += '}';
  return request;
}

constexpr std::int64_t kMostResults = 100;  // what TDLib gives at once
constexpr std::int64_t kPublicLimit = 30;
constexpr std::int64_t kChatLimit = 50;
constexpr std::int64_t kSharedLimit = 50;

std::int64_t usable_limit(std::int64_t limit) { return clamp_i64(limit, 1, kMostResults); }

// The query, decoded and trimmed; otherwise the refusal has been replied.
bool decode_query(const CommandCall& call, std::string_view encoded, std::string& query) {
  if (!decode_text(encoded, query)) {
    refuse_with(call, "bad_base64_query");
    return false;
  }
  query = trim(query);
  if (!query.empty()) return true;
  refuse_with(call, "empty_query");
  return false;
}

std::string_view filter_of(std::string_view kind) {
  if (kind == "photo") return "searchMessagesFilterPhoto";
  if (kind == "video") return "searchMessagesFilterVideo";
  if (kind == "file") return "searchMessagesFilterDocument";
  if (kind == "link") return "searchMessagesFilterUrl";
  return {};
}

std::string begin_search_event(std::string_view type, std::int64_t req) {
  std::string event = begin_event(type);
  append_int_member(event, "req", req);
  return event;
}

void end_public_search_when_done(Searches& searches, std::int64_t req) {
  if (finish_public_search(searches, req)) {
    emit_event_json_line(begin_search_event("search_end", req) + "}");
  }
}

// What a "searchChat:" tag says.
struct FollowedChat {
  std::int64_t req = 0;
  std::uint64_t idx = 0;
  std::int64_t chat_id = 0;
};

FollowedChat parse_followed_chat(std::string_view fields) {
  FollowedChat followed;
  followed.req = next_field_i64(fields);
  followed.idx = static_cast<std::uint64_t>(next_field_i64(fields));
  followed.chat_id = next_field_i64(fields);
  return followed;
}

// A message's date and its sender, each where it is known.
void append_date_and_sender(std::string& event, const MessagePreview& message,
                            std::int64_t sender_user_id) {
  if (message.date >= 1) append_int_member(event, "date", message.date);
  if (sender_user_id >= 1) append_int_member(event, "sender_user_id", sender_user_id);
  const std::string name = find_sender(message, sender_user_id).name;
  if (!name.empty()) append_string_member(event, "sender_name", name);
}

// What level 2 adds to a found message.
void append_found_details(std::string& event, const MessagePreview& message,
                          std::int64_t sender_user_id) {
  append_date_and_sender(event, message, sender_user_id);
  append_message_details(event, message);
}

// What it adds to a found chat: the same of its last message as far as the list shows it.
void append_found_details(std::string& event, std::string_view message_json) {
  MessagePreview message;
  std::int64_t sender_user_id = 0;
  if (message_json.empty() ||
      !parse_first_message(message_json, kChatPreview, message, sender_user_id)) {
    return;
  }
  append_date_and_sender(event, message, sender_user_id);
}

// Where a search goes on; 0: there is no more.
void append_next_from(std::string& event, std::string_view answer) {
  append_int_member(event, "next_from_message_id", member_int(answer, "next_from_message_id", 0));
}

void emit_search_chat_event(const FollowedChat& followed, std::string_view chat_json) {
  const ChatObject chat = read_chat_object(chat_json);
  if (chat.id == 0) return;
  std::string event = begin_search_event("search_chat", followed.req);
  append_int_member(event, "idx", static_cast<std::int64_t>(followed.idx));
  append_int_member(event, "id", chat.id);
  append_int_member(event, "photo_small_id", extract_chat_photo_small_file_id(chat_json));
  append_string_member(event, "chat_type", parse_chat_type(chat.type));
  append_string_member(event, "title", chat.title.value_or(std::string()));
  if (at_level2()) append_found_details(event, chat.last_message);
  end_event(event);
}

void append_link_members(std::string& event, const MessagePreview& message,
                         std::string_view message_json) {
  if (!message.text.empty()) append_string_member(event, "text", message.text);
  const std::string url = first_url(member_object(message_json, "content"));
  if (!url.empty()) append_string_member(event, "url", url);
}

// Which series of shared media an answer belongs to.
struct SharedSeries {
  std::int64_t req = 0;
  std::int64_t chat_id = 0;
  std::string_view kind;
};

// False when the tag names no series.
bool parse_shared_series(std::string_view fields, SharedSeries& series) {
  series.req = next_field_i64(fields);
  series.chat_id = next_field_i64(fields);
  series.kind = next_field(fields);
  return series.req >= 1 && series.chat_id != 0 && !series.kind.empty();
}

std::string begin_shared_event(std::string_view type, const SharedSeries& series) {
  std::string event = begin_search_event(type, series.req);
  append_int_member(event, "chat_id", series.chat_id);
  append_string_member(event, "kind", series.kind);
  return event;
}

void emit_shared_item_event(const SharedSeries& series, std::int64_t idx,
                            const MessagePreview& message, std::int64_t sender_user_id,
                            std::string_view message_json) {
  std::string event = begin_shared_event("shared_item", series);
  append_int_member(event, "idx", idx);
  append_int_member(event, "id", message.id);
  if (message.outgoing) append_bool_member(event, "outgoing", true);
  append_media_members(event, message);
  if (series.kind == "link") append_link_members(event, message, message_json);
  if (at_level2()) append_found_details(event, message, sender_user_id);
  end_event(event);
}

// Offset of the byte behind so many UTF-16 units; of the text's end when it has no more.
std::size_t utf16_offset(std::string_view text, std::size_t begin, std::int64_t units) {
  std::size_t pos = begin;
  while (pos < text.size() && units > 0) {
    const auto lead = static_cast<unsigned char>(text[pos]);
    units -= lead >= 0xF0 ? 2 : 1;
    ++pos;
    while (pos < text.size() && (static_cast<unsigned char>(text[pos]) & 0xC0) == 0x80) ++pos;
  }
  return pos;
}

std::string entity_url(std::string_view entity, std::string_view text) {
  const std::string_view type = member_object(entity, "type");
  const std::string_view name = object_type(type);
  if (name == "textEntityTypeTextUrl") return member_string(type, "url");
  if (name != "textEntityTypeUrl") return {};
  const std::int64_t offset = member_int(entity, "offset");
  if (offset < 0) return {};
  const std::size_t begin = utf16_offset(text, 0, offset);
  const std::size_t end = utf16_offset(text, begin, member_int(entity, "length"));
  return std::string(text.substr(begin, end - begin));
}

}  // namespace

std::string make_search_chat_messages(const MessageSearch& search) {
  std::string request = "{\"@type\":\"searchChatMessages\"";
  append_int_member(request, "chat_id", search.chat_id);
  request += ",\"topic_id\":null";
  append_string_member(request, "query", search.query);
  request += ",\"sender_id\":null";
  append_int_member(request, "from_message_id", search.from_message_id);
  request += ",\"offset\":0";
  append_int_member(request, "limit", search.limit);
  request += ",\"filter\":{\"@type\":\"" + std::string(search.filter) + "\"}}";
  return request;
}

void run_search_server64(CommandCall& call, Searches& searches, const TdClient& td) {
  std::int64_t req = 0;
  std::int64_t limit = kPublicLimit;
  if (!arg_positive(call, req)) return refuse_usage(call);
  const std::string_view encoded = next_arg(call);
  if (encoded.empty() || !arg_optional_i64(call, limit)) return refuse_usage(call);
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
  if (!arg_positive(call, req) || !arg_id(call, search.chat_id)) return refuse_usage(call);
  const std::string_view encoded = next_arg(call);
  if (encoded.empty() || !arg_optional_i64(call, search.from_message_id) ||
      !arg_optional_i64(call, search.limit)) {
    return refuse_usage(call);
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

void run_shared64(CommandCall& call, Searches& searches, const TdClient& td) {
  std::int64_t req = 0;
  MessageSearch search;
  search.limit = kSharedLimit;
  if (!arg_positive(call, req) || !arg_id(call, search.chat_id)) return refuse_usage(call);
  const std::string kind = to_lower_ascii(std::string(next_arg(call)));
  if (kind.empty() || !arg_optional_i64(call, search.from_message_id) ||
      !arg_optional_i64(call, search.limit)) {
    return refuse_usage(call);
  }
  search.filter = filter_of(kind);
  if (search.filter.empty()) return refuse_with(call, "bad_kind");
  if (!gate_open(call)) return;
  search.limit = usable_limit(search.limit);

  std::string event = begin_event("shared_begin");
  append_int_member(event, "req", req);
  append_int_member(event, "chat_id", search.chat_id);
  append_string_member(event, "kind", kind);
  append_int_member(event, "from_message_id", search.from_message_id);
  append_int_member(event, "limit", search.limit);
  end_event(event);
  const std::string tag = make_tag("shared", req, search.chat_id) + ":" + kind;
  begin_shared_series(searches, tag.substr(tag.find(':') + 1));
  td_request(td, make_search_chat_messages(search), tag);
  reply_ok(call, "SEND searchChatMessages (shared)");
}

std::string first_url(std::string_view content) {
  const bool plain_text = object_type(content) == "messageText";
  const std::string_view formatted = member_object(content, plain_text ? "text" : "caption");
  const std::string text = member_string(formatted, "text");
  ArrayWalk walk{member_array(formatted, "entities")};
  for (std::string_view entity; next_element(walk, entity);) {
    std::string url = entity_url(entity, text);
    if (!url.empty()) return url;
  }
  return {};
}

void on_public_chats_found(Answer& answer, Searches& searches, const TdClient& td) {
  const std::int64_t req = next_field_i64(answer.fields);
  PublicSearch* search = take_public_answer(searches, req);
  if (search == nullptr) return;
  std::uint64_t idx = 0;
  for (const std::int64_t chat_id :
       extract_json_int64_array_field(answer.text, "chat_ids", search->limit)) {
    search->outstanding.insert({idx, chat_id});
    td_request(td, make_get_chat(chat_id),
               make_tag("searchChat", req, static_cast<std::int64_t>(idx), chat_id));
    ++idx;
  }
  end_public_search_when_done(searches, req);
}

void on_public_search_error(TdError& error, Searches& searches) {
  const std::int64_t req = next_field_i64(error.fields);
  dbg("TD_ERROR searchChatsOnServer");
  if (take_public_answer(searches, req) == nullptr) return;
  emit_action_error("search", 0, error);
  end_public_search_when_done(searches, req);
}

void on_search_chat(Answer& answer, Searches& searches, ChatTable& chats) {
  const FollowedChat followed = parse_followed_chat(answer.fields);
  (void)record_chat(chats, answer.text);
  if (!take_followed_chat(searches, followed.req, followed.idx, followed.chat_id)) return;
  const std::string_view chat_json = find_chat_object(answer.text);
  if (!chat_json.empty()) emit_search_chat_event(followed, chat_json);
  end_public_search_when_done(searches, followed.req);
}

void on_search_chat_error(TdError& error, Searches& searches) {
  const FollowedChat followed = parse_followed_chat(error.fields);
  dbg("TD_ERROR getChat (search)");
  if (take_followed_chat(searches, followed.req, followed.idx, followed.chat_id)) {
    end_public_search_when_done(searches, followed.req);
  }
}

void on_chat_search_found(Answer& answer, Searches& searches) {
  const std::int64_t req = next_field_i64(answer.fields);
  const std::int64_t chat_id = next_field_i64(answer.fields);
  if (!take_chat_answer(searches, req, chat_id)) return;
  std::int64_t emitted = 0;
  MessagePage page = open_message_page(answer.text);
  MessagePreview message;
  std::int64_t sender_user_id = 0;
  for (; next_message(page, kFullMessage, message, sender_user_id); ++emitted) {
    std::string event = begin_search_event("chat_search_item", req);
    append_int_member(event, "chat_id", chat_id);
    append_int_member(event, "idx", emitted);
    append_int_member(event, "id", message.id);
    append_bool_member(event, "outgoing", message.outgoing);
    append_string_member(event, "text", message.text);
    if (at_level2()) append_found_details(event, message, sender_user_id);
    end_event(event);
  }
  dbg("CHAT_SEARCH chat_id=" + std::to_string(chat_id) + " req=" + std::to_string(req) +
      " emitted=" + std::to_string(emitted) + " total_count=" + std::to_string(page.total_count));
  std::string event = begin_search_event("chat_search_end", req);
  append_int_member(event, "chat_id", chat_id);
  append_int_member(event, "count", emitted);
  append_int_member(event, "total_count", page.total_count);
  if (at_level2()) append_next_from(event, answer.text);
  end_event(event);
}

void on_chat_search_error(TdError& error, Searches& searches) {
  const std::int64_t req = next_field_i64(error.fields);
  const std::int64_t chat_id = next_field_i64(error.fields);
  dbg("TD_ERROR searchChatMessages (chat_search)");
  if (!take_chat_answer(searches, req, chat_id)) return;
  emit_action_error("chat_search", chat_id, error);
  std::string event = begin_search_event("chat_search_end", req);
  append_int_member(event, "chat_id", chat_id);
  append_int_member(event, "count", 0);
  if (at_level2()) append_next_from(event, {});
  end_event(event);
}

void on_shared_found(Answer& answer, Searches& searches) {
  SharedSeries series;
  if (!parse_shared_series(answer.fields, series)) return;
  if (!take_shared_answer(searches, answer.fields)) return;
  std::int64_t emitted = 0;
  MessagePage page = open_message_page(answer.text);
  std::string_view message_json;
  MessagePreview message;
  std::int64_t sender_user_id = 0;
  while (next_message(page, message_json)) {
    if (!parse_first_message(message_json, kFullMessage, message, sender_user_id)) continue;
    emit_shared_item_event(series, emitted, message, sender_user_id, message_json);
    ++emitted;
  }
  std::string event = begin_shared_event("shared_end", series);
  append_int_member(event, "count", emitted);
  append_int_member(event, "total_count", page.total_count);
  // At level 1 a missing one is -1.
  append_int_member(event, "next_from_message_id",
                    member_int(answer.text, "next_from_message_id", at_level2() ? 0 : -1));
  end_event(event);
}

void on_shared_error(TdError& error, Searches& searches) {
  report_td_error(error);
  SharedSeries series;
  if (!parse_shared_series(error.fields, series)) return;
  if (!take_shared_answer(searches, error.fields)) return;
  std::string event = begin_shared_event("shared_end", series);
  append_int_member(event, "count", 0);
  if (at_level2()) append_next_from(event, {});
  end_event(event);
}
