// Messages as TDLib writes them, with everything optional there and the same names nested in it,
// become records and event lines.
#include "state/message.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "state/message_content.h"
#include "state/message_events.h"
#include "state/reactions.h"
#include "state/users.h"
#include "tests/event_lines.h"
#include "tests/exact_text.h"

namespace {

using Strings = std::vector<std::string>;

std::string join(const Strings& parts) {
  std::string out;
  for (const std::string& part : parts) out += (out.empty() ? "" : ",") + part;
  return out;
}

std::string file(int id, int size = 5000) {
  return R"({"@type":"file","id":)" + std::to_string(id) + R"(,"size":)" + std::to_string(size) +
         R"(,"expected_size":99,"local":{"@type":"localFile","path":"","size":1,"id":2,)"
         R"("is_downloading_completed":false,"downloaded_size":0},"remote":{"@type":"remoteFile",)"
         R"("id":"AgAD","unique_id":"Aq","is_uploading_completed":true,"uploaded_size":7}})";
}

std::string formatted(const std::string& text) {
  return R"({"@type":"formattedText","text":")" + text +
         R"(","entities":[{"@type":"textEntity","offset":0,"length":2,"type":)"
         R"({"@type":"textEntityTypeTextUrl","url":"http://x/\"text\":\"bad\""}}]})";
}

std::string photo_size(int id, int width, int height) {
  return R"({"@type":"photoSize","type":"x","photo":)" + file(id) + R"(,"width":)" +
         std::to_string(width) + R"(,"height":)" + std::to_string(height) +
         R"(,"progressive_sizes":[100,200]})";
}

constexpr const char* kMinithumbnail =
    R"({"@type":"minithumbnail","width":40,"height":30,"data":"/9j/4AAQ"})";

std::string photo(const Strings& sizes) {
  return std::string(R"({"@type":"photo","has_stickers":false,"minithumbnail":)") + kMinithumbnail +
         R"(,"sizes":[)" + join(sizes) + "]}";
}

std::string thumbnail(int id) {
  return R"({"@type":"thumbnail","format":{"@type":"thumbnailFormatJpeg"},"width":320,)"
         R"("height":180,"file":)" +
         file(id) + "}";
}

std::string video(int id) {
  return std::string(R"({"@type":"video","duration":31,"width":1280,"height":720,)") +
         R"("file_name":"a.mp4","mime_type":"video/mp4","has_stickers":false,)"
         R"("supports_streaming":true,"minithumbnail":)" +
         kMinithumbnail + R"(,"thumbnail":)" + thumbnail(id + 1) + R"(,"video":)" + file(id) + "}";
}

std::string document(const std::string& name, const std::string& mime, int id) {
  return R"({"@type":"document","file_name":")" + name + R"(","mime_type":")" + mime +
         R"(","minithumbnail":)" + kMinithumbnail + R"(,"thumbnail":)" + thumbnail(id + 1) +
         R"(,"document":)" + file(id, 4242) + "}";
}

std::string link_preview() {
  return R"({"@type":"linkPreview","url":"http://x","title":"bad","description":)" +
         formatted("bad description") +
         R"(,"author":"","type":{"@type":"linkPreviewTypeVideo","video":)" + video(901) +
         R"(,"cover":)" + photo({photo_size(903, 800, 800)}) +
         R"(,"start_timestamp":3},"instant_view_version":2})";
}

std::string reaction(const std::string& type, const std::string& count, bool chosen) {
  return R"({"@type":"messageReaction","type":)" + type + R"(,"total_count":)" + count +
         R"(,"is_chosen":)" + (chosen ? "true" : "false") +
         R"(,"used_sender_id":{"@type":"messageSenderUser","user_id":21},"recent_sender_ids":)"
         R"([{"@type":"messageSenderUser","user_id":22}]})";
}

std::string emoji(const std::string& text) {
  return R"({"@type":"reactionTypeEmoji","emoji":")" + text + R"("})";
}

constexpr const char* kCustomEmoji =
    R"({"@type":"reactionTypeCustomEmoji","custom_emoji_id":"5000"})";

std::string interaction_info(const Strings& reactions) {
  return R"({"@type":"messageInteractionInfo","view_count":9,"forward_count":8,"reply_info":)"
         R"({"@type":"messageReplyInfo","reply_count":3,"recent_replier_ids":[)"
         R"({"@type":"messageSenderUser","user_id":11},{"@type":"messageSenderChat","chat_id":-12}],)"
         R"("last_read_inbox_message_id":1,"last_read_outbox_message_id":2,"last_message_id":4},)"
         R"("reactions":{"@type":"messageReactions","reactions":[)" +
         join(reactions) +
         R"(],"are_tags":false,"paid_reactors":[{"@type":"paidReactor","sender_id":)"
         R"({"@type":"messageSenderUser","user_id":23},"star_count":5,"total_count":9}],)"
         R"("can_get_added_reactions":true}})";
}

// All members but "@type" and "id", each raw; `content` last but one, as TDLib has it.
Strings real_members(const std::string& content) {
  return {
      R"("sender_id":{"@type":"messageSenderUser","user_id":77})",
      R"("chat_id":-100500)",
      R"("sending_state":{"@type":"messageSendingStateFailed","error":{"@type":"error","code":400,)"
      R"("message":"{\"@type\":\"messageSendingStatePending\"}"},"can_retry":true})",
      R"("scheduling_state":{"@type":"messageSchedulingStateSendAtDate","send_date":5,"date":6})",
      R"("is_outgoing":false)",
      R"("is_pinned":true)",
      R"("date":1700000000)",
      R"("edit_date":1700000100)",
      R"("forward_info":{"@type":"messageForwardInfo","origin":{"@type":"messageOriginChannel",)"
      R"("chat_id":-5,"message_id":6,"author_signature":"bad"},"date":16,"source":)"
      R"({"@type":"forwardSource","chat_id":-7,"message_id":8,"sender_id":)"
      R"({"@type":"messageSenderUser","user_id":9},"date":15,"is_outgoing":true}})",
      R"("import_info":{"@type":"messageImportInfo","sender_name":"bad","date":14})",
      R"("interaction_info":)" + interaction_info({reaction(emoji(R"(\u2764)"), "3", true),
                                                   reaction(kCustomEmoji, "9", true)}),
      R"("unread_reactions":[{"@type":"unreadReaction","type":)" + emoji("bad") +
          R"(,"sender_id":{"@type":"messageSenderUser","user_id":24},"is_big":false}])",
      R"("fact_check":{"@type":"factCheck","text":)" + formatted("bad check") + "}",
      R"("suggested_post_info":{"@type":"suggestedPostInfo","send_date":1,"date":2,)"
      R"("state":{"@type":"suggestedPostStatePending"}})",
      R"("reply_to":{"@type":"messageReplyToMessage","chat_id":-13,"message_id":14,"quote":)"
      R"({"@type":"textQuote","text":)" +
          formatted("bad quote") +
          R"(,"position":0},"origin":{"@type":"messageOriginUser","sender_user_id":25},)"
          R"("origin_send_date":13,"content":{"@type":"messagePhoto","photo":)" +
          photo({photo_size(904, 500, 500)}) + R"(,"caption":)" + formatted("bad caption") + "}}",
      R"("topic_id":{"@type":"messageTopicThread","message_thread_id":17})",
      R"("self_destruct_type":{"@type":"messageSelfDestructTypeTimer","self_destruct_time":5})",
      R"("via_bot_user_id":26)",
      R"("media_album_id":"77777777777777")",
      R"("content":)" + content,
      R"("reply_markup":{"@type":"replyMarkupInlineKeyboard","rows":[[)"
      R"({"@type":"inlineKeyboardButton","text":"bad button","content":{"@type":"messageBad"},)"
      R"("type":{"@type":"inlineKeyboardButtonTypeUrl","url":"http://bad"}}]]})",
  };
}

std::string message_of(const Strings& members) {
  return R"({"@type":"message","id":1001,)" + join(members) + "}";
}

std::string new_message(const std::string& message) {
  return R"({"@type":"updateNewMessage","message":)" + message + R"(,"@client_id":1})";
}

std::string event_of(std::string_view json, TextProfile profile = kFullMessage) {
  EventLines lines;
  MessagePreview message;
  Sender sender;
  if (!parse_first_message(json, profile, message, sender.user_id)) return "no message";
  emit_message_event(message.chat_id, 0, message, sender);
  return lines.take().front();
}

// The event of a message with the members above.
std::string real_event(const std::string& words, const std::string& media) {
  return R"({"type":"message","chat_id":-100500,"id":1001,"outgoing":false,)"
         R"("sending_state":"failed","date":1700000000,)" +
         words +
         R"(,"sender_user_id":77,"reply_to_message_id":14,"message_thread_id":17,)"
         R"("reply_count":3,"forwarded":true)" +
         (media.empty() ? "" : "," + media) + R"(,"reactions":[{"emoji":"❤","count":3,)" +
         R"("chosen":true}]})";
}

struct ContentCase {
  std::string content;
  std::string words;
  std::string media;
};

std::vector<ContentCase> content_cases() {
  const auto words = [](const std::string& type, const std::string& text) {
    return R"("content_type":")" + type + R"(","text":")" + text + '"';
  };
  const std::string caption = R"(,"caption":)" + formatted("own words");
  const std::string no_caption = R"(,"caption":)" + formatted("");
  return {
      {R"({"@type":"messageText","text":)" + formatted(R"(a \"b\"\n\u00e9\ud83d\ude00)") +
           R"(,"link_preview":)" + link_preview() + "}",
       words("messageText", R"(a \"b\"\né😀)"), ""},
      {R"({"@type":"messageAnimatedEmoji","animated_emoji":{"@type":"animatedEmoji","sticker":)"
       R"({"@type":"sticker","id":"12","width":512,"height":512,"emoji":"bad","thumbnail":)" +
           thumbnail(905) + R"(,"sticker":)" + file(906) +
           R"(},"sticker_width":512},"emoji":"\ud83c\udf89"})",
       words("messageAnimatedEmoji", "🎉"), ""},
      {R"({"@type":"messagePhoto","photo":)" +
           photo({photo_size(31, 90, 90), photo_size(32, 320, 320), photo_size(33, 800, 800),
                  photo_size(34, 2560, 2560)}) +
           caption + R"(,"is_secret":false})",
       words("messagePhoto", "own words"),
       R"("media_type":"photo","media_file_id":33,"media_w":800,"media_h":800)"},
      {R"({"@type":"messageVideo","video":)" + video(41) +
           R"(,"alternative_videos":[{"@type":"alternativeVideo","id":"1","width":99,"height":98,)"
           R"("codec":"h264","hls_file":)" +
           file(907) + R"(,"video":)" + file(908) +
           R"(}],"storyboards":[{"@type":"videoStoryboard","storyboard_file":)" + file(909) +
           R"(,"width":7,"height":8}],"cover":)" + photo({photo_size(910, 800, 800)}) + no_caption +
           "}",
       words("messageVideo", "[video]"),
       R"("media_type":"video","media_file_id":41,"media_thumb_file_id":42,"media_w":1280,)"
       R"("media_h":720,"media_duration":31)"},
      {std::string(R"({"@type":"messageVideoNote","video_note":{"@type":"videoNote",)") +
           R"("duration":12,"waveform":"A","length":240,"minithumbnail":)" + kMinithumbnail +
           R"(,"thumbnail":)" + thumbnail(52) +
           R"(,"speech_recognition_result":{"@type":"speechRecognitionResultText","text":"bad"},)"
           R"("video":)" +
           file(51) + R"(},"is_viewed":false,"is_secret":false})",
       words("messageVideoNote", "[video message]"),
       R"("media_type":"video_note","media_file_id":51,"media_thumb_file_id":52,"media_w":240,)"
       R"("media_duration":12)"},
      {R"({"@type":"messageVoiceNote","voice_note":{"@type":"voiceNote","duration":8,)"
       R"("waveform":"A","mime_type":"audio/ogg","voice":)" +
           file(61) + "}" + caption + "}",
       words("messageVoiceNote", "own words"),
       R"("media_type":"voice","media_file_id":61,"media_duration":8)"},
      {R"({"@type":"messageDocument","document":)" + document("r.pdf", "application/pdf", 71) +
           no_caption + "}",
       words("messageDocument", "r.pdf"),
       R"("media_type":"file","media_file_id":71,"media_name":"r.pdf","media_size":4242)"},
      {R"({"@type":"messageDocument","document":)" +
           document("clip.MOV", "application/octet-stream", 73) + no_caption + "}",
       words("messageDocument", "[video]"),
       R"("media_type":"video","media_file_id":73,"media_thumb_file_id":74,)"
       R"("media_name":"clip.MOV","media_size":4242)"},
      {R"({"@type":"messageSticker","sticker":{"@type":"sticker","id":"13","emoji":"x",)"
       R"("thumbnail":)" +
           thumbnail(911) + R"(,"sticker":)" + file(912) + R"(},"is_premium":false})",
       words("messageSticker", "[sticker]"), ""},
      {R"({"@type":"messagePoll","poll":{"@type":"poll","id":"14","question":)" +
           formatted("bad question") + R"(,"options":[{"@type":"pollOption","text":)" +
           formatted("bad option") +
           R"(,"is_chosen":true}],"total_voter_count":3,"close_date":9}})",
       words("messagePoll", "[messagePoll]"), ""},
      {R"({"@type":"messageAudio","audio":{"@type":"audio","duration":200,"file_name":"a.mp3",)"
       R"("mime_type":"audio/mpeg","album_cover_thumbnail":)" +
           thumbnail(913) + R"(,"audio":)" + file(914) + "}" + no_caption + "}",
       words("messageAudio", "[audio]"), ""},
      {R"({"@type":"messageAnimation","animation":{"@type":"animation","duration":2,"width":3,)"
       R"("height":4,"file_name":"a.mp4","mime_type":"video/mp4","animation":)" +
           file(915) + "}" + no_caption + "}",
       words("messageAnimation", "[gif]"), ""},
      {R"({"@type":"messageInvoice","product_info":{"@type":"productInfo","title":"bad",)"
       R"("description":)" +
           formatted("bad") + R"(,"photo":)" + photo({photo_size(916, 1, 1)}) +
           R"(},"paid_media_caption":)" + formatted("bad") + "}",
       words("messageInvoice", "[messageInvoice]"), ""},
  };
}

TEST(Message, EveryValueComesFromItsOwnObject) {
  for (const ContentCase& test : content_cases()) {
    const std::string expected = real_event(test.words, test.media);
    Strings members = real_members(test.content);
    EXPECT_EQ(event_of(new_message(message_of(members))), expected);

    std::reverse(members.begin(), members.end());
    EXPECT_EQ(event_of(new_message(message_of(members))), expected) << "reversed";

    for (std::size_t i = members.size(); i > 0; --i) {
      members.insert(members.begin() + static_cast<std::ptrdiff_t>(i),
                     R"("later)" + std::to_string(i) +
                         R"(":[{"chat_id":1,"date":2,"content":{"@type":"messageText","text":)"
                         R"({"@type":"formattedText","text":"bad"}}},"}]"])");
    }
    EXPECT_EQ(event_of(new_message(message_of(members))), expected) << "unknown members";
  }
}

TEST(Message, NewMessageLineHasItsOwnOrder) {
  EventLines lines;
  MessagePreview message;
  Sender sender;
  ASSERT_TRUE(parse_first_message(message_of(real_members(content_cases()[3].content)),
                                  kFullMessage, message, sender.user_id));
  sender.name = "Ann \"A\"";
  sender.photo_small_id = 5;
  emit_message_new_event(message, sender);
  emit_message_event(-9, 12, message, sender);
  emit_chat_last_message_event(-9, message);
  const Strings written = lines.take();
  ASSERT_EQ(written.size(), 3U);
  EXPECT_EQ(written[0],
            R"({"type":"message_new","chat_id":-100500,"id":1001,"outgoing":false,)"
            R"("sending_state":"failed","date":1700000000,"reply_to_message_id":14,)"
            R"("message_thread_id":17,"reply_count":3,"forwarded":true,)"
            R"("content_type":"messageVideo","text":"[video]","sender_user_id":77,)"
            R"("sender_name":"Ann \"A\"","sender_photo_small_id":5,"media_type":"video",)"
            R"("media_file_id":41,"media_thumb_file_id":42,"media_w":1280,"media_h":720,)"
            R"("media_duration":31,"reactions":[{"emoji":"❤","count":3,"chosen":true}]})");
  EXPECT_EQ(written[1].substr(0, 45), R"({"type":"message","chat_id":-9,"gen":12,"id":)");
  EXPECT_EQ(written[2],
            R"({"type":"chat_last_message","chat_id":-9,"message_id":1001,"outgoing":false,)"
            R"("date":1700000000,"content_type":"messageVideo","text":"[video]"})");
}

struct MemberCase {
  const char* name;
  std::string member;  // the message's only one beside chat, sender and content
  std::string field;   // what the event gains; empty: nothing
};

TEST(Message, OptionalMembers) {
  const MemberCase cases[] = {
      {"pending", R"("sending_state":{"@type":"messageSendingStatePending","sending_id":4})",
       R"("sending_state":"pending",)"},
      {"negative date", R"("date":-5)", ""},
      {"reply to a story",
       R"("reply_to":{"@type":"messageReplyToStory","story_poster_chat_id":5,"story_id":6})", ""},
      {"forum topic", R"("topic_id":{"@type":"messageTopicForum","forum_topic_id":6})", ""},
      {"no forward", R"("forward_info":null)", ""},
      {"no replies",
       R"("interaction_info":{"@type":"messageInteractionInfo","view_count":3,"forward_count":0})",
       ""},
      {"outgoing", R"("is_outgoing":true)", ""},
  };
  for (const MemberCase& test : cases) {
    const bool outgoing = test.name == std::string("outgoing");
    EXPECT_EQ(event_of(message_of({R"("chat_id":5)", test.member,
                                   R"("content":{"@type":"messageText","text":{"@type":)"
                                   R"("formattedText","text":"hi"}})"})),
              std::string(R"({"type":"message","chat_id":5,"id":1001,"outgoing":)") +
                  (outgoing ? "true," : "false,") + test.field +
                  R"("content_type":"messageText","text":"hi"})")
        << test.name;
  }
}

TEST(Message, SenderThatIsAChatIsNoUser) {
  Strings members = real_members(content_cases()[0].content);
  members[0] = R"("sender_id":{"@type":"messageSenderChat","chat_id":-31})";
  MessagePreview message;
  std::int64_t sender = -1;
  ASSERT_TRUE(parse_first_message(message_of(members), kFullMessage, message, sender));
  EXPECT_EQ(sender, 0);
  EXPECT_EQ(message.chat_id, -100500);
}

TEST(Message, TextIsCutAtTheProfilesBytes) {
  const std::string long_text(5000, 'x');
  const std::string json =
      message_of({R"("chat_id":5)",
                  R"("content":{"@type":"messageText","text":)" + formatted(long_text) + "}"});
  MessagePreview message;
  ASSERT_TRUE(parse_first_message(json, message, 4096, false));
  EXPECT_EQ(message.text, long_text.substr(0, 4096));
  ASSERT_TRUE(parse_first_message(json, message, 240, true));
  EXPECT_EQ(message.text, long_text.substr(0, 240) + "...");
  const std::string fits =
      message_of({R"("chat_id":5)", R"("content":{"@type":"messageText","text":)" +
                                        formatted(std::string(240, 'y')) + "}"});
  ASSERT_TRUE(parse_first_message(fits, message, 240, true));
  EXPECT_EQ(message.text, std::string(240, 'y'));
}

TEST(Message, NoMessageIsNone) {
  MessagePreview message;
  message.id = 7;
  for (const char* json : {"", "{}", R"({"@type":"message"})", R"({"@type":"message","id":"5"})",
                           R"({"@type":"message","id":99999999999999999999})",
                           R"({"text":"\"@type\":\"message\",\"id\":5"})"}) {
    EXPECT_FALSE(parse_first_message(json, message, 4096, false)) << json;
    EXPECT_EQ(message.id, 0) << json;
  }
  for (const char* json :
       {R"({"@type":"message","id": 5,"chat_id": 7})", R"({"@type":"message","id":)"
                                                       "\t\n"
                                                       R"(5,"chat_id":7})"}) {
    EXPECT_TRUE(parse_first_message(json, message, 4096, false)) << json;
    EXPECT_EQ(message.id, 5) << json;
    EXPECT_EQ(message.chat_id, 7) << json;
  }
}

// From a message that breaks off comes what the text still holds, wherever it is cut.
TEST(Message, BrokenOffMessageIsReadToItsEnd) {
  const std::string whole = message_of({
      R"("sender_id":{"@type":"messageSenderUser","user_id":77})",
      R"("chat_id":5)",
      R"("is_outgoing":true)",
      R"("date":12)",
      R"("forward_info":{"@type":"messageForwardInfo"})",
      R"("reply_to":{"@type":"messageReplyToMessage","message_id":14})",
      R"("topic_id":{"@type":"messageTopicThread","message_thread_id":17})",
      R"("content":{"@type":"messageDocument","document":{"@type":"document",)"
      R"("file_name":"r.pdf","mime_type":"x","thumbnail":{"file":{"@type":"file","id":72}},)"
      R"("document":{"@type":"file","id":71,"size":9,"local":{}}},"caption":)"
      R"({"@type":"formattedText","text":"words"}})",
  });
  const std::string all =
      R"({"type":"message","chat_id":5,"id":1001,"outgoing":true,"date":12,)"
      R"("content_type":"messageDocument","text":"words","sender_user_id":77,)"
      R"("reply_to_message_id":14,"message_thread_id":17,"forwarded":true,"media_type":"file",)"
      R"("media_file_id":71,"media_name":"r.pdf","media_size":9})";
  EXPECT_EQ(event_of(whole), all);
  for (std::size_t cut = 1; cut <= 3; ++cut) {
    EXPECT_EQ(event_of(whole.substr(0, whole.size() - cut)), all) << "cut " << cut;
  }
  const std::size_t caption = whole.find(R"(,"caption")");
  EXPECT_EQ(event_of(whole.substr(0, caption - 4)),
            R"({"type":"message","chat_id":5,"id":1001,"outgoing":true,"date":12,)"
            R"("content_type":"messageDocument","text":"r.pdf","sender_user_id":77,)"
            R"("reply_to_message_id":14,"message_thread_id":17,"forwarded":true,)"
            R"("media_type":"file","media_file_id":71,"media_name":"r.pdf","media_size":9})");
  EXPECT_EQ(event_of(whole.substr(0, whole.find(R"(,"content")"))),
            R"({"type":"message","chat_id":5,"id":1001,"outgoing":true,"date":12,)"
            R"("sender_user_id":77,"reply_to_message_id":14,"message_thread_id":17,)"
            R"("forwarded":true})");
}

template <class Value>
void expect_whole_or_absent(const Value& cut, const Value& whole, const Value& absent) {
  EXPECT_TRUE(cut == whole || cut == absent) << cut << " of " << whole;
}

// Cut anywhere, with not a byte behind it: a value is the whole message's or absent, and never one
// of the quoted message's, of a link preview's or of another object's around it.
TEST(Message, CutAtEveryByte) {
  for (const ContentCase& test : content_cases()) {
    const std::string text = message_of(real_members(test.content));
    MessagePreview whole;
    std::int64_t sender = 0;
    ASSERT_TRUE(parse_first_message(text, kFullMessage, whole, sender));
    for (std::size_t size = 0; size < text.size(); ++size) {
      const ExactText exact(std::string_view(text).substr(0, size));
      MessagePreview cut;
      if (!parse_first_message(exact.view(), kFullMessage, cut, sender)) continue;
      const MessagePreview none;
      ASSERT_EQ(cut.id, 1001);
      expect_whole_or_absent<std::int64_t>(sender, 77, 0);
      expect_whole_or_absent(cut.chat_id, whole.chat_id, none.chat_id);
      expect_whole_or_absent(cut.date, whole.date, none.date);
      expect_whole_or_absent(cut.reply_to_message_id, whole.reply_to_message_id, std::int64_t{0});
      expect_whole_or_absent(cut.message_thread_id, whole.message_thread_id, std::int64_t{0});
      expect_whole_or_absent(cut.reply_count, whole.reply_count, none.reply_count);
      expect_whole_or_absent(cut.sending_state, whole.sending_state, none.sending_state);
      expect_whole_or_absent(cut.content_type, whole.content_type, none.content_type);
      if (cut.text != whole.text) {
        EXPECT_EQ(cut.text, message_preview_fallback(cut.content_type)) << whole.text;
      }
      // Of the sizes of a photo those that are there are compared.
      const bool own_size = cut.media_file_id >= 31 && cut.media_file_id <= 34;
      if (!own_size) expect_whole_or_absent(cut.media_file_id, whole.media_file_id, none.id);
      expect_whole_or_absent(cut.media_thumb_file_id, whole.media_thumb_file_id, none.id);
      expect_whole_or_absent(cut.media_size, whole.media_size, none.id);
      expect_whole_or_absent(cut.media_name, whole.media_name, none.media_name);
      expect_whole_or_absent(cut.media_duration, whole.media_duration, none.media_duration);
      ASSERT_FALSE(HasFailure()) << "cut at " << size;
    }
  }
}

TEST(Message, MediaOfContentThatBreaksOff) {
  const std::string cases[][2] = {
      {R"({"@type":"messagePhoto","photo":{"sizes":[)" + photo_size(31, 90, 90) + "," +
           photo_size(32, 320, 200),
       R"("media_type":"photo","media_file_id":32,"media_w":320,"media_h":200)"},
      {R"({"@type":"messageVideo","video":)" + video(41).substr(0, video(41).size() - 40),
       R"("media_type":"video","media_file_id":41,"media_thumb_file_id":42,"media_w":1280,)"
       R"("media_h":720,"media_duration":31)"},
      {R"({"@type":"messageVoiceNote","voice_note":{"@type":"voiceNote","duration":8,"voice":)"
       R"({"@type":"file","id":61,)",
       R"("media_type":"voice","media_file_id":61,"media_duration":8)"},
      // Half a number is worth nothing.
      {R"({"@type":"messageVoiceNote","voice_note":{"@type":"voiceNote","voice":)"
       R"({"@type":"file","id":61)",
       R"("text":"[voice]")"},
  };
  for (const auto& test : cases) {
    const std::string json = R"({"@type":"message","id":1001,"chat_id":5,"content":)" + test[0];
    const std::string event = event_of(json);
    EXPECT_EQ(event.substr(event.size() - test[1].size() - 1), test[1] + "}");
  }
}

TEST(MessageMedia, PhotoSizes) {
  struct Case {
    const char* name;
    Strings sizes;
    std::int64_t file_id;  // 0: none
  };
  const auto raw = [](const char* id, int w, int h) {
    return R"({"@type":"photoSize","photo":{"@type":"file","id":)" + std::string(id) +
           R"(},"width":)" + std::to_string(w) + R"(,"height":)" + std::to_string(h) + "}";
  };
  const Case cases[] = {
      {"only a large one", {photo_size(1, 2560, 1920)}, 1},
      {"bounded before larger", {photo_size(1, 2560, 2560), photo_size(2, 1280, 1280)}, 2},
      {"one side too long", {photo_size(1, 1281, 10), photo_size(2, 5, 5)}, 2},
      {"first among equals", {photo_size(1, 20, 10), photo_size(2, 10, 20)}, 1},
      {"no size at all", {photo_size(1, 0, 9), photo_size(2, -3, 9)}, 1},
      {"another kind of size",
       {R"({"@type":"photoCached","photo":)" + file(1) + R"(,"width":9,"height":9})",
        photo_size(2, 1, 1)},
       2},
      {"ids that are none",
       {raw("0", 9, 9), raw("\"7\"", 9, 9), raw("-1", 9, 9), raw("99999999999999999999", 9, 9),
        raw("4", 1, 1)},
       4},
      {"none", {raw("0", 9, 9)}, 0},
  };
  for (const Case& test : cases) {
    const std::string json = R"({"@type":"messagePhoto","photo":)" + photo(test.sizes) + "}";
    std::int64_t file_id = 0;
    std::int32_t w = 0;
    std::int32_t h = 0;
    EXPECT_EQ(extract_message_photo_best_file(json, file_id, w, h), test.file_id != 0) << test.name;
    EXPECT_EQ(file_id, test.file_id) << test.name;
  }
  std::int64_t file_id = 0;
  std::int32_t w = 0;
  std::int32_t h = 0;
  EXPECT_TRUE(extract_message_photo_best_file(
      R"({"@type":"messagePhoto","photo":{"sizes":[{"@type":"photoSizeProgressive","photo":)" +
          file(6) + R"(,"width":3,"height":4}]}})",
      file_id, w, h));
  EXPECT_EQ(file_id, 6);
  EXPECT_EQ(w, 3);
  EXPECT_EQ(h, 4);
}

TEST(MessageMedia, DocumentsThatAreVideos) {
  const auto content = [](const std::string& name, const std::string& mime) {
    return R"({"@type":"messageDocument","document":)" + document(name, mime, 71) + "}";
  };
  for (const char* name : {"a.mp4", "a.MKV", "a.webm", "a.mov", "a.avi", "a.3GP"}) {
    EXPECT_TRUE(is_message_document_video(content(name, "application/octet-stream"))) << name;
  }
  EXPECT_TRUE(is_message_document_video(content("a.bin", "video/x-flv")));
  EXPECT_FALSE(is_message_document_video(content("mp4", "audio/mp4")));
  EXPECT_FALSE(is_message_document_video(content("a.mp4.zip", "application/zip")));
  EXPECT_FALSE(is_message_document_video(content_cases()[3].content)) << "a video is no document";
  EXPECT_EQ(extract_message_document_thumbnail_file_id(content("a", "b")), 72);
}

// A caption equal to the file's name, or to the substitute, counts as none.
TEST(MessageMedia, DocumentCaptions) {
  const auto text = [](const std::string& name, const std::string& caption) {
    MessagePreview message;
    parse_first_message(
        message_of({R"("content":{"@type":"messageDocument","document":)" +
                    document(name, "x", 71) + R"(,"caption":)" + formatted(caption) + "}"}),
        message, 4096, false);
    return message.text;
  };
  EXPECT_EQ(text("a.mov", "a.mov"), "[video]");
  EXPECT_EQ(text("a.mov", "[file]"), "[video]");
  EXPECT_EQ(text("a.mov", "words"), "words");
  EXPECT_EQ(text("a.txt", "[file]"), "a.txt");
  EXPECT_EQ(text("", ""), "[file]");
}

TEST(Reactions, KeepsEmojiOfTheFirst32) {
  const auto array = [](const Strings& reactions) {
    return extract_message_reactions_event_json_array(interaction_info(reactions));
  };
  EXPECT_EQ(array({reaction(kCustomEmoji, "3", true)}), "");
  EXPECT_EQ(array({}), "");
  EXPECT_EQ(
      array({reaction(emoji(""), "3", true), reaction(emoji("a"), "0", false),
             reaction(R"({"@type":"reactionTypePaid"})", "5", false),
             reaction(emoji(R"(\"q)"), "2000000000", false), reaction(emoji("c"), "1", true)}),
      R"([{"emoji":"\"q","count":1000000000,"chosen":false},)"
      R"({"emoji":"c","count":1,"chosen":true}])");
  Strings many(31, reaction(kCustomEmoji, "3", false));
  many.push_back(reaction(emoji("last"), "1", false));
  many.push_back(reaction(emoji("beyond"), "1", false));
  EXPECT_EQ(array(many), R"([{"emoji":"last","count":1,"chosen":false}])");
}

std::vector<std::int64_t> ids_of(const std::string& answer, std::int64_t* total = nullptr) {
  std::vector<std::int64_t> ids;
  MessagePage page = open_message_page(answer);
  MessagePreview message;
  std::int64_t sender = 0;
  while (next_message(page, kFullMessage, message, sender)) ids.push_back(message.id);
  if (total != nullptr) *total = page.total_count;
  return ids;
}

TEST(MessagePage, OnlyTheElementsOfTheArray) {
  const auto message = [](int id, const std::string& more = "") {
    return R"({"@type":"message","id":)" + std::to_string(id) + R"(,"chat_id":5)" + more +
           R"(,"interaction_info":)" + interaction_info({reaction(emoji("a"), "7", false)}) + "}";
  };
  const std::string nested = R"(,"content":{"@type":"messageNew","message":)" + message(99) + "}";
  const std::string messages = R"("messages":[null,)" + message(1, nested) + ",null," + message(2) +
                               R"(,{"@type":"sponsoredMessage","message_id":3,"message":)" +
                               message(98) + "}," + message(4) + "]";
  using Ids = std::vector<std::int64_t>;
  std::int64_t total = 0;
  EXPECT_EQ(ids_of(R"({"@type":"messages","total_count":40,)" + messages + "}", &total),
            (Ids{1, 2, 4}));
  EXPECT_EQ(total, 40);
  EXPECT_EQ(ids_of(R"({"@type":"foundChatMessages",)" + messages +
                       R"(,"next_from_message_id":5,"total_count":41,"@extra":"x"})",
                   &total),
            (Ids{1, 2, 4}));
  EXPECT_EQ(total, 41);
  EXPECT_EQ(ids_of(R"({"@type":"messages","total_count":0,"messages":[]})", &total), Ids{});
  EXPECT_EQ(total, 0);
  EXPECT_EQ(ids_of(R"({"@type":"messages"})", &total), Ids{});
  EXPECT_EQ(total, -1);
  EXPECT_EQ(ids_of(R"({"@type":"messages","messages":null,"total_count":3})", &total), Ids{});
  EXPECT_EQ(total, 3);
  EXPECT_EQ(ids_of(R"({"@type":"messages","messages":[ { "@type":"message","id":8},{"id":9}]})"),
            (Ids{8}))
      << "a blank behind the brace";
  // One that breaks off gives what is there.
  const std::string broken =
      R"({"@type":"messages","total_count":40,"messages":[)" + message(1) + "," + message(2);
  EXPECT_EQ(ids_of(broken, &total), (Ids{1, 2}));
  EXPECT_EQ(total, 40);
  EXPECT_EQ(ids_of(broken.substr(0, broken.size() - 30)), (Ids{1, 2}));
}

TEST(MessageEvents, UpdateNeedsBothIdsAndText) {
  EventLines lines;
  emit_message_update_event(0, 1, "a");
  emit_message_update_event(1, 0, "a");
  emit_message_update_event(1, 2, "");
  emit_message_update_event(-1, 2, "a\tb");
  EXPECT_EQ(lines.take(),
            Strings{R"({"type":"message_update","chat_id":-1,"id":2,"text":"a\tb"})"});
}

}  // namespace
