// Chat objects as TDLib 1.8.61 writes them, members in its order. What nests in a chat carries
// members of the same names as the chat's own, with other values.
#pragma once

#include <cstdint>
#include <string>

struct ChatText {
  std::int64_t id = 0;
  std::string type;  // the "type" object
  std::string title = "Title";
  std::string photo;         // the "photo" object; empty: left out
  std::string last_message;  // the message object; empty: left out
  std::string positions;     // elements of the array
  std::string counters = R"("unread_count":3,"last_read_outbox_message_id":44)";
  std::string settings;  // empty: the defaults of the chat's scope
  std::string reactions = R"({"@type":"chatAvailableReactionsAll","max_reaction_count":11})";
};

inline std::string private_type(std::int64_t user_id) {
  return R"({"@type":"chatTypePrivate","user_id":)" + std::to_string(user_id) + "}";
}
inline std::string secret_type(std::int64_t secret_id, std::int64_t user_id) {
  return R"({"@type":"chatTypeSecret","secret_chat_id":)" + std::to_string(secret_id) +
         R"(,"user_id":)" + std::to_string(user_id) + "}";
}
inline std::string basic_type(std::int64_t group_id) {
  return R"({"@type":"chatTypeBasicGroup","basic_group_id":)" + std::to_string(group_id) + "}";
}
inline std::string super_type(std::int64_t group_id, bool is_channel) {
  return R"({"@type":"chatTypeSupergroup","supergroup_id":)" + std::to_string(group_id) +
         R"(,"is_channel":)" + (is_channel ? "true}" : "false}");
}

inline std::string mute_settings(bool use_default, std::int64_t mute_for) {
  return std::string(R"({"@type":"chatNotificationSettings","use_default_mute_for":)") +
         (use_default ? "true" : "false") + R"(,"mute_for":)" + std::to_string(mute_for) +
         R"(,"use_default_sound":true,"sound_id":"0","use_default_show_preview":true,)"
         R"("show_preview":true,"use_default_mute_stories":true,"mute_stories":false,)"
         R"("use_default_story_sound":true,"story_sound_id":"0",)"
         R"("use_default_show_story_poster":true,"show_story_poster":true,)"
         R"("use_default_disable_pinned_message_notifications":true,)"
         R"("disable_pinned_message_notifications":false,)"
         R"("use_default_disable_mention_notifications":true,)"
         R"("disable_mention_notifications":false})";
}

inline std::string position(const std::string& list, const std::string& order,
                            const char* pinned = "false") {
  return R"({"@type":"chatPosition","list":{"@type":")" + list +
         (list == "chatListFolder" ? R"(","chat_folder_id":2},"order":")" : R"("},"order":")") +
         order + R"(","is_pinned":)" + pinned + "}";
}

inline std::string photo_info(std::int64_t small_id, std::int64_t big_id) {
  const auto file = [](std::int64_t id) {
    return R"({"@type":"file","id":)" + std::to_string(id) +
           R"(,"size":5,"expected_size":5,"local":{"@type":"localFile","path":""},)"
           R"("remote":{"@type":"remoteFile","id":"AQ","unique_id":"AQ"}})";
  };
  return R"({"@type":"chatPhotoInfo","small":)" + file(small_id) + R"(,"big":)" + file(big_id) +
         R"(,"has_animation":false,"is_personal":false})";
}

// A forwarded photo with a title, a counter, a last read message, a photo, a type, a position
// marker and settings of its own.
inline std::string trap_message(std::int64_t chat_id, std::int64_t id) {
  return R"({"@type":"message","id":)" + std::to_string(id) +
         R"(,"sender_id":{"@type":"messageSenderChat","chat_id":-777},"chat_id":)" +
         std::to_string(chat_id) +
         R"(,"is_outgoing":false,"date":1700000001,"forward_info":{"@type":"messageForwardInfo",)"
         R"("origin":{"@type":"messageOriginChannel","chat_id":-888,"title":"Forwarded title"}},)"
         R"("interaction_info":{"@type":"messageInteractionInfo","reply_info":)"
         R"({"@type":"messageReplyInfo","reply_count":9,"last_read_outbox_message_id":8888,)"
         R"("unread_count":777}},"content":{"@type":"messagePhoto","photo":{"@type":"photo",)"
         R"("small":{"@type":"file","id":999},"sizes":[]},"caption":{"@type":"formattedText",)"
         R"("text":"look","entities":[]},"title":"Invoice title","type":{"@type":)"
         R"("chatTypePrivate","user_id":6666},"is_channel":true,"notification_settings":)"
         R"({"mute_for":5},"available_reactions":{"@type":"chatAvailableReactionsAll"}}})";
}

inline std::string chat_text(const ChatText& chat) {
  std::string text = R"({"@type":"chat","id":)" + std::to_string(chat.id) + R"(,"type":)" +
                     chat.type + R"(,"title":")" + chat.title + "\"";
  if (!chat.photo.empty()) text += R"(,"photo":)" + chat.photo;
  text += R"(,"accent_color_id":1,"permissions":{"@type":"chatPermissions"})";
  if (!chat.last_message.empty()) text += R"(,"last_message":)" + chat.last_message;
  text += R"(,"positions":[)" + chat.positions +
          R"(],"chat_lists":[{"@type":"chatListMain"}],"default_disable_notification":false)";
  if (!chat.counters.empty()) text += "," + chat.counters;
  text += R"(,"unread_mention_count":0,"notification_settings":)" +
          (chat.settings.empty() ? mute_settings(true, 0) : chat.settings) +
          R"(,"available_reactions":)" + chat.reactions +
          R"(,"message_auto_delete_time":0,"video_chat":{"@type":"videoChat","group_call_id":0},)"
          R"("reply_markup_message_id":0,"draft_message":{"@type":"draftMessage","date":5},)"
          R"("client_data":""})";
  return text;
}

inline std::string group_text(const std::string& kind, std::int64_t id, const std::string& status) {
  return R"({"@type":")" + kind + R"(","id":)" + std::to_string(id) +
         R"(,"member_count":12,"status":)" + status + R"(,"is_active":true})";
}
inline std::string status_text(const std::string& word) {
  return R"({"@type":"chatMemberStatus)" + word + R"("})";
}
