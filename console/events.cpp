// Every type of event that the console makes something of: how it is told, what it changes.
#include <algorithm>
#include <charconv>

#include "console/model.h"
#include "console/text.h"

namespace {

struct EventType {
  std::string_view type;
  std::string_view words;  // as in_words has them; empty: its members, as they are
  void (*take)(Model&, const Event&, const EventType&) = nullptr;
  // For `take`: the rows that it is about, the member that names the row, and what else it wants.
  Rows Model::*rows = nullptr;
  std::string_view id = {}, argument = {};
};

// --- what an event changes ---

bool concerns(const Model& m, const Event& e, const EventType& type) {
  return type.rows != &Model::messages || e.num("chat_id") == m.open_chat;
}

void keep_last(Model& m, const Event& e, const EventType&) { m.last[e.str("type")] = e; }

void keep(Model& m, const Event& e, const EventType& type) {
  if (concerns(m, e, type)) (m.*type.rows)[e.num(type.id)] = e;
}

void drop(Model& m, const Event& e, const EventType& type) { (m.*type.rows).erase(e.num(type.id)); }

// Members of a row that is there take the event's values, or go with them. The argument lists
// them; "draft=text" is one that has another name in the event.
void change(Model& m, const Event& e, const EventType& type) {
  const auto row = (m.*type.rows).find(e.num(type.id));
  if (row == (m.*type.rows).end() || !concerns(m, e, type)) return;
  for (std::string_view names = type.argument; !names.empty();) {
    const std::string name = take_word(names);
    const std::size_t end = std::min(name.find('='), name.size());
    row->second.members[name.substr(0, end)] = e.str(name.substr(end == name.size() ? 0 : end + 1));
  }
}

// A row of the list that its command has opened. The argument: what choosing it enters.
void add_to_list(Model& m, const Event& e, const EventType& type) {
  if (m.list.command == 0 || e.num("cmd") != m.list.command) return;
  m.list.rows.push_back({describe(m, e), in_words(m, e, type.argument), {}});
}

void on_command_end(Model& m, const Event& e, const EventType&) {
  if (e.num("cmd") == m.list.command) m.list.command = 0;
}

void on_auth_state(Model& m, const Event& e, const EventType& type) {
  if (m.of("auth_state").str("state") != e.str("state")) {
    for (const char* told : {"auth_error", "code_info", "need", "password_info", "qr_link"}) {
      m.last.erase(told);
    }
  }
  keep_last(m, e, type);
}

void on_call_gone(Model& m, const Event& e, const EventType&) {
  const auto call = m.last.find("call_update");
  if (call == m.last.end() || call->second.num("call_id") != e.num("call_id")) return;
  call->second.members["state"] = "callStateDiscarded";
}

void end_action(Model& m, const Event& e) {
  const Event& now = Model::find(m.actions, e.num("chat_id"));
  if (now.str("sender_user_id") == e.str("sender_user_id") &&
      now.str("sender_chat_id") == e.str("sender_chat_id")) {
    m.actions.erase(e.num("chat_id"));
  }
}

void on_action(Model& m, const Event& e, const EventType& type) {
  if (e.str("action") == "cancel") return end_action(m, e);
  keep(m, e, type);
}

void on_history_begin(Model& m, const Event& e, const EventType&) {
  if (e.num("chat_id") != m.open_chat || !e.on("clear")) return;
  m.messages.clear();
  m.at_newest = !e.says("from_message_id");
  m.more_older = true;
}

void clear_messages(Model& m, const Event& e, const EventType&) {
  if (e.num("chat_id") == m.open_chat) m.messages.clear();
}

void on_history_end(Model& m, const Event& e, const EventType&) {
  if (e.num("chat_id") != m.open_chat || e.on("clear")) return;
  if (e.on("newer")) {
    m.at_newest = !e.on("has_more");
  } else {
    m.more_older = e.on("has_more");
  }
}

// Whether it is pinned was told by "message_pinned".
void on_message(Model& m, const Event& e, const EventType&) {
  if (e.num("chat_id") != m.open_chat) return;
  Event& message = m.messages[e.num("id")];
  const std::string pinned = message.str("pinned");
  message = e;
  message.members["pinned"] = pinned;
}

void on_message_new(Model& m, const Event& e, const EventType& type) {
  // While older pages are shown, a new message would stand behind a hole.
  if (m.at_newest) on_message(m, e, type);
  end_action(m, e);
}

// Its text and, when the media were replaced, their members.
void on_message_update(Model& m, const Event& e, const EventType&) {
  const auto message = m.messages.find(e.num("id"));
  if (e.num("chat_id") != m.open_chat || message == m.messages.end()) return;
  message->second.members.try_emplace("edit_date", "1");
  for (const auto& [name, value] : e.members) message->second.members[name] = value;
}

void on_message_acked(Model& m, const Event& e, const EventType&) {
  const auto message = m.messages.find(e.num("id"));
  if (e.num("chat_id") != m.open_chat || message == m.messages.end()) return;
  message->second.members["sending_state"] = "acked";
}

void on_message_sent(Model& m, const Event& e, const EventType& type) {
  if (e.num("chat_id") != m.open_chat) return;
  auto message = m.messages.extract(e.num("old_id"));
  if (message.empty()) return;
  message.key() = e.num("new_id", e.num("old_id"));
  message.mapped().members["sending_state"] = type.argument;
  message.mapped().members["error"] = e.str("error");
  m.messages.insert(std::move(message));
}

void on_messages_deleted(Model& m, const Event& e, const EventType&) {
  if (e.num("chat_id") != m.open_chat || e.on("from_cache")) return;
  for (const std::string_view text : array_items(e.str("message_ids"))) {
    std::int64_t id = 0;
    std::from_chars(text.data(), text.data() + text.size(), id);
    m.messages.erase(id);
  }
}

void on_notify(Model& m, const Event& e, const EventType&) {
  m.notifications.push_back(e);
  if (e.str("sender_name") == e.str("chat_title")) {
    m.notifications.back().members.erase("sender_name");
  }
  if (m.notifications.size() > 100) m.notifications.erase(m.notifications.begin());
}

// Older ones of the same chat go with it.
void on_notify_withdrawn(Model& m, const Event& e, const EventType&) {
  const auto goes = [&](const Event& n) {
    return n.num("chat_id") == e.num("chat_id") && n.num("message_id") <= e.num("message_id");
  };
  auto& all = m.notifications;
  all.erase(std::remove_if(all.begin(), all.end(), goes), all.end());
}

void on_resync_begin(Model& m, const Event&, const EventType&) {
  for (auto& [id, chat] : m.chats) chat.members["type"] = "told before";
}

// Chats that were not told again have left the list.
void on_resync_end(Model& m, const Event&, const EventType&) {
  for (auto& [id, chat] : m.chats) {
    if (chat.str("type") == "told before") chat.members.erase("order");
  }
}

constexpr EventType kEvents[] = {
    {"auth_error", "login: {what} was refused: {message} ({code})", keep_last},
    {"auth_state", "login: {state}", on_auth_state},
    {"backend_fatal", "The backend dies: {kind} {sig}"},
    {"call_discard_gone", "call {call_id} is over", on_call_gone},
    {"call_update",
     "Call with {user_name}{is_video?, video}: {state:state}{reason?, {reason:spaced}}"
     "{message?, {message}}",
     keep_last},
    {"chat",
     "chat {id}  {title}  [{chat_type:spaced}] {unread_count} unread{muted?, muted}: {last_text}",
     keep, &Model::chats, "id"},
    {"chat_action", "{chat_id:title}: {chat_id:sender}: {action}", on_action, &Model::actions,
     "chat_id"},
    {"chat_deleted", "{chat_id:title} is gone", change, &Model::chats, "chat_id", "order"},
    {"chat_draft", "{chat_id:title}: draft: {text}", change, &Model::chats, "chat_id",
     "draft=text"},
    {"chat_last_message", "{chat_id:title}: last message {message_id}: {text}", change,
     &Model::chats, "chat_id",
     "last_message_id=message_id last_date=date last_text=text last_outgoing=outgoing"},
    {"chat_marked", "{chat_id:title}: marked as unread: {marked_as_unread}", change, &Model::chats,
     "chat_id", "marked_as_unread"},
    {"chat_mentions", "{chat_id:title}: {unread_mention_count} unread mentions", change,
     &Model::chats, "chat_id", "unread_mention_count"},
    {"chat_mute_toggled", "{chat_id:title}: muted: {muted}", change, &Model::chats, "chat_id",
     "muted"},
    {"chat_notify", "{chat_id:title}: muted: {muted}", change, &Model::chats, "chat_id", "muted"},
    {"chat_online_count", "{chat_id:title}: {count} online", keep, &Model::online, "chat_id"},
    {"chat_position", "", change, &Model::chats, "chat_id", "order pinned"},
    {"chat_read_outbox", "", change, &Model::chats, "chat_id", "last_read_outbox_message_id"},
    {"chat_search_item", "{date:time}  {sender_name?{sender_name}: }{text}", add_to_list, nullptr,
     "", "/jump {id}"},
    {"chat_title", "chat {chat_id} is now {title}", change, &Model::chats, "chat_id", "title"},
    {"chat_unread", "{chat_id:title}: {unread_count} unread", change, &Model::chats, "chat_id",
     "unread_count last_read_inbox_message_id"},
    {"chats_end", "", keep_last},
    {"code_info",
     "It comes by {delivery:spaced}{pattern? to {pattern}}{length?, {length} digits}"
     "{timeout?; /resend after {timeout} s}",
     keep_last},
    {"command_end", "{command}: {ok?done}{error}", on_command_end},
    {"command_refused", "refused: {text}"},
    {"connection_state", "connection: {state:spaced}", keep_last},
    {"events_lost", "{count} events were lost"},
    {"file", "Downloaded: {path}", keep, &Model::files, "id"},
    {"file_progress", "file {id}: {downloaded} of {total}", keep, &Model::files, "id"},
    {"file_stopped", "file {id}: stopped", change, &Model::files, "id", "active"},
    {"goodbye", "The backend has ended: {reason:spaced}", keep_last},
    {"hello", "td_backend {version}, protocol {protocol}, {mode}"},
    {"history_begin", "{chat_id:title}: messages", on_history_begin},
    {"history_clear", "{chat_id:title}: from the begin", clear_messages},
    {"history_cleared", "{chat_id:title}: all messages are gone", clear_messages},
    {"history_end", "{chat_id:title}: end of messages", on_history_end},
    {"hub_notify_message", "★ {chat_title}: {sender_name?{sender_name}: }{text}", on_notify},
    {"hub_notify_withdrawn", "★ {chat_id:title}: read or gone up to {message_id}",
     on_notify_withdrawn},
    {"me", "logged in as {first_name} {last_name} ({id})", keep_last},
    {"message", "{chat_id:title} {id} {chat_id:sender}: {text} {media_type}", on_message},
    {"message_new", "{chat_id:title} {id} {chat_id:sender}: {text} {media_type}", on_message_new},
    {"message_pinned", "", change, &Model::messages, "id", "pinned"},
    {"message_reactions", "{chat_id:title} {id}: reactions {reactions}", change, &Model::messages,
     "id", "reactions"},
    {"message_reply_count", "{chat_id:title} {id}: {reply_count} replies", change, &Model::messages,
     "id", "reply_count"},
    {"message_send_acked", "{chat_id:title} {id}: the service has it", on_message_acked},
    {"message_send_failed", "{chat_id:title} {old_id}: not sent: {error}", on_message_sent, nullptr,
     "", "failed"},
    {"message_send_succeeded", "{chat_id:title} {old_id}: sent, now {new_id}", on_message_sent},
    {"message_update", "{chat_id:title} {id} now says: {text}", on_message_update},
    {"messages_deleted", "{chat_id:title}: deleted {message_ids}", on_messages_deleted},
    {"need", "login: please enter {what:spaced}", keep_last},
    {"password_info",
     "{hint?Hint: {hint}. }{has_recovery_email?There is a recovery e-mail address.}", keep_last},
    {"pinned_list_item", "{text}", add_to_list, nullptr, "", "/jump {id}"},
    {"pinned_message", "{chat_id:title}: pinned: {text}", keep, &Model::pins, "chat_id"},
    {"pinned_none", "{chat_id:title}: nothing is pinned", drop, &Model::pins, "chat_id"},
    {"proxy_item", "{server}:{port}  {kind}{enabled?  in use}", add_to_list, nullptr, "",
     "/raw proxy_enable {proxy_id}"},
    {"qr_link", "login: confirm on another device: {link}", keep_last},
    {"resync_begin", "", on_resync_begin},
    {"resync_end", "", on_resync_end},
    {"search_chat", "{title}  [{chat_type:spaced}] {id}", add_to_list, nullptr, "", "/open {id}"},
    {"shared_item",
     "{date:time}  {sender_name?{sender_name}: }{text}{media_type?[{media_type:spaced}"
     "{media_name? {media_name}}]}{url?  {url}}",
     add_to_list, nullptr, "", "/jump {id}"},
    {"storage", "Files: {files_size:size} in {file_count}, database: {database_size:size}"},
    {"upload_progress", "file {id}: {uploaded} of {total}", keep, &Model::files, "id"},
    {"user", "", keep, &Model::users, "id"},
};

const EventType* type_of(const Event& e) {
  const auto is = [&](const EventType& t) { return t.type == e.str("type"); };
  const auto it = std::find_if(std::begin(kEvents), std::end(kEvents), is);
  return it == std::end(kEvents) ? nullptr : it;
}

// --- how a member is shown ---

// "last_week" and "recordingVoiceNote" as people write them.
std::string spaced(const std::string& name) {
  std::string out;
  for (const char c : name) {
    const bool capital = c >= 'A' && c <= 'Z';
    if (capital && !out.empty()) out += ' ';
    out += c == '_' ? ' ' : capital ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return out;
}

struct Format {
  std::string_view name;
  std::string (*show)(const Model&, const Event&, std::string_view member);
};
constexpr Format kFormats[] = {
    {"length",
     [](const Model&, const Event& e, std::string_view member) {
       const std::string seconds = std::to_string(100 + e.num(member) % 60);
       return std::to_string(e.num(member) / 60) + ":" + seconds.substr(1);
     }},
    // Whoever sent the message, or does something.
    {"sender", [](const Model& m, const Event& e, std::string_view) { return sender_name(m, e); }},
    {"size", [](const Model&, const Event& e,
                std::string_view member) { return size_text(e.num(member)); }},
    {"spaced",
     [](const Model&, const Event& e, std::string_view member) { return spaced(e.str(member)); }},
    // "callStateReady": what is behind "State".
    {"state",
     [](const Model&, const Event& e, std::string_view member) {
       const std::size_t at = e.str(member).find("State");
       return spaced(e.str(member).substr(at == std::string::npos ? 0 : at + 5));
     }},
    {"time",
     [](const Model&, const Event& e, std::string_view member) {
       return e.says(member) ? clock_text(e.num(member), "%d %b %H:%M") : "";
     }},
    // The chat of that id.
    {"title", [](const Model& m, const Event& e,
                 std::string_view member) { return chat_title(m, e.num(member)); }},
};

// Where the brace that `words` begin with is closed.
std::size_t closing(std::string_view words) {
  int depth = 0;
  for (std::size_t i = 0; i < words.size(); ++i) {
    depth += words[i] == '{' ? 1 : words[i] == '}' ? -1 : 0;
    if (depth == 0) return i;
  }
  return words.size();
}

}  // namespace

void apply(Model& model, const Event& event) {
  const EventType* type = type_of(event);
  if (type && type->take) type->take(model, event, *type);
}

std::string in_words(const Model& model, const Event& event, std::string_view words) {
  std::string out;
  for (std::size_t open; (open = words.find('{')) != std::string_view::npos;) {
    out += words.substr(0, open);
    words.remove_prefix(open);
    const std::size_t close = closing(words);
    const std::string_view inside = words.substr(1, close - 1);
    words.remove_prefix(std::min(close + 1, words.size()));
    const std::size_t end = std::min(inside.find_first_of(":?"), inside.size());
    const std::string_view name = inside.substr(0, end);
    if (end == inside.size()) {
      out += event.str(name);
    } else if (inside[end] == '?') {
      if (event.says(name)) out += in_words(model, event, inside.substr(end + 1));
    } else {
      for (const Format& format : kFormats) {
        if (format.name == inside.substr(end + 1)) out += format.show(model, event, name);
      }
    }
  }
  return out.append(words);
}

std::string describe(const Model& model, const Event& event) {
  const EventType* type = type_of(event);
  if (type && !type->words.empty()) return in_words(model, event, type->words);
  std::string out = event.str("type");
  for (const auto& [name, value] : event.members) {
    if (name != "type" && name != "seq" && name != "cmd")
      out.append(" ").append(name).append("=").append(value);
  }
  return out;
}
