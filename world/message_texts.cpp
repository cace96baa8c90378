// The texts of messages.
#include "world/world.h"

namespace world {

std::string reply_info_text(const std::vector<Id>& thread) {
  // The first is the head, and what is not sent yet is no reply.
  const auto sent = std::count_if(thread.begin(), thread.end(), is_sent_id);
  const Id last = sent > 1 ? *std::find_if(thread.rbegin(), thread.rend(), is_sent_id) : 0;
  return object("messageReplyInfo reply_count last_message_id", {std::max<Id>(sent - 1, 0), last});
}

static std::string reactions_text(const Message& m) {
  if (m.reactions.empty()) return {};
  const auto text_of = [](const Reaction& r) {
    return object("messageReaction type=@reactionTypeEmoji type.emoji total_count is_chosen",
                  {r.emoji, r.count, r.chosen});
  };
  return object("messageReactions reactions", {array_text(m.reactions, text_of)});
}

std::string interaction_text(Chat& chat, const Message& m) {
  const Thread thread = find_thread(chat, m);
  const std::string reply_info = thread.headed ? reply_info_text(thread_ids(thread)) : "";
  const std::string reactions = reactions_text(m);
  if (!chat.is_channel() && reply_info.empty() && reactions.empty()) return {};
  const Id views = chat.is_channel() ? roll(m.dice, 5000) + 1 : 0;
  return object("messageInteractionInfo view_count forward_count reply_info reactions",
                {views, views / 50, reply_info, reactions});
}

static std::string forward_text(const Message& m) {
  if (m.forward_from == 0) return {};
  sender_text(m.forward_from);  // who is told with it
  const std::string origin =
      m.forward_from > 0
          ? object("messageOriginUser sender_user_id", {m.forward_from})
          : object("messageOriginChannel chat_id message_id", {m.forward_from, m.forward_message});
  return object("messageForwardInfo origin date", {origin, m.date - 5000});
}

static std::string reply_text(const Message& m) {
  if (m.reply_to == 0) return {};
  std::string quote, origin, content;
  if (!m.quote.empty()) quote = object("textQuote text is_manual=true", {formatted_text(m.quote)});
  Message to;
  if (m.reply_chat != 0) {  // of another chat, all is told that there is to show
    Chat& chat = *find_chat(m.reply_chat);
    tell_chat(chat);
    to = find_message(chat, m.reply_to);
    if (to.id != 0) content = content_text(chat, to);
    if (to.sender > 0) tell_person(to.sender);
    if (to.sender > 0) origin = object("messageOriginUser sender_user_id", {to.sender});
  }
  return object("messageReplyToMessage chat_id message_id quote origin origin_send_date content",
                {m.reply_chat != 0 ? m.reply_chat : m.chat, m.reply_chat != 0 ? to.id : m.reply_to,
                 quote, origin, to.date, content});
}

static std::string topic_text(const Message& m) {
  if (m.topic != 0) return object("messageTopicForum forum_topic_id", {m.topic});
  return m.thread == 0 ? "" : object("messageTopicThread message_thread_id", {m.thread});
}

std::string message_text(Chat& chat, const Message& m) {
  if (m.id == 0) return {};
  const std::string content = content_text(chat, m);  // its files are named first
  return object(
      "message id sender_id chat_id sending_state is_outgoing is_pinned can_be_saved=true "
      "is_channel_post contains_unread_mention date edit_date forward_info interaction_info "
      "reply_to topic_id content",
      {m.id, sender_text(m.sender), m.chat, m.sending, m.outgoing, is_pinned(chat, m.id),
       chat.is_channel(), m.mention && m.id > chat.last_read_inbox, m.date, m.edit_date,
       forward_text(m), m.sending.empty() ? interaction_text(chat, m) : "", reply_text(m),
       topic_text(m), content});
}

std::string message_text(Chat& chat, Id id) { return message_text(chat, find_message(chat, id)); }

std::string messages_text(Chat& chat, const std::vector<Id>& ids, std::size_t total) {
  return object(
      "messages total_count messages",
      {static_cast<Id>(total), array_text(ids, [&](Id id) { return message_text(chat, id); })});
}

}  // namespace world
