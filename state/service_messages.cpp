#include "state/service_messages.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <map>
#include <set>
#include <tuple>
#include <utility>

#include "frame/channels.h"
#include "json/scan.h"
#include "json/walk.h"
#include "state/message.h"
#include "state/message_content.h"
#include "state/message_events.h"
#include "state/users.h"

std::unordered_map<MsgKey, PendingServiceMessage, MsgKeyHash, MsgKeyEq> g_pending_service_messages;

namespace {

constexpr unsigned kMaxMembers = 16;

// Which remembered sentences name a user: (user, chat, message). Ordered, so that all of one user
// stand together and one of them leaves without a look at the others, however many there are.
using NamedIn = std::tuple<std::int64_t, std::int64_t, std::int64_t>;
std::set<NamedIn> g_named_in;

// Beyond this the ones remembered first are forgotten.
constexpr std::size_t kMostPending = 1024;
std::map<std::uint64_t, MsgKey> g_pending_order;  // by PendingServiceMessage::number

// The names of a sentence while it is built.
struct Names {
  std::vector<std::int64_t>& missing;
  std::vector<std::int64_t> user_ids;  // all who are named

  std::string of(std::int64_t user_id) {
    if (user_id >= 1) user_ids.push_back(user_id);
    return resolve_user_name(user_id, missing);
  }
};

std::string added_sentence(const std::vector<std::int64_t>& members, std::int64_t sender,
                           Names& names) {
  const bool joined = members.size() == 1 && sender != 0 && members.front() == sender;
  std::string text = names.of(sender);
  if (joined) return text + " joined the group";
  if (members.empty()) return text + " added members";
  text += " added ";
  if (members.size() == 1) return text + names.of(members.front());
  return text + std::to_string(members.size()) + " members";
}

std::string removed_sentence(std::int64_t subject, std::int64_t sender, Names& names) {
  if (sender != 0 && subject == sender) return names.of(subject) + " left the chat";
  std::string text = names.of(sender) + " removed ";
  return subject >= 1 ? text + names.of(subject) : text + "a member";
}

std::string title_sentence(const std::string& title, std::int64_t sender, Names& names) {
  std::string text = names.of(sender) + " changed chat title";
  return title.empty() ? text : text + " to \"" + title + "\"";
}

std::string sentence(std::string_view type, std::string_view message_json, Names& names) {
  const std::int64_t sender = extract_sender_user_id(member_object(message_json, "sender_id"));
  const std::string_view content = member_object(message_json, "content");
  if (type == "messageChatAddMembers" || type == "messageChatAddedMembers") {
    return added_sentence(extract_json_int64_array_field(content, "member_user_ids", kMaxMembers),
                          sender, names);
  }
  const std::int64_t user_id = std::max<std::int64_t>(member_int(content, "user_id", 0), 0);
  // A join names nobody where the one who joined is the sender.
  const std::int64_t joined = user_id != 0 ? user_id : sender;
  if (type == "messageChatJoinByLink") return names.of(joined) + " joined via invite link";
  if (type == "messageChatJoinByRequest") return names.of(joined) + " joined (approved)";
  if (type == "messageChatDeleteMember") return removed_sentence(user_id, sender, names);
  if (type == "messageChatChangeTitle") {
    return title_sentence(member_string(content, "title"), sender, names);
  }
  return names.of(sender) + " pinned a message";
}

bool is_service_type(std::string_view content_type) {
  static constexpr std::string_view kTypes[] = {
      "messageChatAddMembers",    "messageChatAddedMembers", "messageChatJoinByLink",
      "messageChatJoinByRequest", "messageChatDeleteMember", "messageChatChangeTitle",
      "messagePinMessage"};
  return std::find(std::begin(kTypes), std::end(kTypes), content_type) != std::end(kTypes);
}

void forget(const MsgKey& key) {
  const auto found = g_pending_service_messages.find(key);
  if (found == g_pending_service_messages.end()) return;
  for (const std::int64_t user_id : found->second.user_ids) {
    g_named_in.erase({user_id, key.chat_id, key.message_id});
  }
  g_pending_order.erase(found->second.number);
  g_pending_service_messages.erase(found);
}

void remember(PendingServiceMessage&& pending) {
  const MsgKey key{pending.chat_id, pending.message_id};
  forget(key);
  for (const std::int64_t user_id : pending.user_ids) {
    g_named_in.insert({user_id, key.chat_id, key.message_id});
  }
  static std::uint64_t last_number = 0;
  pending.number = ++last_number;
  g_pending_order.emplace(pending.number, key);
  g_pending_service_messages.emplace(key, std::move(pending));
  while (g_pending_service_messages.size() > kMostPending && !g_pending_order.empty()) {
    const MsgKey oldest = g_pending_order.begin()->second;
    g_pending_order.erase(g_pending_order.begin());
    forget(oldest);
  }
}

void rebuild(const std::vector<MsgKey>& keys) {
  std::vector<std::int64_t> missing;
  for (const MsgKey& key : keys) {
    const auto found = g_pending_service_messages.find(key);
    if (found == g_pending_service_messages.end()) continue;
    PendingServiceMessage& pending = found->second;
    missing.clear();
    std::string text =
        format_service_message_text(pending.content_type, pending.message_json, missing);
    if (!text.empty() && text != pending.text) {
      pending.text = std::move(text);
      emit_message_update_event(key.chat_id, key.message_id, pending.text);
    }
    if (missing.empty()) forget(key);
  }
}

}  // namespace

std::string format_service_message_text(std::string_view content_type,
                                        std::string_view message_json,
                                        std::vector<std::int64_t>& missing) {
  if (!is_service_type(content_type)) return {};
  Names names{missing, {}};
  return sentence(content_type, message_json, names);
}

std::string format_message_preview_and_track(std::int64_t chat_id, std::int64_t message_id,
                                             std::string_view content_type,
                                             std::string_view message_json) {
  if (!is_service_type(content_type)) return message_preview_fallback(content_type);
  std::vector<std::int64_t> missing;
  Names names{missing, {}};
  std::string text = sentence(content_type, message_json, names);
  if (text.empty()) text = message_preview_fallback(content_type);
  if (!g_hub_mode && !missing.empty() && chat_id != 0 && message_id != 0) {
    // What follows the message in the text is left out.
    const std::string_view message = message_json.substr(0, skip_value(message_json, 0));
    remember({chat_id, message_id, std::string(content_type), std::string(message), text,
              std::move(names.user_ids), 0});
  }
  return text;
}

void update_pending_service_messages() {
  if (g_pending_service_messages.empty()) return;
  std::vector<MsgKey> keys;
  keys.reserve(g_pending_service_messages.size());
  for (const auto& entry : g_pending_service_messages) keys.push_back(entry.first);
  rebuild(keys);
}

static std::vector<MsgKey> messages_that_name(std::int64_t user_id) {
  std::vector<MsgKey> keys;
  constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
  for (auto at = g_named_in.lower_bound({user_id, kLeast, kLeast});
       at != g_named_in.end() && std::get<0>(*at) == user_id; ++at) {
    keys.push_back({std::get<1>(*at), std::get<2>(*at)});
  }
  return keys;
}

void update_pending_service_messages(std::int64_t user_id) {
  if (!g_pending_service_messages.empty()) rebuild(messages_that_name(user_id));
}

void forget_service_messages_of(std::int64_t user_id) {
  for (const MsgKey& key : messages_that_name(user_id)) forget(key);
}
