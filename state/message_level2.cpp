#include "state/message_level2.h"

#include <cstdio>
#include <cstdlib>

#include "json/scan.h"
#include "json/text.h"
#include "json/walk.h"
#include "state/chats.h"
#include "state/message.h"
#include "state/message_content.h"
#include "state/users.h"

namespace {

const ChatTable* g_titles = nullptr;

std::string known_user_name(std::int64_t user_id) {
  const UserInfo* user = find_user(user_id);
  return user == nullptr ? std::string() : user_display_name(*user);
}

// A channel's signature says more than nothing where its title is not known.
std::string chat_origin_name(std::string_view origin, std::string_view key) {
  std::string title = known_chat_title(member_int(origin, key, 0));
  return title.empty() ? member_string(origin, "author_signature") : title;
}

std::string origin_name(std::string_view origin) {
  const std::string_view type = object_type(origin);
  if (type == "messageOriginUser") return known_user_name(member_int(origin, "sender_user_id", 0));
  if (type == "messageOriginHiddenUser") return member_string(origin, "sender_name");
  if (type == "messageOriginChat") return chat_origin_name(origin, "sender_chat_id");
  if (type == "messageOriginChannel") return chat_origin_name(origin, "chat_id");
  return {};
}

std::string formatted_text(std::string_view object, std::string_view key) {
  return member_string(member_object(object, key), "text");
}

std::string labelled(std::string_view label, const std::string& words) {
  std::string text(label);
  if (!words.empty()) text += ' ' + words;
  return text;
}

std::string sticker_words(std::string_view content) {
  const std::string emoji = member_string(member_object(content, "sticker"), "emoji");
  return emoji.empty() ? "[sticker]" : emoji + " [sticker]";
}

std::string poll_words(std::string_view content) {
  return labelled("[poll]", formatted_text(member_object(content, "poll"), "question"));
}

std::string contact_words(std::string_view content) {
  const std::string_view contact = member_object(content, "contact");
  std::string name = member_string(contact, "first_name");
  const std::string last_name = member_string(contact, "last_name");
  if (!name.empty() && !last_name.empty()) name += ' ';
  return labelled("[contact]", name + last_name);
}

double number_of(std::string_view object, std::string_view key) {
  return std::strtod(std::string(object_member(object, key)).c_str(), nullptr);
}

std::string location_words(std::string_view content) {
  const std::string_view location = member_object(content, "location");
  if (location.empty()) return "[location]";
  char place[64];
  std::snprintf(place, sizeof place, "[location] %.5f,%.5f", number_of(location, "latitude"),
                number_of(location, "longitude"));
  return place;
}

std::string venue_words(std::string_view content) {
  return labelled("[place]", member_string(member_object(content, "venue"), "title"));
}

// The value is 0 as long as the die rolls.
std::string dice_words(std::string_view content) {
  const std::int64_t value = member_int(content, "value", 0);
  const std::string emoji = member_string(content, "emoji");
  return value < 1 ? emoji : labelled(emoji, std::to_string(value));
}

std::string call_words(std::string_view content) {
  const std::string_view reason = object_type(member_object(content, "discard_reason"));
  if (reason == "callDiscardReasonMissed") return "[missed call]";
  return "[call] " + std::to_string(member_int(content, "duration", 0)) + " s";
}

struct WordsRow {
  std::string_view content_type;
  std::string (*words)(std::string_view content);
};
constexpr WordsRow kWordsRows[] = {
    {"messageSticker", sticker_words}, {"messagePoll", poll_words},
    {"messageContact", contact_words}, {"messageLocation", location_words},
    {"messageVenue", venue_words},     {"messageDice", dice_words},
    {"messageCall", call_words},
};

}  // namespace

void take_titles_from(const ChatTable& chats) { g_titles = &chats; }

std::string known_chat_title(std::int64_t chat_id) {
  return g_titles == nullptr ? std::string() : std::string(chat_title(*g_titles, chat_id));
}

MessageDetails read_message_details(std::int64_t chat_id, std::int64_t edit_date,
                                    std::string_view sender_id, std::string_view reply_to,
                                    std::string_view forward_info) {
  MessageDetails details;
  if (object_type(sender_id) == "messageSenderChat") {
    details.sender_chat_id = member_int(sender_id, "chat_id", 0);
  }
  details.edit_date = edit_date;
  if (object_type(reply_to) == "messageReplyToMessage") {
    const std::int64_t other = member_int(reply_to, "chat_id", 0);
    if (other != chat_id) details.reply_to_chat_id = other;
    details.reply_quote = formatted_text(member_object(reply_to, "quote"), "text");
  }
  if (!forward_info.empty()) {
    details.forward_from = origin_name(member_object(forward_info, "origin"));
  }
  return details;
}

void append_message_details(std::string& event, const MessagePreview& message) {
  const MessageDetails& details = message.details;
  if (details.sender_chat_id != 0) {
    append_int_member(event, "sender_chat_id", details.sender_chat_id);
  }
  if (details.edit_date >= 1) append_int_member(event, "edit_date", details.edit_date);
  if (details.reply_to_chat_id != 0) {
    append_int_member(event, "reply_to_chat_id", details.reply_to_chat_id);
  }
  if (!details.reply_quote.empty()) {
    append_string_member(event, "reply_quote", details.reply_quote);
  }
  if (!details.forward_from.empty()) {
    append_string_member(event, "forward_from", details.forward_from);
  }
}

std::string level2_content_words(std::string_view content) {
  const std::string_view type = object_type(content);
  for (const WordsRow& row : kWordsRows) {
    if (row.content_type == type) return row.words(content);
  }
  return {};
}
