// Every type of event that the console makes something of: how it is told, what it changes.
#include <algorithm>
#include <cstdlib>

#include "console/client.h"
#include "console/text.h"

namespace {

constexpr std::size_t kMessages = 1000;  // so many are kept while new ones come

struct EventType {
  std::string_view type;
  void (*take)(Client&, const Event&, std::string_view) = nullptr;
  std::string_view argument = {};  // what `take` wants
  std::string_view words = {};     // as in_words has them; empty: its members, as they are
};

// --- what an event changes ---

void keep_last(Client& c, const Event& e, std::string_view) { c.last[e.str("type")] = e; }

// To be read in the line of notes.
void note(Client& c, const Event& e, std::string_view) {
  tell(c, describe(c, e), e.str("type") == "backend_fatal");
}

// A new row. The argument is the member that names it.
template <Rows Client::*kRows>
void keep(Client& c, const Event& e, std::string_view argument) {
  (c.*kRows)[e.num(argument)] = e;
}

// Members of a row that is there take the event's values, or go with them. The argument begins with
// the member that names the row; "draft=text" is one that has another name in the event.
template <Rows Client::*kRows>
void change(Client& c, const Event& e, std::string_view argument) {
  const auto row = (c.*kRows).find(e.num(take_word(argument)));
  if (row == (c.*kRows).end()) return;
  while (!argument.empty()) {
    const std::string name = take_word(argument);
    const std::size_t end = name.find('=');
    row->second.members[name.substr(0, end)] = e.str(name.substr(end + 1));  // npos + 1 is 0
  }
}

// What concerns only the messages that are shown.
template <void (*kTake)(Client&, const Event&, std::string_view)>
void if_open(Client& c, const Event& e, std::string_view argument) {
  if (e.num("chat_id") == c.open_chat) kTake(c, e, argument);
}

// A row of the list that its command has opened. The argument: what choosing it enters.
void add_to_list(Client& c, const Event& e, std::string_view argument) {
  if (c.list.command == 0 || e.num("cmd") != c.list.command) return;
  c.list.rows.push_back({describe(c, e), in_words(c, e, argument)});
}

void on_command_end(Client& c, const Event& e, std::string_view) {
  const std::int64_t id = e.num("cmd");
  if (c.list.command == id) c.list.command = 0;
  if (c.loading == id) c.loading = 0;
  if (!e.on("ok")) tell(c, describe(c, e), true);
}

void on_auth_state(Client& c, const Event& e, std::string_view argument) {
  if (c.of("auth_state").str("state") != e.str("state")) {
    for (const char* told : {"auth_error", "code_info", "need", "password_info", "qr_link"}) {
      c.last.erase(told);
    }
  }
  keep_last(c, e, argument);
  if (c.ready() && c.chats.empty()) say(c, "chats 50");
}

void on_call_gone(Client& c, const Event& e, std::string_view) {
  const auto call = c.last.find("call_update");
  if (call == c.last.end() || call->second.num("call_id") != e.num("call_id")) return;
  call->second.members["state"] = "callStateDiscarded";
}

// What is done last in a chat, until it ends or a message comes.
void on_action(Client& c, const Event& e, std::string_view) {
  const auto chat = c.chats.find(e.num("chat_id"));
  if (chat == c.chats.end()) return;
  const bool over = e.str("action") == "cancel";
  chat->second.members["doing"] = over ? "" : in_words(c, e, "{chat_id:sender}: {action:spaced}…");
}

void on_file(Client& c, const Event& e, std::string_view argument) {
  keep<&Client::files>(c, e, argument);
  note(c, e, argument);
}

// Marks what is shown as read, once for every further message.
void mark_read(Client& c, const Event&, std::string_view) {
  if (!c.at_newest) return;
  const std::int64_t known = c.chat(c.open_chat).num("last_read_inbox_message_id");
  const auto incoming = [](const auto& row) { return !row.second.on("outgoing"); };
  const auto newest = std::find_if(c.messages.rbegin(), c.messages.rend(), incoming);
  if (newest == c.messages.rend() || newest->first <= std::max(c.told_read, known)) return;
  c.told_read = newest->first;
  say(c, "read " + std::to_string(c.open_chat) + " " + std::to_string(c.told_read));
}

void on_history_begin(Client& c, const Event& e, std::string_view) {
  if (!e.on("clear")) return;
  c.messages.clear();
  c.at_newest = !e.says("from_message_id");
  c.more_older = true;
}

void on_history_end(Client& c, const Event& e, std::string_view argument) {
  if (e.on("newer")) {
    c.at_newest = !e.on("has_more");
  } else if (!e.on("clear")) {
    c.more_older = e.on("has_more");
  }
  mark_read(c, e, argument);
}

void clear_messages(Client& c, const Event&, std::string_view) { c.messages.clear(); }

void on_message_new(Client& c, const Event& e, std::string_view argument) {
  change<&Client::chats>(c, e, "chat_id doing");
  // While older pages are shown, a new message would stand behind a hole.
  if (!c.at_newest) return;
  if_open<keep<&Client::messages>>(c, e, argument);
  if (c.messages.size() > kMessages) {
    c.messages.erase(c.messages.begin());
    c.more_older = true;
  }
  mark_read(c, e, argument);
}

// Its text and, when the media were replaced, their members.
void on_message_update(Client& c, const Event& e, std::string_view) {
  const auto message = c.messages.find(e.num("id"));
  if (message == c.messages.end()) return;
  message->second.members.try_emplace("edit_date", "1");
  for (const auto& [name, value] : e.members) message->second.members[name] = value;
}

void on_message_sent(Client& c, const Event& e, std::string_view argument) {
  auto message = c.messages.extract(e.num("old_id"));
  if (message.empty()) return;
  message.key() = e.num("new_id", e.num("old_id"));
  message.mapped().members["id"] = std::to_string(message.key());
  message.mapped().members["sending_state"] = argument;
  message.mapped().members["error"] = e.str("error");
  if (e.says("date")) message.mapped().members["date"] = e.str("date");
  c.messages.insert(std::move(message));
}

void on_messages_deleted(Client& c, const Event& e, std::string_view) {
  if (e.on("from_cache")) return;  // they still exist
  for (const std::string_view id : array_items(e.str("message_ids")))
    c.messages.erase(std::strtoll(std::string(id).c_str(), nullptr, 10));
}

void on_notify(Client& c, const Event& e, std::string_view) {
  c.notifications.push_back(e);
  if (c.notifications.size() > 100) c.notifications.erase(c.notifications.begin());
}

void on_notify_withdrawn(Client& c, const Event& e, std::string_view) {
  withdraw(c, e.num("chat_id"), e.num("message_id"));
}

// Only the chats that are told again are still in the list.
void on_resync_begin(Client& c, const Event&, std::string_view) {
  for (auto& [id, chat] : c.chats) chat.members.erase("order");
}

void on_resync_end(Client& c, const Event&, std::string_view) {
  if (c.open_chat != 0) open_chat(c, c.open_chat);
}

void on_resolved(Client& c, const Event& e, std::string_view) { open_chat(c, e.num("chat_id")); }

constexpr std::string_view kMessageWords =
    "{chat_id:from}, {id}: {text}{media_type? [{media_type}]}";
constexpr std::string_view kItemWords =
    "{date:time}  {sender_name?{sender_name}: }{media_type?[{media_type:spaced}"
    "{media_name? {media_name}}] }{text}{url?  {url}}";

constexpr EventType kEvents[] = {
    {"auth_error", keep_last, "", "The {what} was refused: {message} ({code})"},
    {"auth_state", on_auth_state, "", "login: {state:spaced}"},
    {"backend_fatal", note},
    {"call_discard_gone", on_call_gone},
    {"call_update", keep_last, "",
     "Call with {user_name}{is_video?, video}: {state:spaced}{reason?, {reason:spaced}}"
     "{message?, {message}}"},
    {"chat", keep<&Client::chats>, "id",
     "chat {id}  {title}  [{chat_type:spaced}] {unread_count} unread{muted?, muted}: {last_text}"},
    {"chat_action", on_action, "", "{chat_id:from}: {action:spaced}"},
    {"chat_deleted", change<&Client::chats>, "chat_id order"},
    {"chat_draft", change<&Client::chats>, "chat_id draft=text"},
    {"chat_info", note},
    {"chat_last_message", change<&Client::chats>,
     "chat_id last_message_id=message_id last_date=date last_text=text last_outgoing=outgoing"},
    {"chat_marked", change<&Client::chats>, "chat_id marked_as_unread"},
    {"chat_mentions", change<&Client::chats>, "chat_id unread_mention_count"},
    {"chat_mute_toggled", change<&Client::chats>, "chat_id muted"},
    {"chat_notify", change<&Client::chats>, "chat_id muted"},
    {"chat_online_count", change<&Client::chats>, "chat_id online=count"},
    {"chat_position", change<&Client::chats>, "chat_id order pinned"},
    {"chat_read_outbox", change<&Client::chats>, "chat_id last_read_outbox_message_id"},
    {"chat_search_item", add_to_list, "/jump {id}", kItemWords},
    {"chat_title", change<&Client::chats>, "chat_id title"},
    {"chat_unread", change<&Client::chats>, "chat_id unread_count last_read_inbox_message_id"},
    {"chats_end", keep_last},
    {"code_info", keep_last, "",
     "It comes by {delivery:spaced}{pattern? to {pattern}}{length?, {length} digits}"
     "{timeout?; /resend after {timeout} s}"},
    {"command_end", on_command_end, "", "{command}: {ok?done}{error}"},
    {"connection_state", keep_last, "", "connection: {state:spaced}"},
    {"file", on_file, "id", "Downloaded: {path}"},
    {"file_progress", keep<&Client::files>, "id", "file {id}: {downloaded} of {total}"},
    {"file_stopped", change<&Client::files>, "id active"},
    {"goodbye", keep_last, "", "The backend has ended: {reason:spaced}"},
    {"history_begin", if_open<on_history_begin>},
    {"history_clear", if_open<clear_messages>},
    {"history_cleared", if_open<clear_messages>},
    {"history_end", if_open<on_history_end>},
    {"hub_notify_message", on_notify, "", "★ {chat_id:from}: {text}"},
    {"hub_notify_withdrawn", on_notify_withdrawn},
    {"me", keep_last, "", "logged in as {first_name} {last_name}"},
    {"message", if_open<keep<&Client::messages>>, "id", kMessageWords},
    {"message_new", on_message_new, "id", kMessageWords},
    {"message_pinned", if_open<change<&Client::messages>>, "id pinned"},
    {"message_reactions", if_open<change<&Client::messages>>, "id reactions"},
    {"message_reply_count", if_open<change<&Client::messages>>, "id reply_count"},
    {"message_send_acked", if_open<change<&Client::messages>>, "id sending_state"},
    {"message_send_failed", if_open<on_message_sent>, "failed"},
    {"message_send_succeeded", if_open<on_message_sent>},
    {"message_update", if_open<on_message_update>},
    {"messages_deleted", if_open<on_messages_deleted>},
    {"need", keep_last, "", "{what:asked}"},
    {"password_info", keep_last, "",
     "{hint?Hint: {hint}. }{has_recovery_email?There is a recovery e-mail address.}"},
    {"pinned_list_item", add_to_list, "/jump {id}", "{text}"},
    {"qr_link", keep_last, "", "Open this link on a device that is logged in: {link}"},
    {"resync_begin", on_resync_begin},
    {"resync_end", on_resync_end},
    {"search_chat", add_to_list, "/open {id}", "{title}  [{chat_type:spaced}] {id}"},
    {"shared_item", add_to_list, "/jump {id}", kItemWords},
    {"tg_resolve", on_resolved},
    {"upload_progress", keep<&Client::files>, "id", "file {id}: {uploaded} of {total}"},
    {"user", keep<&Client::users>, "id"},
    {"user_info", note},
};

const EventType* type_of(const Event& e) {
  const auto is = [&](const EventType& t) { return t.type == e.str("type"); };
  const auto it = std::find_if(std::begin(kEvents), std::end(kEvents), is);
  return it == std::end(kEvents) ? nullptr : it;
}

// --- how a member is shown ---

constexpr std::string_view kAsked[][2] = {
    {"phone", "Enter your telephone number, or /qr to use another device."},
    {"code", "Enter the code that was sent to you."},
    {"password", "Enter the password of the account."},
    {"email", "Enter your e-mail address."},
    {"email_code", "Enter the code from the e-mail."},
    {"name", "This number is new here: enter your first and last name."},
    {"purchase", "The service wants a payment that cannot be made here."},
};

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

std::string formatted(const Client& c, const Event& e, std::string_view name,
                      std::string_view format) {
  const std::string& text = e.str(name);
  const std::int64_t number = e.num(name);
  if (format == "base64") return base64(text);
  if (format == "file") return c.message(number).str("media_file_id");
  if (format == "sender") return sender_name(c, e);
  if (format == "from") {  // "Family: Ann", and "Ann" in her own chat
    const std::string title = chat_title(c, number);
    const std::string sender = sender_name(c, e);
    return title == sender ? title : title + ": " + sender;
  }
  if (format == "size") return size_text(number);
  if (format == "time") return number > 0 ? clock_text(number, "%d %b %H:%M") : "";
  if (format == "length") {
    const std::string seconds = std::to_string(100 + number % 60);
    return std::to_string(number / 60) + ":" + seconds.substr(1);
  }
  if (format == "asked") {
    for (const auto& [what, words] : kAsked) {
      if (what == text) return std::string(words);
    }
  }
  return spaced(text);
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

void take_event(Client& client, const Event& event) {
  const EventType* type = type_of(event);
  if (type && type->take) type->take(client, event, type->argument);
}

std::string in_words(const Client& client, const Event& event, std::string_view words) {
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
      if (event.says(name)) out += in_words(client, event, inside.substr(end + 1));
    } else {
      out += formatted(client, event, name, inside.substr(end + 1));
    }
  }
  return out.append(words);
}

std::string describe(const Client& client, const Event& event) {
  if (event.members.empty()) return {};
  const EventType* type = type_of(event);
  if (type && !type->words.empty()) return in_words(client, event, type->words);
  std::string out = spaced(event.str("type"));
  if (event.says("chat_id")) out += ", " + chat_title(client, event.num("chat_id"));
  out += ":";
  for (const auto& [name, value] : event.members) {
    if (name != "type" && name != "chat_id" && name != "seq")
      out.append(" ").append(name).append("=").append(value);
  }
  return out;
}
