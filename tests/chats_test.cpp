#include "state/chat_rows.h"

#include <gtest/gtest.h>

#include "commands/mute.h"
#include "state/chat_object.h"
#include "state/membership.h"
#include "tests/support/chat_texts.h"

namespace {

ChatText trapped_chat() {
  ChatText chat;
  chat.id = -1000000000090;
  chat.type = super_type(90, false);
  chat.title = "Own";
  chat.photo = photo_info(31, 32);
  chat.last_message = trap_message(chat.id, 12);
  chat.positions = position("chatListArchive", "11") + "," + position("chatListMain", "13");
  chat.settings = mute_settings(false, 60);
  return chat;
}

TEST(ChatObjects, ValuesAreTheChatsOwn) {
  ChatText text = trapped_chat();
  ChatDescription chat = describe_chat(text.id, read_chat_object(chat_text(text)));
  EXPECT_EQ(chat.title, "Own");
  EXPECT_EQ(chat.type, "supergroup");
  EXPECT_EQ(chat.group_id, 90);
  EXPECT_EQ(chat.unread_count, 3);
  EXPECT_EQ(chat.last_read_outbox_message_id, 44);
  EXPECT_EQ(chat.order, 13);
  EXPECT_EQ(chat.photo_small_id, 31);
  EXPECT_EQ(chat.last.id, 12);

  // What the chat lacks, what nests in it does not lend.
  text.photo.clear();
  text.counters.clear();
  text.positions = position("chatListArchive", "11");
  const std::string json = chat_text(text);
  chat = describe_chat(text.id, read_chat_object(json));
  EXPECT_EQ(chat.unread_count, -1);
  EXPECT_EQ(chat.last_read_outbox_message_id, -1);
  EXPECT_EQ(chat.order, 0);
  EXPECT_EQ(chat.photo_small_id, 0);
  EXPECT_EQ(extract_chat_photo_small_file_id(json), 0);

  const std::string bare = R"({"@type":"chat","id":5,"last_message":)" + trap_message(5, 1) + "}";
  EXPECT_EQ(parse_chat_type(bare), "unknown");
  EXPECT_EQ(describe_chat(5, read_chat_object(bare)).title, "");
  ChatTable table;
  EXPECT_EQ(record_chat(table, bare), 5);
  EXPECT_EQ(private_chat_of(table, 6666), 0);
  EXPECT_FALSE(find_chat(table, 5)->notify.known);
  EXPECT_EQ(find_chat(table, 5)->scope, NotifyScope::kUnknown);
}

TEST(ChatObjects, OtherOrdersMinimalAndForeignMembers) {
  const std::string json =
      R"({"future":{"id":9,"title":"no","type":{"@type":"chatTypeSecret"}},"title":"T",)"
      R"("type":{"is_channel": true,"supergroup_id":8,"@type":"chatTypeSupergroup"},"id":-8,)"
      R"("unread_count":0,"@type":"chat","positions":[null,{"order":"77","list":)"
      R"({"@type":"chatListMain"}}]})";
  ChatTable table;
  EXPECT_EQ(record_chat(table, json), -8);
  const ChatDescription chat = describe_chat(-8, read_chat_object(json));
  EXPECT_EQ(chat.title, "T");
  EXPECT_EQ(chat.type, "channel");
  EXPECT_EQ(chat.group_id, 8);
  EXPECT_EQ(chat.order, 77);
  EXPECT_EQ(chat.unread_count, 0);
  for (const char* nothing :
       {"", "{}", "[]", R"({"@type":"chats","chat_ids":[1]})", R"({"@type":"chat"})",
        R"({"@type":"chat","id":0})", R"({"@type":"chat","id":null,"title":"x"})"}) {
    EXPECT_EQ(record_chat(table, nothing), 0) << nothing;
  }
  EXPECT_EQ(table.chats.size(), 1U);
}

TEST(ChatObjects, MainListOrder) {
  const struct {
    std::string positions;
    bool known;
    std::int64_t order;
  } rows[] = {
      {"[" + position("chatListMain", "9223372036854775807") + "]", true, INT64_MAX},
      {"[" + position("chatListMain", "0") + "]", true, 0},
      {R"([{"list":{"@type":"chatListMain"},"order": 5}])", true, 5},
      {R"([{"list":{"@type":"chatListMain"}},)" + position("chatListArchive", "4") + "]", false, 0},
      {R"([{"list":{"@type":"chatListMain"},"order":null}])", false, 0},
      {"[]", false, 0},
      {R"({"list":{"@type":"chatListMain"},"order":"6"})", false, 0},  // no list
  };
  for (const auto& row : rows) {
    std::int64_t order = -5;
    const std::string text = R"({"@type":"updateChatLastMessage","chat_id":1,"positions":)" +
                             row.positions + R"(,"chat_lists":[{"@type":"chatListMain"}]})";
    EXPECT_EQ(extract_chat_main_order_known(text, order), row.known) << row.positions;
    EXPECT_EQ(order, row.known ? row.order : -5) << row.positions;
    EXPECT_EQ(extract_chat_main_order(text), row.order) << row.positions;
    EXPECT_EQ(describe_chat(1, read_chat_object(text)).order, row.order) << row.positions;
  }
}

// Cut anywhere: what was complete before the cut, or nothing; never a neighbour's value, and never
// a byte past the end (the copy on the heap lets a sanitizer see that).
TEST(ChatObjects, CutAtEveryByte) {
  ChatText text = trapped_chat();
  const std::string whole = chat_text(text);
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const std::vector<char> bytes(whole.begin(), whole.begin() + static_cast<long>(size));
    const std::string_view json(bytes.data(), bytes.size());
    ChatTable table;
    const std::int64_t id = record_chat(table, json);
    const std::string_view found = find_chat_object(json);
    const ChatDescription chat = describe_chat(id, read_chat_object(found));
    ASSERT_TRUE(id == text.id || (id == 0 && size < 40)) << size;
    ASSERT_TRUE(chat.type == "supergroup" || chat.type == "unknown") << size;
    ASSERT_TRUE(chat.title == "Own" || chat.title.empty()) << size;
    ASSERT_TRUE(chat.order == 0 || chat.order == 13) << size;
    ASSERT_TRUE(chat.photo_small_id == 0 || chat.photo_small_id == 31) << size;
    (void)chat_member_status_kind(json);
    (void)chat_member_status_is_member(group_status(json));
  }
  // Only the last brace missing: every value is there.
  const ChatDescription chat =
      describe_chat(text.id, read_chat_object(whole.substr(0, whole.size() - 1)));
  EXPECT_EQ(chat.title, "Own");
  EXPECT_EQ(chat.type, "supergroup");
  EXPECT_EQ(chat.order, 13);
}

TEST(NotificationSettings, MutingIsOwnOrTheScopes) {
  const struct {
    const char* settings;
    bool parsed;
    std::int32_t mute_for;
    bool use_default;
  } rows[] = {
      {R"({"use_default_mute_for":false,"mute_for":5})", true, 5, false},
      {R"({"mute_for":5,"use_default_mute_for":true})", true, 5, true},
      {R"({"mute_for":5})", true, 5, true},
      {R"({"use_default_mute_for":false})", true, 0, false},
      {R"({"mute_for":2147483648,"use_default_mute_for":false})", true, 2147483647, false},
      {R"({"inner":{"mute_for":5,"use_default_mute_for":false}})", false, -9, false},
      {R"({"use_default_mute_for":1})", false, -9, false},
      {"{}", false, -9, false},
      {"", false, -9, false},
  };
  for (const auto& row : rows) {
    std::int32_t mute_for = -9;
    bool use_default = false;
    EXPECT_EQ(extract_chat_notification_settings(row.settings, mute_for, use_default), row.parsed)
        << row.settings;
    EXPECT_EQ(mute_for, row.mute_for) << row.settings;
    EXPECT_EQ(use_default, row.use_default) << row.settings;
  }

  ChatTable table;
  ChatText text = trapped_chat();
  text.settings = mute_settings(true, 0);
  (void)record_chat(table, chat_text(text));
  bool muted = true;
  EXPECT_FALSE(chat_muted(table, text.id, muted));
  EXPECT_FALSE(muted);
  table.scope_defaults[static_cast<int>(NotifyScope::kChannel)] = {true, 9};
  EXPECT_FALSE(chat_muted(table, text.id, muted));
  table.scope_defaults[static_cast<int>(NotifyScope::kGroup)] = {true, 9};
  EXPECT_TRUE(chat_muted(table, text.id, muted));
  EXPECT_TRUE(muted);
  EXPECT_FALSE(chat_muted(table, 12345, muted));
  EXPECT_FALSE(muted);

  // Settings that say nothing about muting leave what was known.
  EXPECT_FALSE(record_notification_settings(table, chat_record(table, text.id), "{}"));
  EXPECT_EQ(*find_chat(table, text.id)->notification_settings, text.settings);
}

TEST(NotificationSettings, Patching) {
  const char* const rows[][2] = {
      {R"({"use_default_mute_for":true,"mute_for":5})",
       R"({"use_default_mute_for":false,"mute_for":9})"},
      {"{\"use_default_mute_for\":\t\r\n true,\"mute_for\": \n-5}",
       "{\"use_default_mute_for\":\t\r\n false,\"mute_for\": \n9}"},
      {R"({"mute_for":5,"use_default_mute_for":null})",
       R"({"mute_for":9,"use_default_mute_for":null})"},
      {R"({"mute_for":5)", R"({"mute_for":9)"},
      {R"({"use_default_mute_for":true})", nullptr},
      {R"({"mute_for":"5"})", nullptr},
      {R"({"mute_for":-)", nullptr},
      {R"({"mute_for":)", nullptr},
      {"", nullptr},
  };
  for (const auto& row : rows) {
    std::string settings = row[0];
    const bool patched = patch_mute_for(settings, 9);
    EXPECT_EQ(patched, row[1] != nullptr) << row[0];
    if (patched && row[1] != nullptr) {
      EXPECT_EQ(settings, row[1]);
    }
  }
}

}  // namespace
