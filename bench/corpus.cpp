#include "bench/corpus.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <string_view>

namespace {

constexpr std::int64_t kChat = -1001234567890;
constexpr int kDate = 1760000000;

std::string number(std::int64_t value) { return std::to_string(value); }
std::string int64_text(std::int64_t value) { return '"' + number(value) + '"'; }
std::string flag(bool value) { return value ? "true" : "false"; }

// A JSON string of a UTF-8 text, its non-ASCII characters in UTF-16 escapes.
std::string quoted(std::string_view text) {
  std::string out = "\"";
  const auto unit = [&out](unsigned value) {
    char escape[8];
    std::snprintf(escape, sizeof escape, "\\u%04x", value & 0xFFFF);
    out += escape;
  };
  for (std::size_t at = 0; at < text.size();) {
    const auto lead = static_cast<unsigned char>(text[at]);
    if (lead < 0x80) {
      if (lead == '"' || lead == '\\') out += '\\';
      if (lead == '\n') {
        out += "\\n";
      } else {
        out += static_cast<char>(lead);
      }
      ++at;
      continue;
    }
    const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    unsigned code = lead & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
      code = code << 6 | (static_cast<unsigned char>(text[at + i]) & 0x3FU);
    }
    at += length;
    if (code >= 0x10000) {
      unit(0xD800 + ((code - 0x10000) >> 10));
      unit(0xDC00 + (code & 0x3FF));
    } else {
      unit(code);
    }
  }
  return out + '"';
}

struct Member {
  const char* key;
  std::string value;  // raw; an empty one is a null and left out
};

std::string object(const char* type, std::initializer_list<Member> members) {
  std::string out = std::string("{\"@type\":\"") + type + '"';
  for (const Member& member : members) {
    if (!member.value.empty()) out += std::string(",\"") + member.key + "\":" + member.value;
  }
  return out + '}';
}

std::string array(const std::vector<std::string>& values) {
  std::string out = "[";
  for (const std::string& value : values) {
    if (out.size() > 1) out += ',';
    out += value;
  }
  return out + ']';
}

std::string with_tail(std::string object_text, const std::string& extra) {
  object_text.pop_back();
  if (!extra.empty()) object_text += ",\"@extra\":" + quoted(extra);
  return object_text + ",\"@client_id\":1}";
}

// Letters as they stand in file ids and picture data; the same for the same seed.
std::string noise(std::uint32_t seed, std::size_t length) {
  constexpr char kLetters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  for (std::size_t i = 0; i < length; ++i) {
    seed = seed * 1664525 + 1013904223;
    out += kLetters[seed >> 26];
  }
  return out;
}

std::string file(int id, int size) {
  return object(
      "file",
      {{"id", number(id)},
       {"size", number(size)},
       {"expected_size", number(size)},
       {"local", object("localFile", {{"path", quoted("")},
                                      {"can_be_downloaded", "true"},
                                      {"can_be_deleted", "false"},
                                      {"is_downloading_active", "false"},
                                      {"is_downloading_completed", "false"},
                                      {"download_offset", "0"},
                                      {"downloaded_prefix_size", "0"},
                                      {"downloaded_size", "0"}})},
       {"remote",
        object("remoteFile", {{"id", quoted("AgACAgIAAx" + noise(static_cast<unsigned>(id), 70))},
                              {"unique_id", quoted("AQAD" + noise(static_cast<unsigned>(id), 12))},
                              {"is_uploading_active", "false"},
                              {"is_uploading_completed", "true"},
                              {"uploaded_size", number(size)}})}});
}

std::string minithumbnail(int seed) {
  return object("minithumbnail", {{"width", "40"},
                                  {"height", "30"},
                                  {"data", quoted("/9j/4AAQSkZJRgABAQAAAQABAAD/2wBDACgcHiMeGSgjIS" +
                                                  noise(static_cast<unsigned>(seed), 560))}});
}

std::string photo_size(const char* type, int id, int width, int height) {
  return object("photoSize",
                {{"type", quoted(type)},
                 {"photo", file(id, width * height / 7)},
                 {"width", number(width)},
                 {"height", number(height)},
                 {"progressive_sizes", width < 1000 ? "[]" : "[11520,28311,40012,66100,98034]"}});
}

std::string photo(int id) {
  return object(
      "photo",
      {{"has_stickers", "false"},
       {"minithumbnail", minithumbnail(id)},
       {"sizes", array({photo_size("m", id + 1, 320, 240), photo_size("y", id + 2, 1280, 960)})}});
}

std::string thumbnail(int id) {
  return object("thumbnail", {{"format", object("thumbnailFormatJpeg", {})},
                              {"width", "320"},
                              {"height", "180"},
                              {"file", file(id, 14002)}});
}

std::string entity(int offset, int length, const std::string& type) {
  return object("textEntity",
                {{"offset", number(offset)}, {"length", number(length)}, {"type", type}});
}

std::string formatted(std::string_view text, const std::vector<std::string>& entities = {}) {
  return object("formattedText", {{"text", quoted(text)}, {"entities", array(entities)}});
}

std::string user_sender(std::int64_t id) {
  return object("messageSenderUser", {{"user_id", number(id)}});
}
std::string chat_sender(std::int64_t id) {
  return object("messageSenderChat", {{"chat_id", number(id)}});
}
std::int64_t user_id(int index) { return 5100000000 + index % 23 * 7919; }
std::int64_t message_id(int index) { return std::int64_t{90000 - index} << 20; }

constexpr std::string_view kLines[] = {
    "See you at seven, then. I'll bring the \"good\" coffee and the map.",
    "Доброе утро! Кто едет в субботу на дачу? Мест в машине ещё два, выезд в девять.",
    "ok",
    R"(The build is green again; the flaky one was the clock test. Release notes follow tonight.
If anyone still sees the old behaviour on the second device, send me the log and the exact time,
please: {"retry":true} in the config is not needed any more.)",
    "Понял, спасибо 👍",
    "Did you read this? It explains why the ferry does not run on Mondays, and what to do instead.",
};
std::string_view line(int index) { return kLines[static_cast<unsigned>(index) % 6]; }

std::string reactions(int index) {
  const auto reaction = [index](const char* emoji, int count, bool chosen) {
    return object(
        "messageReaction",
        {{"type", object("reactionTypeEmoji", {{"emoji", quoted(emoji)}})},
         {"total_count", number(count)},
         {"is_chosen", flag(chosen)},
         {"used_sender_id", chosen ? user_sender(user_id(0)) : std::string()},
         {"recent_sender_ids", array({user_sender(user_id(index + 1)), chat_sender(kChat - index),
                                      user_sender(user_id(index + 3))})}});
  };
  return object("messageReactions",
                {{"reactions", array({reaction("👍", 12 + index, index % 2 == 0),
                                      reaction("❤", 4, false), reaction("😁", 3, false)})},
                 {"are_tags", "false"},
                 {"paid_reactors", "[]"},
                 {"can_get_added_reactions", "true"}});
}

std::string interaction_info(int index) {
  return object("messageInteractionInfo",
                {{"view_count", number(index % 5 == 0 ? 15230 : 0)},
                 {"forward_count", number(index % 5)},
                 {"reply_info",
                  index % 4 == 0 ? object("messageReplyInfo",
                                          {{"reply_count", number(index)},
                                           {"recent_replier_ids", array({user_sender(user_id(9))})},
                                           {"last_read_inbox_message_id", number(message_id(3))},
                                           {"last_read_outbox_message_id", number(message_id(4))},
                                           {"last_message_id", number(message_id(1))}})
                                 : std::string()},
                 {"reactions", index % 3 == 0 ? reactions(index) : std::string()}});
}

std::string forward_info(int index) {
  return object(
      "messageForwardInfo",
      {{"origin", object("messageOriginChannel", {{"chat_id", number(kChat - 77)},
                                                  {"message_id", number(message_id(50))},
                                                  {"author_signature", quoted("J. Doe")}})},
       {"date", number(kDate - 86400)},
       {"source", object("forwardSource", {{"chat_id", number(kChat - 78)},
                                           {"message_id", number(message_id(51))},
                                           {"sender_id", user_sender(user_id(index))},
                                           {"sender_name", quoted("")},
                                           {"date", number(kDate - 80000)},
                                           {"is_outgoing", flag(index % 2 == 0)}})},
       {"public_service_announcement_type", quoted("")}});
}

std::string reply_to(int index) {
  const bool elsewhere = index % 14 == 6;
  return object(
      "messageReplyToMessage",
      {{"chat_id", number(elsewhere ? kChat - 5 : kChat)},
       {"message_id", number(message_id(index + 5))},
       {"quote",
        object("textQuote",
               {{"text", formatted(line(index + 1))}, {"position", "4"}, {"is_manual", "true"}})},
       {"checklist_task_id", "0"},
       {"origin", elsewhere ? object("messageOriginUser", {{"sender_user_id", number(user_id(2))}})
                            : std::string()},
       {"origin_send_date", number(elsewhere ? kDate - 90000 : 0)},
       {"content", elsewhere ? object("messageText", {{"text", formatted(line(index + 2))}})
                             : std::string()}});
}

std::string link_preview(int id) {
  return object("linkPreview",
                {{"url", quoted("https://example.org/ferry/timetable?line=4&lang=en")},
                 {"display_url", quoted("example.org/ferry/timetable")},
                 {"site_name", quoted("Example Harbour")},
                 {"title", quoted("Why the ferry rests on Mondays")},
                 {"description", formatted("The timetable of line 4, \"summer\" and winter, with "
                                           "the replacement bus and its stops.")},
                 {"author", quoted("")},
                 {"type", object("linkPreviewTypeArticle", {{"photo", photo(id)}})},
                 {"has_large_media", "true"},
                 {"show_large_media", "false"},
                 {"show_media_above_description", "false"},
                 {"skip_confirmation", "false"},
                 {"show_above_text", "false"},
                 {"instant_view_version", "2"}});
}

std::string text_content(int index, bool preview) {
  std::vector<std::string> entities;
  if (index % 6 == 3) entities.push_back(entity(0, 9, object("textEntityTypeBold", {})));
  if (preview) {
    entities.push_back(entity(
        13, 4, object("textEntityTypeTextUrl", {{"url", quoted("https://example.org/ferry/")}})));
  }
  return object("messageText",
                {{"text", formatted(line(index), entities)},
                 {"link_preview", preview ? link_preview(2000 + index * 8) : std::string()},
                 {"link_preview_options",
                  preview ? object("linkPreviewOptions", {{"is_disabled", "false"},
                                                          {"url", quoted("")},
                                                          {"force_small_media", "false"},
                                                          {"force_large_media", "false"},
                                                          {"show_above_text", "false"}})
                          : std::string()}});
}

std::string photo_content(int index) {
  return object("messagePhoto", {{"photo", photo(3000 + index * 8)},
                                 {"caption", formatted(index % 2 == 0 ? line(index) : "")},
                                 {"show_caption_above_media", "false"},
                                 {"has_spoiler", "false"},
                                 {"is_secret", "false"}});
}

std::string video_content(int index) {
  const int id = 4000 + index * 8;
  return object("messageVideo", {{"video", object("video", {{"duration", "31"},
                                                            {"width", "1280"},
                                                            {"height", "720"},
                                                            {"file_name", quoted("IMG_0042.MOV")},
                                                            {"mime_type", quoted("video/mp4")},
                                                            {"has_stickers", "false"},
                                                            {"supports_streaming", "true"},
                                                            {"minithumbnail", minithumbnail(id)},
                                                            {"thumbnail", thumbnail(id + 1)},
                                                            {"video", file(id + 2, 8123456)}})},
                                 {"alternative_videos", "[]"},
                                 {"storyboards", "[]"},
                                 {"start_timestamp", "0"},
                                 {"caption", formatted("")},
                                 {"show_caption_above_media", "false"},
                                 {"has_spoiler", "false"},
                                 {"is_secret", "false"}});
}

std::string sticker(int id) {
  return object("sticker", {{"id", int64_text(4913510000000000 + id)},
                            {"set_id", int64_text(1258816259751983)},
                            {"width", "512"},
                            {"height", "512"},
                            {"emoji", quoted("😀")},
                            {"format", object("stickerFormatTgs", {})},
                            {"full_type", object("stickerFullTypeRegular", {})},
                            {"thumbnail", thumbnail(id + 1)},
                            {"sticker", file(id + 2, 31337)}});
}

std::string content(int index) {
  const int id = 5000 + index * 8;
  switch (index % 10) {
    case 1: return text_content(5, true);
    case 2:
    case 3: return photo_content(index);
    case 5: return video_content(index);
    case 6: return object("messageSticker", {{"sticker", sticker(id)}, {"is_premium", "false"}});
    case 7:
      return object("messageVoiceNote",
                    {{"voice_note", object("voiceNote", {{"duration", "7"},
                                                         {"waveform", quoted(noise(77, 84))},
                                                         {"mime_type", quoted("audio/ogg")},
                                                         {"voice", file(id, 28112)}})},
                     {"caption", formatted("")},
                     {"is_listened", "true"}});
    case 8:
      if (index % 20 == 8) {
        return object("messageChatAddMembers",
                      {{"member_user_ids", array({number(user_id(4)), number(user_id(7))})}});
      }
      return object("messageAnimatedEmoji",
                    {{"animated_emoji", object("animatedEmoji", {{"sticker", sticker(id)},
                                                                 {"sticker_width", "512"},
                                                                 {"sticker_height", "512"},
                                                                 {"fitzpatrick_type", "0"}})},
                     {"emoji", quoted("🎉")}});
    default: return text_content(index, false);
  }
}

std::string message(int index, const std::string& message_content) {
  const bool by_channel = index % 9 == 4;
  return object(
      "message",
      {{"id", number(message_id(index))},
       {"sender_id", by_channel ? chat_sender(kChat - 300) : user_sender(user_id(index))},
       {"chat_id", number(kChat)},
       {"is_outgoing", flag(index % 6 == 1)},
       {"is_pinned", "false"},
       {"is_from_offline", "false"},
       {"can_be_saved", "true"},
       {"has_timestamped_media", "true"},
       {"is_channel_post", "false"},
       {"is_paid_star_suggested_post", "false"},
       {"is_paid_ton_suggested_post", "false"},
       {"contains_unread_mention", "false"},
       {"date", number(kDate - index * 37)},
       {"edit_date", number(index % 8 == 0 ? kDate : 0)},
       {"forward_info", index % 11 == 5 ? forward_info(index) : std::string()},
       {"interaction_info", index % 2 == 0 ? interaction_info(index) : std::string()},
       {"unread_reactions", "[]"},
       {"reply_to", index % 7 == 6 ? reply_to(index) : std::string()},
       {"self_destruct_in", "0"},
       {"auto_delete_in", "0"},
       {"via_bot_user_id", "0"},
       {"sender_business_bot_user_id", "0"},
       {"sender_boost_count", "0"},
       {"paid_message_star_count", "0"},
       {"author_signature", quoted("")},
       {"media_album_id",
        int64_text(index % 10 == 2 || index % 10 == 3 ? 13870000000000000 + index / 10 : 0)},
       {"effect_id", int64_text(0)},
       {"summary_language_code", quoted("")},
       {"content", message_content}});
}

std::string page(const std::vector<std::string>& messages, int total) {
  return object("messages", {{"total_count", number(total)}, {"messages", array(messages)}});
}

// About 1 MiB: posts near the length limit in a script that TDLib writes as escapes only.
std::string long_posts_page() {
  std::string post;
  while (post.size() < 3300) post += kLines[1];
  std::vector<std::string> messages;
  messages.reserve(100);
  for (int i = 0; i < 100; ++i) {
    messages.push_back(message(i, object("messageText", {{"text", formatted(post)}})));
  }
  return with_tail(page(messages, 5120), "history:7:-1001234567890:0:100");
}

std::string profile_photo(const char* type, const std::string& id, int file_id) {
  return object(type, {{"id", id},
                       {"small", file(file_id, 9120)},
                       {"big", file(file_id + 1, 61220)},
                       {"minithumbnail", minithumbnail(file_id)},
                       {"has_animation", "false"},
                       {"is_personal", "false"}});
}

std::string user() {
  return object(
      "user",
      {{"id", number(user_id(3))},
       {"first_name", quoted("Ана")},
       {"last_name", quoted("O'Neill \"Ace\"")},
       {"usernames", object("usernames", {{"active_usernames", "[\"ana_harbour\",\"ana_h\"]"},
                                          {"disabled_usernames", "[]"},
                                          {"editable_username", quoted("ana_harbour")},
                                          {"collectible_usernames", "[]"}})},
       {"phone_number", quoted("15550100199")},
       {"status", object("userStatusOnline", {{"expires", number(kDate + 300)}})},
       {"profile_photo", profile_photo("profilePhoto", int64_text(5310000000000000111), 1200)},
       {"accent_color_id", "4"},
       {"background_custom_emoji_id", int64_text(0)},
       {"profile_accent_color_id", "-1"},
       {"profile_background_custom_emoji_id", int64_text(0)},
       {"emoji_status",
        object("emojiStatus",
               {{"type", object("emojiStatusTypeCustomEmoji",
                                {{"custom_emoji_id", int64_text(5370870691140737817)}})},
                {"expiration_date", "0"}})},
       {"is_contact", "true"},
       {"is_mutual_contact", "true"},
       {"is_close_friend", "false"},
       {"is_premium", "true"},
       {"is_support", "false"},
       {"restricts_new_chats", "false"},
       {"paid_message_star_count", "0"},
       {"have_access", "true"},
       {"type", object("userTypeRegular", {})},
       {"language_code", quoted("en")},
       {"added_to_attachment_menu", "false"}});
}

std::string permissions() {
  return object("chatPermissions", {{"can_send_basic_messages", "true"},
                                    {"can_send_audios", "true"},
                                    {"can_send_documents", "true"},
                                    {"can_send_photos", "true"},
                                    {"can_send_videos", "true"},
                                    {"can_send_video_notes", "true"},
                                    {"can_send_voice_notes", "true"},
                                    {"can_send_polls", "true"},
                                    {"can_send_other_messages", "true"},
                                    {"can_add_link_previews", "true"},
                                    {"can_change_info", "false"},
                                    {"can_invite_users", "true"},
                                    {"can_pin_messages", "false"},
                                    {"can_create_topics", "false"}});
}

std::string notification_settings() {
  return object("chatNotificationSettings",
                {{"use_default_mute_for", "false"},
                 {"mute_for", "2147483647"},
                 {"use_default_sound", "true"},
                 {"sound_id", int64_text(-1)},
                 {"use_default_show_preview", "true"},
                 {"show_preview", "false"},
                 {"use_default_mute_stories", "true"},
                 {"mute_stories", "false"},
                 {"use_default_story_sound", "true"},
                 {"story_sound_id", int64_text(-1)},
                 {"use_default_show_story_poster", "true"},
                 {"show_story_poster", "false"},
                 {"use_default_disable_pinned_message_notifications", "true"},
                 {"disable_pinned_message_notifications", "false"},
                 {"use_default_disable_mention_notifications", "true"},
                 {"disable_mention_notifications", "false"}});
}

std::string position(const std::string& list, std::int64_t order) {
  return object("chatPosition",
                {{"list", list}, {"order", int64_text(order)}, {"is_pinned", "false"}});
}

std::string chat() {
  const std::string main_list = object("chatListMain", {});
  const std::string folder = object("chatListFolder", {{"chat_folder_id", "3"}});
  return object(
      "chat",
      {{"id", number(kChat)},
       {"type",
        object("chatTypeSupergroup", {{"supergroup_id", "1234567890"}, {"is_channel", "false"}})},
       {"title", quoted("Паром & friends \"4\"")},
       {"photo", profile_photo("chatPhotoInfo", "", 1300)},
       {"accent_color_id", "2"},
       {"background_custom_emoji_id", int64_text(0)},
       {"profile_accent_color_id", "-1"},
       {"profile_background_custom_emoji_id", int64_text(0)},
       {"permissions", permissions()},
       {"last_message", message(12, content(12))},
       {"positions",
        array({position(folder, 17000000000000001), position(main_list, 7557684413372170241)})},
       {"chat_lists", array({main_list, folder})},
       {"has_protected_content", "false"},
       {"is_translatable", "false"},
       {"is_marked_as_unread", "false"},
       {"view_as_topics", "false"},
       {"has_scheduled_messages", "false"},
       {"can_be_deleted_only_for_self", "false"},
       {"can_be_deleted_for_all_users", "false"},
       {"can_be_reported", "true"},
       {"default_disable_notification", "false"},
       {"unread_count", "17"},
       {"last_read_inbox_message_id", number(message_id(17))},
       {"last_read_outbox_message_id", number(message_id(20))},
       {"unread_mention_count", "1"},
       {"unread_reaction_count", "0"},
       {"notification_settings", notification_settings()},
       {"available_reactions", object("chatAvailableReactionsAll", {{"max_reaction_count", "11"}})},
       {"message_auto_delete_time", "0"},
       {"video_chat", object("videoChat", {{"group_call_id", "0"}, {"has_participants", "false"}})},
       {"reply_markup_message_id", "0"},
       {"client_data", quoted("")}});
}

std::string chat_ids() {
  std::vector<std::string> ids;
  ids.reserve(200);
  for (int i = 0; i < 200; ++i) {
    ids.push_back(number(i % 3 == 0 ? kChat - i * 104729 : user_id(i) + i));
  }
  return object("chats", {{"total_count", "200"}, {"chat_ids", array(ids)}});
}

}  // namespace

std::string corpus_message(int index) { return message(index, content(index)); }

std::string corpus_history_page(int count, const std::string& extra) {
  std::vector<std::string> messages;
  messages.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) messages.push_back(corpus_message(i));
  return with_tail(page(messages, 5120), extra);
}

const std::vector<CorpusText>& corpus() {
  static const std::vector<CorpusText> texts = {
      {"option", with_tail(object("updateOption",
                                  {{"name", quoted("is_premium_available")},
                                   {"value", object("optionValueBoolean", {{"value", "true"}})}}),
                           "")},
      {"user", with_tail(object("updateUser", {{"user", user()}}), "")},
      {"message",
       with_tail(object("updateNewMessage", {{"message", message(3, text_content(3, false))}}),
                 "")},
      {"chat", with_tail(object("updateNewChat", {{"chat", chat()}}), "")},
      {"chat_ids", with_tail(chat_ids(), "getChats:3")},
      {"history", corpus_history_page(100, "history:7:-1001234567890:0:100")},
      {"long_posts", long_posts_page()},
  };
  return texts;
}

const std::string& corpus_text(const char* name) {
  for (const CorpusText& entry : corpus()) {
    if (std::string_view(entry.name) == name) return entry.text;
  }
  std::abort();
}
