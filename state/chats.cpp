#include "state/chats.h"

#include "frame/answer.h"
#include "json/walk.h"

Chat& chat_record(ChatTable& table, std::int64_t chat_id) { return table.chats[chat_id]; }

const Chat* find_chat(const ChatTable& table, std::int64_t chat_id) {
  const auto found = table.chats.find(chat_id);
  return found == table.chats.end() ? nullptr : &found->second;
}

bool chat_filtered(const ChatTable& table, std::int64_t chat_id) {
  const Chat* chat = find_chat(table, chat_id);
  return chat != nullptr && chat->is_member == false;
}

std::string_view chat_title(const ChatTable& table, std::int64_t chat_id) {
  const Chat* chat = find_chat(table, chat_id);
  return chat == nullptr ? std::string_view() : std::string_view(chat->title);
}

static std::int64_t chat_in(const std::unordered_map<std::int64_t, std::int64_t>& chats,
                            std::int64_t id) {
  const auto found = chats.find(id);
  return found == chats.end() ? 0 : found->second;
}

std::int64_t private_chat_of(const ChatTable& table, std::int64_t user_id) {
  return chat_in(table.peer_user_chat_id_cache, user_id);
}

std::int64_t basic_group_chat(const ChatTable& table, std::int64_t basic_group_id) {
  return chat_in(table.basic_group_chats, basic_group_id);
}

std::int64_t supergroup_chat(const ChatTable& table, std::int64_t supergroup_id) {
  return chat_in(table.supergroup_chats, supergroup_id);
}

bool chat_muted(const ChatTable& table, std::int64_t chat_id, bool& muted) {
  muted = false;
  const Chat* chat = find_chat(table, chat_id);
  if (chat == nullptr || !chat->notify.known) return false;
  if (!chat->notify.use_default_mute_for) {
    muted = chat->notify.mute_for > 0;
    return true;
  }
  const ScopeDefault& scope = table.scope_defaults[static_cast<std::size_t>(chat->scope)];
  if (chat->scope == NotifyScope::kUnknown || !scope.known) return false;
  muted = scope.mute_for > 0;
  return true;
}

static NotifyScope scope_of(std::string_view chat_type) {
  if (chat_type == "private" || chat_type == "secret") return NotifyScope::kPrivate;
  if (chat_type == "basic_group" || chat_type == "supergroup") return NotifyScope::kGroup;
  return chat_type == "channel" ? NotifyScope::kChannel : NotifyScope::kUnknown;
}

// Chats that were never muted have the same settings word for word. Those with a time of their own
// differ with every second, and are not worth remembering.
static std::shared_ptr<const std::string> keep_settings(ChatTable& table, std::string_view settings,
                                                        bool use_default) {
  if (!use_default) return std::make_shared<const std::string>(settings);
  const auto found = table.shared_settings.find(settings);
  if (found != table.shared_settings.end()) return found->second;
  const auto kept = std::make_shared<const std::string>(settings);
  return table.shared_settings.emplace(*kept, kept).first->second;
}

bool record_notification_settings(ChatTable& table, Chat& chat, std::string_view settings) {
  ChatNotifySettingsCache read{true, 0, false};
  const bool parsed =
      extract_chat_notification_settings(settings, read.mute_for, read.use_default_mute_for);
  if (parsed) chat.notify = read;
  // Kept to be sent back with a change, which needs all of it.
  const bool whole = skip_value(settings, 0) == settings.size();
  if (whole && (parsed || chat.notification_settings == nullptr)) {
    chat.notification_settings = keep_settings(table, settings, read.use_default_mute_for);
  }
  return parsed;
}

// A secret chat stands for its user only while there is no private one: who opens "the chat with
// Ann" means the ordinary one.
static void record_peer(ChatTable& table, std::int64_t chat_id, std::string_view chat_type,
                        std::int64_t user_id) {
  if (user_id < 1) return;
  if (chat_type == "private") table.peer_user_chat_id_cache[user_id] = chat_id;
  if (chat_type == "secret") table.peer_user_chat_id_cache.try_emplace(user_id, chat_id);
}

static void record_group(ChatTable& table, std::int64_t chat_id, std::string_view type_object) {
  const std::int64_t basic = member_int(type_object, "basic_group_id", 0);
  const std::int64_t super = member_int(type_object, "supergroup_id", 0);
  if (basic >= 1) table.basic_group_chats[basic] = chat_id;
  if (super >= 1) table.supergroup_chats[super] = chat_id;
}

std::int64_t fill_chat_record(ChatTable& table, const ChatObject& object) {
  const std::int64_t chat_id = object.id;
  if (chat_id == 0) return 0;
  Chat& chat = chat_record(table, chat_id);
  if (object.title) chat.title = *object.title;
  const std::string_view type = parse_chat_type(object.type);
  if (type != "unknown") {
    chat.scope = scope_of(type);
    record_peer(table, chat_id, type, member_int(object.type, "user_id", 0));
    record_group(table, chat_id, object.type);
  }
  if (!object.notification_settings.empty()) {
    (void)record_notification_settings(table, chat, object.notification_settings);
  }
  return chat_id;
}

void set_chat_member(ChatTable& table, std::int64_t chat_id, bool is_member) {
  if (chat_id == 0) return;
  Chat& chat = chat_record(table, chat_id);
  chat.is_member = is_member;
  if (!is_member) chat.row_written = false;
}

void forget_chat_row(ChatTable& table, std::int64_t chat_id) {
  const auto found = table.chats.find(chat_id);
  if (found != table.chats.end()) found->second.row_written = false;
}

std::string make_get_chat(std::int64_t chat_id) {
  return make_id_request("getChat", "chat_id", chat_id);
}

void ensure_chat_known(ChatTable& table, const TdClient& td, std::int64_t chat_id) {
  if (chat_id == 0) return;
  Chat& chat = chat_record(table, chat_id);
  if (chat.row_written || chat.fetch_pending || chat.is_member == false) return;
  if (!table.loads.empty()) {
    if (!chat.fetch_missed) table.missed.push_back(chat_id);
    chat.fetch_missed = true;
    return;
  }
  chat.fetch_pending = true;
  td_request(td, make_get_chat(chat_id), make_tag("liveGetChat", chat_id));
}
