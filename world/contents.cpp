// What a message can hold: one row for each content that TDLib can write.
#include <cstring>

#include "world/world.h"

namespace world {

namespace {

struct Row {
  int weight;  // in 1000 messages of an ordinary chat
  bool service;
  const char* shape;
};

// %a text or caption, %b the file, %c a thumbnail, %d a person, %e an older message, %f plain
// text, %g sizes of a photo, %h a sender, %i a list of people, %j a length in seconds, %k why a
// call ended.
// clang-format off
constexpr Row kRows[] = {
    {740, false, "messageText text=%a"},
    {60, false, "messagePhoto photo.sizes=%g caption=%a"},
    {25, false, "messageVoiceNote voice_note.duration=%j voice_note.waveform='AAECAwQFBgcICQ==' voice_note.mime_type='audio/ogg' voice_note.voice=%b"},
    {15, false, "messageVideoNote video_note.duration=%j video_note.length=240 video_note.thumbnail=%c video_note.video=%b"},
    {30, false, "messageDocument document.file_name='Notes – draft.txt' document.mime_type='text/plain' document.document=%b caption=%a"},
    {25, false, "messageVideo video.duration=%j video.width=640 video.height=360 video.file_name='walk.mp4' video.mime_type='video/mp4' video.supports_streaming=true video.thumbnail=%c video.video=%b caption=%a"},
    {10, false, "messageAnimation animation.duration=3 animation.width=320 animation.height=240 animation.file_name='wave.mp4' animation.mime_type='video/mp4' animation.thumbnail=%c animation.animation=%b caption=%a"},
    {10, false, "messageAudio audio.duration=%j audio.title='Évening' audio.performer='The Neighbours' audio.file_name='evening.mp3' audio.mime_type='audio/mpeg' audio.audio=%b caption=%a"},
    {25, false, "messageSticker sticker.id='77001' sticker.set_id='77' sticker.width=512 sticker.height=512 sticker.emoji='🙂' sticker.format=@stickerFormatWebp sticker.full_type=@stickerFullTypeRegular sticker.thumbnail=%c sticker.sticker=%b"},
    {5, false, "messageLocation location.latitude=52.520008 location.longitude=13.404954"},
    {4, false, "messageVenue venue.location.latitude=48.858370 venue.location.longitude=2.294481 venue.title='Café du Port' venue.address='1, quai' venue.provider='foursquare' venue.id='4ad'"},
    {4, false, "messageContact contact.phone_number='4915550199' contact.first_name='Ann' contact.last_name='Archer' contact.user_id=%d"},
    {6, false, "messagePoll poll.id='88001' poll.question.text='Where shall we meet?' poll.options=[{'@type':'pollOption','text':{'@type':'formattedText','text':'Here','entities':[]},'voter_count':2,'vote_percentage':100,'is_chosen':false,'is_being_chosen':false},{'@type':'pollOption','text':{'@type':'formattedText','text':'There','entities':[]},'voter_count':0,'vote_percentage':0,'is_chosen':false,'is_being_chosen':false}] poll.total_voter_count=2 poll.is_anonymous=true poll.type=@pollTypeRegular"},
    {4, false, "messageDice emoji='🎲' value=4 success_animation_frame_number=0"},
    {5, false, "messageAnimatedEmoji animated_emoji.sticker_width=512 animated_emoji.sticker_height=512 emoji='👍'"},
    {3, false, "messageCall discard_reason=%k duration=%j"},
    {0, false, "messageGame game.id='91' game.short_name='snake' game.title='Snake' game.description='Do not bite' game.photo.sizes=%g"},
    {0, false, "messagePaidMedia star_count=5 caption=%a"},
    {0, false, "messageStakeDice value=3 stake_toncoin_amount=100000000"},
    {0, false, "messageStory story_id=3"},
    {0, false, "messageChecklist list.title.text='To bring' list.tasks=[{'@type':'checklistTask','id':1,'text':{'@type':'formattedText','text':'Tent','entities':[]},'completion_date':0}] list.can_add_tasks=true"},
    {0, false, "messageInvoice product_info.title='Ticket' product_info.description.text='One seat' currency='EUR' total_amount=1250 start_parameter='t'"},
    {0, false, "messageGiveaway parameters.winners_selection_date=1794000000 winner_count=3 prize=@giveawayPrizePremium prize.month_count=3"},
    {0, false, "messageGroupCall unique_id='77' is_active=false duration=%j"},
    {1, false, "messageExpiredPhoto"},
    {1, false, "messageExpiredVideo"},
    {0, false, "messageExpiredVideoNote"},
    {0, false, "messageExpiredVoiceNote"},
    {1, false, "messageUnsupported"},
    {1, true, "messageBasicGroupChatCreate title=%f member_user_ids=%i"},
    {1, true, "messageSupergroupChatCreate title=%f"},
    {2, true, "messageChatChangeTitle title=%f"},
    {2, true, "messageChatChangePhoto photo.id='901' photo.added_date=1790000000 photo.sizes=%g"},
    {1, true, "messageChatDeletePhoto"},
    {0, true, "messageChatOwnerLeft new_owner_user_id=%d"},
    {0, true, "messageChatOwnerChanged new_owner_user_id=%d"},
    {4, true, "messageChatAddMembers member_user_ids=%i"},
    {3, true, "messageChatJoinByLink"},
    {1, true, "messageChatJoinByRequest"},
    {2, true, "messageChatDeleteMember user_id=%d"},
    {0, true, "messageChatUpgradeTo supergroup_id=5014"},
    {0, true, "messageChatUpgradeFrom title=%f basic_group_id=5010"},
    {4, true, "messagePinMessage message_id=%e"},
    {1, true, "messageScreenshotTaken"},
    {0, true, "messageChatSetBackground background.background.id='11' background.background.name='sky' background.background.type=@backgroundTypeFill background.background.type.fill=@backgroundFillSolid"},
    {0, true, "messageChatSetTheme theme=@chatThemeEmoji theme.name='🌳'"},
    {1, true, "messageChatSetMessageAutoDeleteTime message_auto_delete_time=86400 from_user_id=%d"},
    {0, true, "messageChatBoost boost_count=2"},
    {0, true, "messageForumTopicCreated name=%f icon.color=7322096"},
    {0, true, "messageForumTopicEdited name=%f"},
    {0, true, "messageForumTopicIsClosedToggled is_closed=true"},
    {0, true, "messageForumTopicIsHiddenToggled is_hidden=true"},
    {0, true, "messageSuggestProfilePhoto photo.id='902' photo.sizes=%g"},
    {0, true, "messageSuggestBirthdate birthdate.day=29 birthdate.month=2"},
    {1, true, "messageCustomServiceAction text='The heating is on again'"},
    {0, true, "messageGameScore game_message_id=%e game_id='91' score=120"},
    {0, true, "messagePaymentSuccessful currency='EUR' total_amount=1250"},
    {0, true, "messagePaymentSuccessfulBot currency='EUR' total_amount=1250"},
    {0, true, "messagePaymentRefunded owner_id=%h currency='XTR' total_amount=50"},
    {0, true, "messageGiftedPremium gifter_user_id=%d receiver_user_id=1001 currency='EUR' amount=1499 month_count=3 day_count=90"},
    {0, true, "messagePremiumGiftCode creator_id=%h month_count=3 day_count=90 code='a1b2'"},
    {0, true, "messageGiveawayCreated star_count=100"},
    {0, true, "messageGiveawayCompleted giveaway_message_id=%e winner_count=3"},
    {0, true, "messageGiveawayWinners giveaway_message_id=%e prize=@giveawayPrizePremium winner_count=2 winner_user_ids=%i"},
    {0, true, "messageGiftedStars gifter_user_id=%d receiver_user_id=1001 currency='EUR' amount=199 star_count=100"},
    {0, true, "messageGiftedTon gifter_user_id=%d receiver_user_id=1001 ton_amount=1000000000"},
    {0, true, "messageGiveawayPrizeStars star_count=50 giveaway_message_id=%e"},
    {0, true, "messageGift gift.id='31' gift.sticker=@sticker gift.sticker.format=@stickerFormatWebp gift.sticker.full_type=@stickerFullTypeRegular gift.sticker.sticker=%b gift.star_count=15 gift.default_sell_star_count=10 sender_id=%h receiver_id=%h text=%a"},
    {0, true, "messageUpgradedGift gift.id='32' gift.title='Clock' gift.name='Clock-7' gift.number=7 gift.model.name='Brass' gift.model.sticker.format=@stickerFormatWebp gift.model.sticker.full_type=@stickerFullTypeRegular gift.model.rarity=@upgradedGiftAttributeRarityPerMille gift.symbol.sticker.format=@stickerFormatWebp gift.symbol.sticker.full_type=@stickerFullTypeRegular gift.symbol.rarity=@upgradedGiftAttributeRarityPerMille gift.backdrop.rarity=@upgradedGiftAttributeRarityPerMille receiver_id=%h origin=@upgradedGiftOriginUpgrade"},
    {0, true, "messageRefundedUpgradedGift gift.id='31' gift.sticker.format=@stickerFormatWebp gift.sticker.full_type=@stickerFullTypeRegular sender_id=%h receiver_id=%h origin=@upgradedGiftOriginUpgrade"},
    {0, true, "messageUpgradedGiftPurchaseOffer gift.id='32' gift.model.sticker.format=@stickerFormatWebp gift.model.sticker.full_type=@stickerFullTypeRegular gift.model.rarity=@upgradedGiftAttributeRarityPerMille gift.symbol.sticker.format=@stickerFormatWebp gift.symbol.sticker.full_type=@stickerFullTypeRegular gift.symbol.rarity=@upgradedGiftAttributeRarityPerMille gift.backdrop.rarity=@upgradedGiftAttributeRarityPerMille state=@giftPurchaseOfferStatePending price=@giftResalePriceStar price.star_count=500"},
    {0, true, "messageUpgradedGiftPurchaseOfferRejected gift.id='32' gift.model.sticker.format=@stickerFormatWebp gift.model.sticker.full_type=@stickerFullTypeRegular gift.model.rarity=@upgradedGiftAttributeRarityPerMille gift.symbol.sticker.format=@stickerFormatWebp gift.symbol.sticker.full_type=@stickerFullTypeRegular gift.symbol.rarity=@upgradedGiftAttributeRarityPerMille gift.backdrop.rarity=@upgradedGiftAttributeRarityPerMille price=@giftResalePriceStar"},
    {0, true, "messagePaidMessagesRefunded message_count=2 star_count=10"},
    {0, true, "messagePaidMessagePriceChanged paid_message_star_count=10"},
    {0, true, "messageDirectMessagePriceChanged is_enabled=true paid_message_star_count=10"},
    {0, true, "messageChecklistTasksDone checklist_message_id=%e marked_as_done_task_ids=[1]"},
    {0, true, "messageChecklistTasksAdded checklist_message_id=%e"},
    {0, true, "messageSuggestedPostApprovalFailed suggested_post_message_id=%e price=@suggestedPostPriceStar"},
    {0, true, "messageSuggestedPostApproved suggested_post_message_id=%e"},
    {0, true, "messageSuggestedPostDeclined suggested_post_message_id=%e comment='Not this week'"},
    {0, true, "messageSuggestedPostPaid suggested_post_message_id=%e star_amount.star_count=10"},
    {0, true, "messageSuggestedPostRefunded suggested_post_message_id=%e reason=@suggestedPostRefundReasonPostDeleted"},
    {0, true, "messageContactRegistered"},
    {0, true, "messageUsersShared users=[{'@type':'sharedUser','user_id':1004,'first_name':'Bob','last_name':'','username':''}] button_id=1"},
    {0, true, "messageChatShared chat.chat_id=-5010 chat.title='Family' button_id=2"},
    {0, true, "messageBotWriteAccessAllowed reason=@botWriteAccessAllowReasonAcceptedRequest"},
    {0, true, "messageWebAppDataSent button_text='Order'"},
    {0, true, "messageWebAppDataReceived button_text='Order' data='{}'"},
    {0, true, "messagePassportDataSent"},
    {0, true, "messagePassportDataReceived"},
    {0, true, "messageProximityAlertTriggered traveler_id=%h watcher_id=%h distance=120"},
    {1, true, "messageVideoChatScheduled group_call_id=1 start_date=1794000000"},
    {2, true, "messageVideoChatStarted group_call_id=1"},
    {2, true, "messageVideoChatEnded duration=%j"},
    {1, true, "messageInviteVideoChatParticipants group_call_id=1 user_ids=%i"},
};
// clang-format on
constexpr int kSlots = 11;  // %a to %k
constexpr int kCount = sizeof kRows / sizeof *kRows;

// Three sizes, the largest last, each a file.
std::string sizes_text(Id key, Id own) {
  constexpr const char* kSize = "photoSize type photo width height";
  List sizes;
  sizes.next() += object(kSize, {"s", file_text(key, 2000, true), 90, 60});
  sizes.next() += object(kSize, {"m", file_text(key + 1, 9000, true), 320, 213});
  const std::string largest = own != 0 ? file_text(own) : file_text(key + 2, 60000, true);
  sizes.next() += object(kSize, {"x", largest, 800, 533});
  return sizes.done();
}

// The text for a slot of the rows.
std::string slot_text(char slot, const Chat& chat, const Message& m) {
  const Id about = kAnn + roll(m.dice >> 16, 8);
  const Id key = static_cast<Id>(chat.number) << 40 | message_index(m.id) << 3 | 5;
  switch (slot) {
    case 'a': return formatted_text(m.text);
    case 'b':
      if (m.file != 0) return file_text(m.file);
      return file_text(key + 2, 4000 + roll(m.dice, 90000), false);
    case 'c':
      return object("thumbnail format=@thumbnailFormatJpeg width=160 height=120 file",
                    {file_text(key, 2000, true)});
    case 'f': return "Harbour & Garden";
    case 'g': return sizes_text(key, m.file);
    case 'h': return sender_text(about);
    case 'i':
      tell_person(about);
      tell_person(about + 1);
      return "[" + std::to_string(about) + "," + std::to_string(about + 1) + "]";
    case 'k': return bare_object(m.seconds >= 0 ? m.text : "callDiscardReasonHungUp");
    case 'e': return std::to_string(message_id(message_index(m.id) / 2));
    case 'j': return std::to_string(m.seconds >= 0 ? m.seconds : 3 + roll(m.dice, 200));
    default: tell_person(about); return std::to_string(about);
  }
}

}  // namespace

int content_count() { return kCount; }
bool is_service(const Message& m) { return kRows[m.content].service; }

std::string_view content_name(int row) {
  constexpr std::size_t kBegin = std::string_view("message").size();
  const std::string_view shape = kRows[row].shape;
  return shape.substr(kBegin, std::min(shape.find(' '), shape.size()) - kBegin);
}

int content_row(std::string_view name) {
  int row = kCount - 1;
  while (row > 0 && content_name(row) != name) --row;
  return row;
}

int random_content(std::uint64_t dice) {
  int left = roll(dice, 1000);
  for (int row = 0; row < kCount; ++row) {
    if ((left -= kRows[row].weight) < 0) return row;
  }
  return 0;
}

std::string content_text(const Chat& chat, const Message& m) {
  const char* shape = kRows[m.content].shape;
  std::string texts[kSlots];
  Value values[kSlots];
  for (const char* mark = std::strchr(shape, '%'); mark != nullptr;
       mark = std::strchr(mark + 1, '%')) {
    const auto slot = static_cast<std::size_t>(mark[1] - 'a');
    values[slot] = texts[slot] = slot_text(mark[1], chat, m);
  }
  return object(shape, values);
}

}  // namespace world
