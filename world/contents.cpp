// What a message can hold: one row for each content that TDLib can write.
#include <cstring>
#include <deque>

#include "world/schema.h"
#include "world/world.h"

namespace world {

namespace {

struct Row {
  const char* type;
  int weight;  // in 1000 messages of an ordinary chat
  bool service;
  const char* members;  // slots: see values below
};

// %a text or caption, %b the file, %c a thumbnail, %d a person, %e an older message, %f plain
// text, %g sizes of a photo, %h a sender, %i a list of people, %j a length in seconds, %k why a
// call ended.
// clang-format off
constexpr Row kRows[] = {
    {"messageText", 740, false, "text=%a"},
    {"messagePhoto", 60, false, "photo.sizes=%g caption=%a"},
    {"messageVoiceNote", 25, false, "voice_note.duration=%j voice_note.waveform='AAECAwQFBgcICQ==' voice_note.mime_type='audio/ogg' voice_note.voice=%b"},
    {"messageVideoNote", 15, false, "video_note.duration=%j video_note.length=240 video_note.thumbnail=%c video_note.video=%b"},
    {"messageDocument", 30, false, "document.file_name='Notes – draft.txt' document.mime_type='text/plain' document.document=%b caption=%a"},
    {"messageVideo", 25, false, "video.duration=%j video.width=640 video.height=360 video.file_name='walk.mp4' video.mime_type='video/mp4' video.supports_streaming=true video.thumbnail=%c video.video=%b caption=%a"},
    {"messageAnimation", 10, false, "animation.duration=3 animation.width=320 animation.height=240 animation.file_name='wave.mp4' animation.mime_type='video/mp4' animation.thumbnail=%c animation.animation=%b caption=%a"},
    {"messageAudio", 10, false, "audio.duration=%j audio.title='Évening' audio.performer='The Neighbours' audio.file_name='evening.mp3' audio.mime_type='audio/mpeg' audio.audio=%b caption=%a"},
    {"messageSticker", 25, false, "sticker.id=77001 sticker.set_id=77 sticker.width=512 sticker.height=512 sticker.emoji='🙂' sticker.format=@stickerFormatWebp sticker.full_type=@stickerFullTypeRegular sticker.thumbnail=%c sticker.sticker=%b"},
    {"messageLocation", 5, false, "location.latitude=52.520008 location.longitude=13.404954"},
    {"messageVenue", 4, false, "venue.location.latitude=48.858370 venue.location.longitude=2.294481 venue.title='Café du Port' venue.address='1, quai' venue.provider='foursquare' venue.id='4ad'"},
    {"messageContact", 4, false, "contact.phone_number='4915550199' contact.first_name='Ann' contact.last_name='Archer' contact.user_id=%d"},
    {"messagePoll", 6, false, "poll.id=88001 poll.question.text='Where shall we meet?' poll.options=[{'@type':'pollOption','text':{'@type':'formattedText','text':'Here','entities':[]},'voter_count':2,'vote_percentage':100,'is_chosen':false,'is_being_chosen':false},{'@type':'pollOption','text':{'@type':'formattedText','text':'There','entities':[]},'voter_count':0,'vote_percentage':0,'is_chosen':false,'is_being_chosen':false}] poll.total_voter_count=2 poll.is_anonymous=true poll.type=@pollTypeRegular"},
    {"messageDice", 4, false, "emoji='🎲' value=4 success_animation_frame_number=0"},
    {"messageAnimatedEmoji", 5, false, "animated_emoji.sticker_width=512 animated_emoji.sticker_height=512 emoji='👍'"},
    {"messageCall", 3, false, "discard_reason=%k duration=%j"},
    {"messageGame", 0, false, "game.id=91 game.short_name='snake' game.title='Snake' game.description='Do not bite' game.photo.sizes=%g"},
    {"messagePaidMedia", 0, false, "star_count=5 caption=%a"},
    {"messageStakeDice", 0, false, "value=3 stake_toncoin_amount=100000000"},
    {"messageStory", 0, false, "story_id=3"},
    {"messageChecklist", 0, false, "list.title.text='To bring' list.tasks=[{'@type':'checklistTask','id':1,'text':{'@type':'formattedText','text':'Tent','entities':[]},'completion_date':0}] list.can_add_tasks=true"},
    {"messageInvoice", 0, false, "product_info.title='Ticket' product_info.description.text='One seat' currency='EUR' total_amount=1250 start_parameter='t'"},
    {"messageGiveaway", 0, false, "parameters.winners_selection_date=1794000000 winner_count=3 prize=@giveawayPrizePremium prize.month_count=3"},
    {"messageGroupCall", 0, false, "unique_id='77' is_active=false duration=%j"},
    {"messageExpiredPhoto", 1, false, ""},
    {"messageExpiredVideo", 1, false, ""},
    {"messageExpiredVideoNote", 0, false, ""},
    {"messageExpiredVoiceNote", 0, false, ""},
    {"messageUnsupported", 1, false, ""},
    {"messageBasicGroupChatCreate", 1, true, "title=%f member_user_ids=%i"},
    {"messageSupergroupChatCreate", 1, true, "title=%f"},
    {"messageChatChangeTitle", 2, true, "title=%f"},
    {"messageChatChangePhoto", 2, true, "photo.id=901 photo.added_date=1790000000 photo.sizes=%g"},
    {"messageChatDeletePhoto", 1, true, ""},
    {"messageChatOwnerLeft", 0, true, "new_owner_user_id=%d"},
    {"messageChatOwnerChanged", 0, true, "new_owner_user_id=%d"},
    {"messageChatAddMembers", 4, true, "member_user_ids=%i"},
    {"messageChatJoinByLink", 3, true, ""},
    {"messageChatJoinByRequest", 1, true, ""},
    {"messageChatDeleteMember", 2, true, "user_id=%d"},
    {"messageChatUpgradeTo", 0, true, "supergroup_id=5014"},
    {"messageChatUpgradeFrom", 0, true, "title=%f basic_group_id=5010"},
    {"messagePinMessage", 4, true, "message_id=%e"},
    {"messageScreenshotTaken", 1, true, ""},
    {"messageChatSetBackground", 0, true, "background.background.id=11 background.background.name='sky' background.background.type=@backgroundTypeFill background.background.type.fill=@backgroundFillSolid"},
    {"messageChatSetTheme", 0, true, "theme=@chatThemeEmoji theme.name='🌳'"},
    {"messageChatSetMessageAutoDeleteTime", 1, true, "message_auto_delete_time=86400 from_user_id=%d"},
    {"messageChatBoost", 0, true, "boost_count=2"},
    {"messageForumTopicCreated", 0, true, "name=%f icon.color=7322096"},
    {"messageForumTopicEdited", 0, true, "name=%f"},
    {"messageForumTopicIsClosedToggled", 0, true, "is_closed=true"},
    {"messageForumTopicIsHiddenToggled", 0, true, "is_hidden=true"},
    {"messageSuggestProfilePhoto", 0, true, "photo.id=902 photo.sizes=%g"},
    {"messageSuggestBirthdate", 0, true, "birthdate.day=29 birthdate.month=2"},
    {"messageCustomServiceAction", 1, true, "text='The heating is on again'"},
    {"messageGameScore", 0, true, "game_message_id=%e game_id='91' score=120"},
    {"messagePaymentSuccessful", 0, true, "currency='EUR' total_amount=1250"},
    {"messagePaymentSuccessfulBot", 0, true, "currency='EUR' total_amount=1250"},
    {"messagePaymentRefunded", 0, true, "owner_id=%h currency='XTR' total_amount=50"},
    {"messageGiftedPremium", 0, true, "gifter_user_id=%d receiver_user_id=1001 currency='EUR' amount=1499 month_count=3 day_count=90"},
    {"messagePremiumGiftCode", 0, true, "creator_id=%h month_count=3 day_count=90 code='a1b2'"},
    {"messageGiveawayCreated", 0, true, "star_count=100"},
    {"messageGiveawayCompleted", 0, true, "giveaway_message_id=%e winner_count=3"},
    {"messageGiveawayWinners", 0, true, "giveaway_message_id=%e prize=@giveawayPrizePremium winner_count=2 winner_user_ids=%i"},
    {"messageGiftedStars", 0, true, "gifter_user_id=%d receiver_user_id=1001 currency='EUR' amount=199 star_count=100"},
    {"messageGiftedTon", 0, true, "gifter_user_id=%d receiver_user_id=1001 ton_amount=1000000000"},
    {"messageGiveawayPrizeStars", 0, true, "star_count=50 giveaway_message_id=%e"},
    {"messageGift", 0, true, "gift.id=31 gift.sticker=@sticker gift.sticker.format=@stickerFormatWebp gift.sticker.full_type=@stickerFullTypeRegular gift.sticker.sticker=%b gift.star_count=15 gift.default_sell_star_count=10 sender_id=%h receiver_id=%h text=%a"},
    {"messageUpgradedGift", 0, true, "gift.id=32 gift.title='Clock' gift.name='Clock-7' gift.number=7 gift.model.name='Brass' gift.model.sticker.format=@stickerFormatWebp gift.model.sticker.full_type=@stickerFullTypeRegular gift.model.rarity=@upgradedGiftAttributeRarityPerMille gift.symbol.sticker.format=@stickerFormatWebp gift.symbol.sticker.full_type=@stickerFullTypeRegular gift.symbol.rarity=@upgradedGiftAttributeRarityPerMille gift.backdrop.rarity=@upgradedGiftAttributeRarityPerMille receiver_id=%h origin=@upgradedGiftOriginUpgrade"},
    {"messageRefundedUpgradedGift", 0, true, "gift.id=31 gift.sticker.format=@stickerFormatWebp gift.sticker.full_type=@stickerFullTypeRegular sender_id=%h receiver_id=%h origin=@upgradedGiftOriginUpgrade"},
    {"messageUpgradedGiftPurchaseOffer", 0, true, "gift.id=32 gift.model.sticker.format=@stickerFormatWebp gift.model.sticker.full_type=@stickerFullTypeRegular gift.model.rarity=@upgradedGiftAttributeRarityPerMille gift.symbol.sticker.format=@stickerFormatWebp gift.symbol.sticker.full_type=@stickerFullTypeRegular gift.symbol.rarity=@upgradedGiftAttributeRarityPerMille gift.backdrop.rarity=@upgradedGiftAttributeRarityPerMille state=@giftPurchaseOfferStatePending price=@giftResalePriceStar price.star_count=500"},
    {"messageUpgradedGiftPurchaseOfferRejected", 0, true, "gift.id=32 gift.model.sticker.format=@stickerFormatWebp gift.model.sticker.full_type=@stickerFullTypeRegular gift.model.rarity=@upgradedGiftAttributeRarityPerMille gift.symbol.sticker.format=@stickerFormatWebp gift.symbol.sticker.full_type=@stickerFullTypeRegular gift.symbol.rarity=@upgradedGiftAttributeRarityPerMille gift.backdrop.rarity=@upgradedGiftAttributeRarityPerMille price=@giftResalePriceStar"},
    {"messagePaidMessagesRefunded", 0, true, "message_count=2 star_count=10"},
    {"messagePaidMessagePriceChanged", 0, true, "paid_message_star_count=10"},
    {"messageDirectMessagePriceChanged", 0, true, "is_enabled=true paid_message_star_count=10"},
    {"messageChecklistTasksDone", 0, true, "checklist_message_id=%e marked_as_done_task_ids=[1]"},
    {"messageChecklistTasksAdded", 0, true, "checklist_message_id=%e"},
    {"messageSuggestedPostApprovalFailed", 0, true, "suggested_post_message_id=%e price=@suggestedPostPriceStar"},
    {"messageSuggestedPostApproved", 0, true, "suggested_post_message_id=%e"},
    {"messageSuggestedPostDeclined", 0, true, "suggested_post_message_id=%e comment='Not this week'"},
    {"messageSuggestedPostPaid", 0, true, "suggested_post_message_id=%e star_amount.star_count=10"},
    {"messageSuggestedPostRefunded", 0, true, "suggested_post_message_id=%e reason=@suggestedPostRefundReasonPostDeleted"},
    {"messageContactRegistered", 0, true, ""},
    {"messageUsersShared", 0, true, "users=[{'@type':'sharedUser','user_id':1004,'first_name':'Bob','last_name':'','username':''}] button_id=1"},
    {"messageChatShared", 0, true, "chat.chat_id=-5010 chat.title='Family' button_id=2"},
    {"messageBotWriteAccessAllowed", 0, true, "reason=@botWriteAccessAllowReasonAcceptedRequest"},
    {"messageWebAppDataSent", 0, true, "button_text='Order'"},
    {"messageWebAppDataReceived", 0, true, "button_text='Order' data='{}'"},
    {"messagePassportDataSent", 0, true, ""},
    {"messagePassportDataReceived", 0, true, ""},
    {"messageProximityAlertTriggered", 0, true, "traveler_id=%h watcher_id=%h distance=120"},
    {"messageVideoChatScheduled", 1, true, "group_call_id=1 start_date=1794000000"},
    {"messageVideoChatStarted", 2, true, "group_call_id=1"},
    {"messageVideoChatEnded", 2, true, "duration=%j"},
    {"messageInviteVideoChatParticipants", 1, true, "group_call_id=1 user_ids=%i"},
};
// clang-format on
constexpr int kCount = sizeof kRows / sizeof *kRows;

// Made when it is first needed: most runs see a part of them only.
const Shape& shape_of(int row) {
  static std::unique_ptr<Shape> shapes[kCount];
  auto& shape = shapes[row];
  if (shape == nullptr) shape = std::make_unique<Shape>(kRows[row].type, kRows[row].members);
  return *shape;
}

bool uses(const Row& row, char slot) {
  const char mark[] = {'%', slot, '\0'};
  return std::strstr(row.members, mark) != nullptr;
}

std::string people_list(Id person_id) {
  tell_person(person_id);
  tell_person(person_id + 1);
  return "[" + std::to_string(person_id) + "," + std::to_string(person_id + 1) + "]";
}

// Three sizes, the largest last, each a file.
std::string sizes_text(Id key, int own) {
  static const Shape size("photoSize", "type photo width height");
  const std::string small = file_text(file_of(key, 2000, true));
  return "[" + size.text({"s", small, 90, 60}) + "," +
         size.text({"m", file_text(file_of(key + 1, 9000, true)), 320, 213}) + "," +
         size.text({"x", file_text(own != 0 ? own : file_of(key + 2, 60000, true)), 800, 533}) +
         "]";
}

}  // namespace

int content_count() { return kCount; }
std::string_view content_type(int row) { return kRows[row].type; }
bool content_is_service(int row) { return kRows[row].service; }

int content_row(std::string_view type) {
  for (int row = 0; row < kCount; ++row) {
    if (kRows[row].type == type) return row;
  }
  return 0;
}

int random_content(std::uint64_t dice) {
  int roll = static_cast<int>(dice % 1000);
  for (int row = 0; row < kCount; ++row) {
    if ((roll -= kRows[row].weight) < 0) return row;
  }
  return 0;
}

void append_content(std::string& out, Chat& chat, const Message& m) {
  static const Shape thumbnail("thumbnail",
                               "format=@thumbnailFormatJpeg width=160 height=120 file");
  const Row& row = kRows[m.content];
  const Id key = static_cast<Id>(chat.number) << 40 | message_index(m.id) << 3 | 5;
  std::string texts[7];
  Value values[11];
  const auto fill = [&](char slot, auto make) {
    if (!uses(row, slot)) return;
    std::string& text = texts[static_cast<std::size_t>(slot == 'i'   ? 4
                                                       : slot == 'h' ? 3
                                                       : slot == 'g' ? 5
                                                                     : slot - 'a')];
    text = make();
    values[slot - 'a'] = text;
  };
  const Id about = kMe + 2 + static_cast<Id>(m.dice >> 16 & 7);
  fill('a', [&] { return formatted_text(m.text); });
  fill('b', [&] {
    return file_text(
        m.file != 0 ? m.file : file_of(key + 2, 4000 + static_cast<int>(m.dice % 90000), false));
  });
  fill('c', [&] { return thumbnail.text({file_text(file_of(key, 2000, true))}); });
  fill('g', [&] { return sizes_text(key, m.file); });
  fill('h', [&] { return sender_text(about); });
  fill('i', [&] { return people_list(about); });
  if (uses(row, 'd')) {
    tell_person(about);
    values['d' - 'a'] = about;
  }
  values['e' - 'a'] = message_id(message_index(m.id) / 2);
  values['f' - 'a'] = m.content == 0 ? std::string_view() : std::string_view("Harbour & Garden");
  values['j' - 'a'] = m.seconds >= 0 ? m.seconds : static_cast<Id>(3 + m.dice % 200);
  const std::string reason =
      "{\"@type\":\"" + (m.seconds >= 0 ? m.text : "callDiscardReasonHungUp") + "\"}";
  values['k' - 'a'] = reason;
  shape_of(m.content).append(out, values);
}

}  // namespace world
