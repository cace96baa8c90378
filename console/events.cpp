// Every type of event that the console makes something of: how it is told, what it changes.
#include <algorithm>
#include <charconv>

#include "console/model.h"
#include "console/text.h"

namespace {

constexpr std::size_t kMessages = 1000;  // so many are kept while new ones come

struct EventType {
  std::string_view type;
  void (*take)(Model&, const Event&, std::string_view) = nullptr;
  std::string_view argument = {};  // what `take` wants
  std::string_view words = {};     // as in_words has them; empty: its members, as they are
};

// --- what an event changes ---

void keep_last(Model& m, const Event& e, std::string_view) { m.last[e.str("type")] = e; }

// A new row. The argument is the member that names it.
template <Rows Model::*kRows>
void keep(Model& m, const Event& e, std::string_view argument) {
  (m.*kRows)[e.num(argument)] = e;
}

template <Rows Model::*kRows>
void drop(Model& m, const Event& e, std::string_view argument) {
  (m.*kRows).erase(e.num(argument));
}

// Members of a row that is there take the event's values, or go with them. The argument begins with
// the member that names the row; "draft=text" is one that has another name in the event.
template <Rows Model::*kRows>
void change(Model& m, const Event& e, std::string_view argument) {
  const auto row = (m.*kRows).find(e.num(take_word(argument)));
  if (row == (m.*kRows).end()) return;
  while (!argument.empty()) {
    const std::string name = take_word(argument);
    const std::size_t end = name.find('=');
    row->second.members[name.substr(0, end)] = e.str(name.substr(end + 1));  // npos + 1 is 0
  }
}

// What concerns only the messages that are shown.
template <void (*kTake)(Model&, const Event&, std::string_view)>
void if_open(Model& m, const Event& e, std::string_view argument) {
  if (e.num("chat_id") == m.open_chat) kTake(m, e, argument);
}

// A row of the list that its command has opened. The argument: what choosing it enters.
void add_to_list(Model& m, const Event& e, std::string_view argument) {
  if (m.list.command == 0 || e.num("cmd") != m.list.command) return;
  m.list.rows.push_back({describe(m, e), in_words(m, e, argument), {}});
}

void on_command_end(Model& m, const Event& e, std::string_view) {
  if (e.num("cmd") == m.list.command) m.list.command = 0;
}

void on_auth_state(Model& m, const Event& e, std::string_view argument) {
  if (m.of("auth_state").str("state") != e.str("state")) {
    for (const char* told : {"auth_error", "code_info", "need", "password_info", "qr_link"}) {
      m.last.erase(told);
    }
  }
  keep_last(m, e, argument);
}

void on_call_gone(Model& m, const Event& e, std::string_view) {
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

void on_action(Model& m, const Event& e, std::string_view argument) {
  if (e.str("action") == "cancel") return end_action(m, e);
  keep<&Model::actions>(m, e, argument);
}

void on_history_begin(Model& m, const Event& e, std::string_view) {
  if (!e.on("clear")) return;
  m.messages.clear();
  m.at_newest = !e.says("from_message_id");
  m.more_older = true;
}

void clear_messages(Model& m, const Event&, std::string_view) { m.messages.clear(); }

void on_history_end(Model& m, const Event& e, std::string_view) {
  if (e.on("newer")) {
    m.at_newest = !e.on("has_more");
  } else if (!e.on("clear")) {
    m.more_older = e.on("has_more");
  }
}

void on_message_new(Model& m, const Event& e, std::string_view argument) {
  // While older pages are shown, a new message would stand behind a hole.
  if (m.at_newest) if_open<keep<&Model::messages>>(m, e, argument);
  if (m.messages.size() > kMessages) {
    m.messages.erase(m.messages.begin());
    m.more_older = true;
  }
  end_action(m, e);
}

// Its text and, when the media were replaced, their members.
void on_message_update(Model& m, const Event& e, std::string_view) {
  const auto message = m.messages.find(e.num("id"));
  if (message == m.messages.end()) return;
  message->second.members.try_emplace("edit_date", "1");
  for (const auto& [name, value] : e.members) message->second.members[name] = value;
}

void on_message_sent(Model& m, const Event& e, std::string_view argument) {
  auto message = m.messages.extract(e.num("old_id"));
  if (message.empty()) return;
  message.key() = e.num("new_id", e.num("old_id"));
  message.mapped().members["sending_state"] = argument;
  message.mapped().members["error"] = e.str("error");
  if (e.says("date")) message.mapped().members["date"] = e.str("date");
  m.messages.insert(std::move(message));
}

void on_messages_deleted(Model& m, const Event& e, std::string_view) {
  if (e.on("from_cache")) return;  // they still exist
  for (const std::string_view text : array_items(e.str("message_ids"))) {
    std::int64_t id = 0;
    std::from_chars(text.data(), text.data() + text.size(), id);
    m.messages.erase(id);
  }
}

void on_notify(Model& m, const Event& e, std::string_view) {
  m.notifications.push_back(e);
  if (m.notifications.size() > 100) m.notifications.erase(m.notifications.begin());
}

void on_notify_withdrawn(Model& m, const Event& e, std::string_view) {
  withdraw(m, e.num("chat_id"), e.num("message_id"));
}

// Only the chats that are told again are still in the list.
void on_resync_begin(Model& m, const Event&, std::string_view) {
  for (auto& [id, chat] : m.chats) chat.members.erase("order");
}

constexpr std::string_view kMessageWords =
    "{chat_id:from}, {id}: {text}{media_type? [{media_type}]}";

constexpr EventType kEvents[] = {
    {"auth_error", keep_last, "", "The {what} was refused: {message} ({code})"},
    {"auth_state", on_auth_state},
    {"call_discard_gone", on_call_gone},
    {"call_update", keep_last, "",
     "Call with {user_name}{is_video?, video}: {state:spaced}{reason?, {reason:spaced}}"
     "{message?, {message}}"},
    {"chat", keep<&Model::chats>, "id",
     "chat {id}  {title}  [{chat_type:spaced}] {unread_count} unread{muted?, muted}: {last_text}"},
    {"chat_action", on_action, "chat_id", "{chat_id:from}: {action:spaced}"},
    {"chat_deleted", change<&Model::chats>, "chat_id order"},
    {"chat_draft", change<&Model::chats>, "chat_id draft=text"},
    {"chat_last_message", change<&Model::chats>,
     "chat_id last_message_id=message_id last_date=date last_text=text last_outgoing=outgoing"},
    {"chat_marked", change<&Model::chats>, "chat_id marked_as_unread"},
    {"chat_mentions", change<&Model::chats>, "chat_id unread_mention_count"},
    {"chat_mute_toggled", change<&Model::chats>, "chat_id muted"},
    {"chat_notify", change<&Model::chats>, "chat_id muted"},
    {"chat_online_count", keep<&Model::online>, "chat_id"},
    {"chat_position", change<&Model::chats>, "chat_id order pinned"},
    {"chat_read_outbox", change<&Model::chats>, "chat_id last_read_outbox_message_id"},
    {"chat_search_item", add_to_list, "/jump {id}",
     "{date:time}  {sender_name?{sender_name}: }{text}"},
    {"chat_title", change<&Model::chats>, "chat_id title"},
    {"chat_unread", change<&Model::chats>, "chat_id unread_count last_read_inbox_message_id"},
    {"chats_end", keep_last},
    {"code_info", keep_last, "",
     "It comes by {delivery:spaced}{pattern? to {pattern}}{length?, {length} digits}"
     "{timeout?; /resend after {timeout} s}"},
    {"command_end", on_command_end, "", "{command}: {ok?done}{error}"},
    {"connection_state", keep_last, "", "connection: {state:spaced}"},
    {"file", keep<&Model::files>, "id", "Downloaded: {path}"},
    {"file_progress", keep<&Model::files>, "id", "file {id}: {downloaded} of {total}"},
    {"file_stopped", change<&Model::files>, "id active"},
    {"goodbye", keep_last, "", "The backend has ended: {reason:spaced}"},
    {"history_begin", if_open<on_history_begin>},
    {"history_clear", if_open<clear_messages>},
    {"history_cleared", if_open<clear_messages>},
    {"history_end", if_open<on_history_end>},
    {"hub_notify_message", on_notify, "", "★ {chat_id:from}: {text}"},
    {"hub_notify_withdrawn", on_notify_withdrawn},
    {"me", keep_last, "", "logged in as {first_name} {last_name}"},
    {"message", if_open<keep<&Model::messages>>, "id", kMessageWords},
    {"message_new", on_message_new, "id", kMessageWords},
    {"message_pinned", if_open<change<&Model::messages>>, "id pinned"},
    {"message_reactions", if_open<change<&Model::messages>>, "id reactions"},
    {"message_reply_count", if_open<change<&Model::messages>>, "id reply_count"},
    {"message_send_acked", if_open<change<&Model::messages>>, "id sending_state"},
    {"message_send_failed", if_open<on_message_sent>, "failed"},
    {"message_send_succeeded", if_open<on_message_sent>},
    {"message_update", if_open<on_message_update>},
    {"messages_deleted", if_open<on_messages_deleted>},
    {"need", keep_last, "", "login: please enter {what:spaced}"},
    {"password_info", keep_last, "",
     "{hint?Hint: {hint}. }{has_recovery_email?There is a recovery e-mail address.}"},
    {"pinned_list_item", add_to_list, "/jump {id}", "{text}"},
    {"pinned_message", keep<&Model::pins>, "chat_id"},
    {"pinned_none", drop<&Model::pins>, "chat_id"},
    {"proxy_item", add_to_list, "/raw proxy_enable {proxy_id}",
     "{server}:{port}  {kind}{enabled?  in use}"},
    {"qr_link", keep_last, "", "Open this link on a device that is logged in: {link}"},
    {"resync_begin", on_resync_begin},
    {"search_chat", add_to_list, "/open {id}", "{title}  [{chat_type:spaced}] {id}"},
    {"shared_item", add_to_list, "/jump {id}",
     "{date:time}  {sender_name?{sender_name}: }{media_type?[{media_type:spaced}"
     "{media_name? {media_name}}] }{text}{url?  {url}}"},
    {"storage", nullptr, "",
     "Files: {files_size:size} in {file_count}, database: {database_size:size}"},
    {"upload_progress", keep<&Model::files>, "id", "file {id}: {uploaded} of {total}"},
    {"user", keep<&Model::users>, "id"},
};

const EventType* type_of(const Event& e) {
  const auto is = [&](const EventType& t) { return t.type == e.str("type"); };
  const auto it = std::find_if(std::begin(kEvents), std::end(kEvents), is);
  return it == std::end(kEvents) ? nullptr : it;
}

// --- how a member is shown ---

// "last_week", "recordingVoiceNote" and "callStateReady" as people write them.
std::string spaced(std::string name) {
  if (name.compare(0, 9, "callState") == 0) name.erase(0, 9);
  std::string out;
  for (const char c : name) {
    const bool capital = c >= 'A' && c <= 'Z';
    if (capital && !out.empty()) out += ' ';
    out += c == '_' ? ' ' : capital ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return out;
}

// "Family: Ann", and "Ann" in her own chat.
std::string where_and_who(const Model& m, const Event& e) {
  const std::string title = chat_title(m, e.num("chat_id"));
  const std::string sender = sender_name(m, e);
  return title == sender ? title : title + ": " + sender;
}

std::string formatted(const Model& m, const Event& e, std::string_view name,
                      std::string_view format) {
  const std::int64_t number = e.num(name);
  if (format == "title") return chat_title(m, number);
  if (format == "sender") return sender_name(m, e);
  if (format == "from") return where_and_who(m, e);
  if (format == "size") return size_text(number);
  if (format == "time") return number > 0 ? clock_text(number, "%d %b %H:%M") : "";
  if (format == "length") {
    const std::string seconds = std::to_string(100 + number % 60);
    return std::to_string(number / 60) + ":" + seconds.substr(1);
  }
  return spaced(e.str(name));
}

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
  if (type && type->take) type->take(model, event, type->argument);
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
      out += formatted(model, event, name, inside.substr(end + 1));
    }
  }
  return out.append(words);
}

std::string describe(const Model& model, const Event& event) {
  if (event.members.empty()) return {};
  const EventType* type = type_of(event);
  if (type && !type->words.empty()) return in_words(model, event, type->words);
  std::string out = spaced(event.str("type"));
  if (event.says("chat_id")) out += ", " + chat_title(model, event.num("chat_id"));
  out += ":";
  for (const auto& [name, value] : event.members) {
    if (name != "type" && name != "chat_id" && name != "seq")
      out.append(" ").append(name).append("=").append(value);
  }
  return out;
}
