#include "console/model.h"

#include <algorithm>

#include "console/text.h"

namespace {

std::vector<Reaction> read_reactions(const Event& e) {
  std::vector<Reaction> reactions;
  for (const std::string_view item : array_items(e.str("reactions"))) {
    Event r;
    if (read_object(item, r)) reactions.push_back({r.str("emoji"), r.num("count"), r.on("chosen")});
  }
  return reactions;
}

void read_media(const Event& e, Message& m) {
  m.media_type = e.str("media_type");
  m.media_name = e.str("media_name");
  m.file = e.num("media_file_id");
  m.size = e.num("media_size");
  m.w = e.num("media_w");
  m.h = e.num("media_h");
  m.duration = e.num("media_duration");
}

Message read_message(const Event& e) {
  Message m;
  m.text = e.str("text");
  m.content_type = e.str("content_type");
  m.state = e.str("sending_state");
  m.sender_name = e.str("sender_name");
  m.sender_user = e.num("sender_user_id");
  m.sender_chat = e.num("sender_chat_id");
  m.date = e.num("date");
  m.edit_date = e.num("edit_date");
  m.reply_to = e.num("reply_to_message_id");
  m.reply_quote = e.str("reply_quote");
  m.reply_count = e.num("reply_count");
  m.forwarded = e.on("forwarded");
  m.forward_from = e.str("forward_from");
  m.outgoing = e.on("outgoing");
  m.reactions = read_reactions(e);
  read_media(e, m);
  return m;
}

// The row of a chat that is known; null for others, whose "chat" is still to come.
Chat* row(Model& m, const Event& e) {
  const auto it = m.chats.find(e.num("chat_id"));
  return it == m.chats.end() ? nullptr : &it->second;
}

Message* shown(Model& m, const Event& e, std::string_view id_name = "id") {
  if (e.num("chat_id") != m.open_chat) return nullptr;
  const auto it = m.messages.find(e.num(id_name));
  return it == m.messages.end() ? nullptr : &it->second;
}

void on_auth_state(Model& m, const Event& e) {
  if (m.auth != e.str("state")) {
    m.login_facts.clear();
    m.login_error.clear();
    m.qr_link.clear();
    m.need.clear();
  }
  m.auth = e.str("state");
}

void on_need(Model& m, const Event& e) { m.need = e.str("what"); }

void on_code_info(Model& m, const Event& e) {
  std::string fact = "It comes by " + e.str("delivery");
  if (e.has("pattern")) fact += " to " + e.str("pattern");
  if (e.num("length") > 0) fact += ", " + e.str("length") + " digits";
  if (e.num("timeout") > 0) fact += "; /resend after " + e.str("timeout") + " s";
  m.login_facts = {fact};
}

void on_password_info(Model& m, const Event& e) {
  m.login_facts.clear();
  if (!e.str("hint").empty()) m.login_facts.push_back("Hint: " + e.str("hint"));
  if (e.on("has_recovery_email")) m.login_facts.emplace_back("There is a recovery e-mail address.");
}

void on_qr_link(Model& m, const Event& e) { m.qr_link = e.str("link"); }

void on_auth_error(Model& m, const Event& e) { m.login_error = e.str("message"); }

void on_me(Model& m, const Event& e) {
  m.me = e.num("id");
  m.my_name = e.str("first_name");
  if (!e.str("last_name").empty()) m.my_name += " " + e.str("last_name");
}

void on_user(Model& m, const Event& e) {
  m.users[e.num("id")] = {e.str("name"), e.str("status_type"), e.num("was_online")};
}

void on_chat(Model& m, const Event& e) {
  Chat& c = m.chats[e.num("id")];
  c.title = e.str("title");
  c.type = e.str("chat_type");
  // A private chat has its user's id.
  if (c.type == "private") c.user_id = e.num("user_id", e.num("id"));
  if (c.type == "secret") c.user_id = e.num("user_id");
  c.order = e.num("order");
  c.unread = e.num("unread_count");
  c.mentions = e.num("unread_mention_count");
  c.marked = e.on("marked_as_unread");
  c.pinned = e.on("pinned");
  c.muted = e.on("muted");
  c.draft = e.str("draft");
  c.read_inbox = e.num("last_read_inbox_message_id");
  c.read_outbox = e.num("last_read_outbox_message_id");
  c.last_message = e.num("last_message_id");
  c.last_date = e.num("last_date");
  c.last_text = e.str("last_text");
  c.last_outgoing = e.on("last_outgoing");
  c.told = true;
}

void on_chats_end(Model& m, const Event& e) { m.more_chats = e.on("has_more"); }

void on_chat_position(Model& m, const Event& e) {
  Chat* c = row(m, e);
  if (!c) return;
  c->order = e.num("order");
  c->pinned = e.on("pinned");
}

void on_chat_last_message(Model& m, const Event& e) {
  Chat* c = row(m, e);
  if (!c) return;
  c->last_message = e.num("message_id");
  c->last_date = e.num("date");
  c->last_text = e.str("text");
  c->last_outgoing = e.on("outgoing");
}

void on_chat_unread(Model& m, const Event& e) {
  Chat* c = row(m, e);
  if (!c) return;
  c->unread = e.num("unread_count");
  c->read_inbox = e.num("last_read_inbox_message_id", c->read_inbox);
}

// The events that change one member of a row.
template <std::int64_t Chat::*kMember>
void set_number(Chat& c, const Event& e, std::string_view name) {
  c.*kMember = e.num(name);
}
template <bool Chat::*kMember>
void set_flag(Chat& c, const Event& e, std::string_view name) {
  c.*kMember = e.on(name);
}
template <std::string Chat::*kMember>
void set_text(Chat& c, const Event& e, std::string_view name) {
  c.*kMember = e.str(name);
}

struct RowMember {
  std::string_view type, member;
  void (*set)(Chat&, const Event&, std::string_view);
};
constexpr RowMember kRowMembers[] = {
    {"chat_mentions", "unread_mention_count", set_number<&Chat::mentions>},
    {"chat_read_outbox", "last_read_outbox_message_id", set_number<&Chat::read_outbox>},
    {"chat_online_count", "count", set_number<&Chat::online>},
    {"chat_marked", "marked_as_unread", set_flag<&Chat::marked>},
    {"chat_notify", "muted", set_flag<&Chat::muted>},
    {"chat_mute_toggled", "muted", set_flag<&Chat::muted>},
    {"chat_title", "title", set_text<&Chat::title>},
    {"chat_draft", "text", set_text<&Chat::draft>},
};

void on_chat_action(Model& m, const Event& e) {
  Chat* c = row(m, e);
  if (!c) return;
  const std::int64_t sender = e.num("sender_user_id", e.num("sender_chat_id"));
  if (e.str("action") == "cancel") {
    c->actions.erase(sender);
  } else {
    c->actions[sender] = e.str("action");
  }
}

void on_chat_gone(Model& m, const Event& e) {
  if (Chat* c = row(m, e)) c->order = 0;
}

void on_history_begin(Model& m, const Event& e) {
  if (e.num("chat_id") != m.open_chat || !e.on("clear")) return;
  m.messages.clear();
  m.at_newest = e.num("from_message_id") == 0;
  m.more_older = true;
}

void on_history_clear(Model& m, const Event& e) {
  if (e.num("chat_id") == m.open_chat) m.messages.clear();
}

void on_history_end(Model& m, const Event& e) {
  if (e.num("chat_id") != m.open_chat) return;
  m.history_loaded = true;
  if (e.on("newer")) {
    m.at_newest = !e.on("has_more");
  } else if (!e.on("clear")) {
    m.more_older = e.on("has_more");
  }
}

void on_message(Model& m, const Event& e) {
  if (e.num("chat_id") != m.open_chat) return;
  const bool pinned = m.messages[e.num("id")].pinned;
  Message message = read_message(e);
  message.pinned = pinned;
  m.messages[e.num("id")] = std::move(message);
}

void on_message_new(Model& m, const Event& e) {
  // While older pages are shown, a new message would stand behind a hole.
  if (m.at_newest) on_message(m, e);
  if (Chat* c = row(m, e)) {
    c->actions.erase(e.num("sender_user_id"));
    c->actions.erase(e.num("sender_chat_id"));
  }
}

void on_message_update(Model& m, const Event& e) {
  Message* message = shown(m, e);
  if (!message) return;
  message->text = e.str("text");
  message->edit_date = e.num("edit_date", std::max<std::int64_t>(message->edit_date, 1));
  if (e.has("media_type")) read_media(e, *message);
}

void on_send_succeeded(Model& m, const Event& e) {
  if (e.num("chat_id") != m.open_chat) return;
  auto node = m.messages.extract(e.num("old_id"));
  if (node.empty()) return;
  node.key() = e.num("new_id");
  node.mapped().state.clear();
  node.mapped().date = e.num("date");
  m.messages.insert(std::move(node));
}

void on_send_failed(Model& m, const Event& e) {
  if (e.num("chat_id") != m.open_chat) return;
  auto node = m.messages.extract(e.num("old_id"));
  if (node.empty()) return;
  node.key() = e.num("new_id", e.num("old_id"));
  node.mapped().state = "failed";
  node.mapped().error = e.str("error");
  m.messages.insert(std::move(node));
}

void on_message_acked(Model& m, const Event& e) {
  if (Message* message = shown(m, e)) message->state = "acked";
}

void on_reply_count(Model& m, const Event& e) {
  if (Message* message = shown(m, e)) message->reply_count = e.num("reply_count");
}

void on_reactions(Model& m, const Event& e) {
  if (Message* message = shown(m, e)) message->reactions = read_reactions(e);
}

void on_messages_deleted(Model& m, const Event& e) {
  if (e.num("chat_id") != m.open_chat || e.on("from_cache")) return;
  for (const std::string_view id : array_items(e.str("message_ids"))) {
    m.messages.erase(std::strtoll(std::string(id).c_str(), nullptr, 10));
  }
}

void on_history_cleared(Model& m, const Event& e) {
  if (e.num("chat_id") == m.open_chat) m.messages.clear();
}

void on_message_pinned(Model& m, const Event& e) {
  if (Message* message = shown(m, e)) message->pinned = e.on("pinned");
}

void on_pinned_message(Model& m, const Event& e) {
  if (e.num("chat_id") != m.open_chat) return;
  m.pinned_id = e.num("id");
  m.pinned_text = e.str("text");
}

void on_pinned_none(Model& m, const Event& e) {
  if (e.num("chat_id") == m.open_chat) m.pinned_id = 0;
}

void on_progress(Model& m, const Event& e) {
  File& f = m.files[e.num("id")];
  f.upload = e.str("type") == "upload_progress";
  f.done = e.num(f.upload ? "uploaded" : "downloaded");
  f.total = e.num("total");
  f.active = e.on("active");
}

void on_file(Model& m, const Event& e) {
  File& f = m.files[e.num("id")];
  f.active = f.upload = false;
  f.path = e.str("path");
}

void on_file_stopped(Model& m, const Event& e) { m.files[e.num("id")].active = false; }

void on_connection(Model& m, const Event& e) { m.connection = e.str("state"); }

void on_notify(Model& m, const Event& e) {
  Notification n{e.num("chat_id"), e.num("message_id"), e.str("chat_title"), e.str("text")};
  if (!e.str("sender_name").empty() && e.str("sender_name") != n.title) {
    n.text = e.str("sender_name") + ": " + n.text;
  }
  m.notifications.push_back(std::move(n));
  if (m.notifications.size() > 100) m.notifications.pop_front();
}

// Older ones of the same chat go with it.
void on_notify_withdrawn(Model& m, const Event& e) {
  auto& all = m.notifications;
  const auto goes = [&](const Notification& n) {
    return n.chat_id == e.num("chat_id") && n.message_id <= e.num("message_id");
  };
  all.erase(std::remove_if(all.begin(), all.end(), goes), all.end());
}

void on_call_update(Model& m, const Event& e) {
  Call& c = m.call;
  c.id = e.num("call_id");
  c.user_id = e.num("user_id", c.user_id);
  c.who = e.str("user_name").empty() ? e.str("chat_title") : e.str("user_name");
  c.state = e.str("state");
  c.reason = e.str(e.has("reason") ? "reason" : "message");
  c.outgoing = e.on("outgoing");
  c.video = e.on("is_video");
}

void on_call_discard_gone(Model& m, const Event& e) {
  if (m.call.id == e.num("call_id")) m.call.state = "callStateDiscarded";
}

// Rows and ends of the lists to choose from. The request number, or for a chat's pinned messages
// the chat, tells whose they are.
void on_result(Model& m, const Event& e) {
  if (e.has("req") && e.num("req") != m.results.request) return;
  const std::string& type = e.str("type");
  const std::string& id = e.str("id");
  std::string text;
  if (type == "search_chat") {
    text = e.str("title") + "  " + e.str("chat_type");
  } else if (type == "proxy_item") {
    text = e.str("server") + ":" + e.str("port") + "  " + e.str("kind");
    if (e.on("enabled")) text += "  in use";
  } else {
    if (e.num("date") > 0) text = clock_text(e.num("date"), "%d %b %H:%M  ");
    if (e.has("sender_name")) text += e.str("sender_name") + ": ";
    text += e.str(!e.str("media_name").empty() ? "media_name" : "text");
    if (e.str("text").empty() && e.str("media_name").empty())
      text += "[" + e.str("media_type") + "]";
    if (!e.str("url").empty()) text += "  " + e.str("url");
  }
  m.results.rows.push_back({text, type == "search_chat"  ? "/open " + id
                                  : type == "proxy_item" ? "/proxy on " + e.str("proxy_id")
                                                         : "/jump " + id});
}

void on_results_end(Model& m, const Event& e) {
  if (!e.has("req") || e.num("req") == m.results.request) m.results.complete = true;
}

void on_resync_begin(Model& m, const Event&) {
  for (auto& [id, chat] : m.chats) chat.told = false;
}

void on_resync_end(Model& m, const Event&) {
  for (auto& [id, chat] : m.chats) {
    if (!chat.told) chat.order = 0;
  }
}

void on_hello(Model& m, const Event& e) { m.mode = e.str("mode"); }

void on_goodbye(Model& m, const Event& e) { m.goodbye = e.str("reason"); }

struct Handler {
  std::string_view type;
  void (*run)(Model&, const Event&);
};
constexpr Handler kHandlers[] = {
    {"auth_error", on_auth_error},
    {"auth_state", on_auth_state},
    {"call_discard_gone", on_call_discard_gone},
    {"call_update", on_call_update},
    {"chat", on_chat},
    {"chat_action", on_chat_action},
    {"chat_deleted", on_chat_gone},
    {"chat_last_message", on_chat_last_message},
    {"chat_position", on_chat_position},
    {"chat_search_end", on_results_end},
    {"chat_search_item", on_result},
    {"chat_unread", on_chat_unread},
    {"chats_end", on_chats_end},
    {"code_info", on_code_info},
    {"connection_state", on_connection},
    {"file", on_file},
    {"file_progress", on_progress},
    {"file_stopped", on_file_stopped},
    {"goodbye", on_goodbye},
    {"hello", on_hello},
    {"history_begin", on_history_begin},
    {"history_clear", on_history_clear},
    {"history_cleared", on_history_cleared},
    {"history_end", on_history_end},
    {"hub_notify_message", on_notify},
    {"hub_notify_withdrawn", on_notify_withdrawn},
    {"me", on_me},
    {"message", on_message},
    {"message_new", on_message_new},
    {"message_pinned", on_message_pinned},
    {"message_reactions", on_reactions},
    {"message_reply_count", on_reply_count},
    {"message_send_acked", on_message_acked},
    {"message_send_failed", on_send_failed},
    {"message_send_succeeded", on_send_succeeded},
    {"message_update", on_message_update},
    {"messages_deleted", on_messages_deleted},
    {"need", on_need},
    {"password_info", on_password_info},
    {"pinned_list_end", on_results_end},
    {"pinned_list_item", on_result},
    {"pinned_message", on_pinned_message},
    {"pinned_none", on_pinned_none},
    {"proxy_item", on_result},
    {"proxy_list_end", on_results_end},
    {"qr_link", on_qr_link},
    {"resync_begin", on_resync_begin},
    {"resync_end", on_resync_end},
    {"search_chat", on_result},
    {"search_end", on_results_end},
    {"shared_end", on_results_end},
    {"shared_item", on_result},
    {"upload_progress", on_progress},
    {"user", on_user},
};

std::string spaced(const std::string& words) {
  std::string out = words;
  std::replace(out.begin(), out.end(), '_', ' ');
  return out;
}

}  // namespace

void apply(Model& model, const Event& event) {
  const std::string& type = event.str("type");
  for (const RowMember& change : kRowMembers) {
    Chat* chat = change.type == type ? row(model, event) : nullptr;
    if (chat) change.set(*chat, event, change.member);
  }
  for (const Handler& handler : kHandlers) {
    if (handler.type == type) handler.run(model, event);
  }
}

std::vector<std::int64_t> chat_order(const Model& model) {
  std::vector<std::int64_t> ids;
  for (const auto& [id, chat] : model.chats) {
    if (chat.order != 0) ids.push_back(id);
  }
  std::sort(ids.begin(), ids.end(), [&](std::int64_t a, std::int64_t b) {
    const std::int64_t first = model.chats.at(a).order;
    const std::int64_t second = model.chats.at(b).order;
    return first != second ? first > second : a > b;
  });
  return ids;
}

std::string chat_title(const Model& model, std::int64_t chat_id) {
  const auto it = model.chats.find(chat_id);
  if (it == model.chats.end()) return "chat " + std::to_string(chat_id);
  return it->second.title.empty() ? "(no title)" : it->second.title;
}

std::string sender_name(const Model& model, std::int64_t chat_id, const Message& message) {
  if (message.outgoing) return "You";
  if (!message.sender_name.empty()) return message.sender_name;
  const auto user = model.users.find(message.sender_user);
  if (user != model.users.end() && !user->second.name.empty()) return user->second.name;
  if (message.sender_user != 0) return "user " + std::to_string(message.sender_user);
  return chat_title(model, message.sender_chat != 0 ? message.sender_chat : chat_id);
}

std::string presence(const Model& model, std::int64_t chat_id) {
  const auto it = model.chats.find(chat_id);
  if (it == model.chats.end()) return {};
  const Chat& chat = it->second;
  if (!chat.actions.empty()) {
    const auto& [sender, action] = *chat.actions.begin();
    const auto user = model.users.find(sender);
    const std::string who =
        user == model.users.end() ? chat_title(model, sender) : user->second.name;
    return who + ": " + spaced(action) + "…";
  }
  if (chat.online > 0) return std::to_string(chat.online) + " online";
  const auto user = model.users.find(chat.user_id);
  if (user == model.users.end()) return spaced(chat.type);
  const User& known = user->second;
  if (known.was_online > 0) return "last seen " + clock_text(known.was_online, "%d %b %H:%M");
  return known.status == "empty" ? "" : spaced(known.status);
}

void show_chat(Model& model, std::int64_t chat_id) {
  model.open_chat = chat_id;
  model.messages.clear();
  model.more_older = false;
  model.at_newest = true;
  model.history_loaded = false;
  model.pinned_id = 0;
}
