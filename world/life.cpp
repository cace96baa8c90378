// What happens by itself: people read, type, answer, write, come and go.
#include "world/schema.h"
#include "world/world.h"

namespace world {

static void tell_typing(const Chat& chat, Id sender, const char* action) {
  static const Shape shape("updateChatAction", "chat_id sender_id action");
  tell(shape.text({chat.id, sender_text(sender), std::string("{\"@type\":\"") + action + "\"}"}));
}

static void tell_status(Id id) {
  static const Shape shape("updateUserStatus", "user_id status");
  tell(shape.text({id, user_status_text(id)}));
}

static Id somebody(const Chat& chat, std::uint64_t dice) {
  return is_group(chat) ? kMe + 2 + static_cast<Id>(dice % 5) : chat.peer;
}

void be_answered(Chat& chat, Id message) {
  const Message m = find_message(chat, message);
  if (is_channel(chat) || m.id == 0 || person(chat.peer).deleted) return;
  const std::uint64_t dice = mix(g_world.settings.seed, static_cast<std::uint64_t>(m.id ^ chat.id));
  const Id who = somebody(chat, dice);
  later(0.8, [&chat, message] { read_outbox(chat, message); });
  later(1.2, [&chat, who] { tell_typing(chat, who, "chatActionTyping"); });
  const std::string answer = some_answer(dice, m.text);
  later(2.5, [&chat, who, answer, message] {
    if (!can_write(chat)) return;
    tell_typing(chat, who, "chatActionCancel");
    receive_message(chat, who, answer, is_group(chat) ? message : 0);
  });
}

static Chat* random_chat(std::uint64_t dice) {
  for (int tries = 0; tries < 8; ++tries, dice = mix(dice, 1)) {
    Chat& chat = g_world.chats[dice % g_world.chats.size()];
    const bool alive = chat.number != 0 && chat.kind != ChatKind::kDeleted && chat.order != 0;
    if (alive) return &chat;
  }
  return nullptr;
}

static void write(Chat& chat, std::uint64_t dice) {
  if ((dice & 3) != 0 || is_channel(chat)) {
    receive_next(chat);
    return;
  }
  tell_chat(chat);
  const Id who = somebody(chat, dice >> 8);
  tell_typing(chat, who, "chatActionTyping");
  later(1.5, [&chat, who, dice] { receive_message(chat, who, some_text(dice >> 4)); });
}

static void change(Chat& chat, std::uint64_t dice) {
  const Id id =
      previous_id(chat, message_id(message_index(last_id(chat)) - static_cast<Id>(dice & 3)));
  const Message m = find_message(chat, id);
  if (m.id == 0 || m.state != Message::kSent || content_is_service(m.content) || !chat.told ||
      chat.kind == ChatKind::kSecret) {
    return;
  }
  if ((dice >> 4 & 1) == 0 && !m.outgoing && content_type(m.content) == "messageText") {
    edit_message(chat, id, some_text(dice >> 8));
    return;
  }
  auto& reactions = change_message(chat, id).reactions;
  if (reactions.empty()) reactions.push_back({"\xE2\x9D\xA4", 0, false});
  ++reactions[0].count;
  tell_interaction(chat, id);
}

static void come_or_go(std::uint64_t dice) {
  const Id id = kMe + 2 + static_cast<Id>(dice % 10);
  if (person(id).deleted || person(id).bot) return;
  tell_person(id);
  g_world.online[id] = !g_world.online[id];
  tell_status(id);
}

static void rename_somebody(std::uint64_t dice) {
  static const Shape title("updateChatTitle", "chat_id title");
  const Id id = kMe + 14 + static_cast<Id>(dice % 9);
  if (!is_person(id)) return;
  Person p = person(id);
  p.last_name = (dice >> 8 & 1) ? "Smith" : "Møller";
  g_world.renamed[id] = p;
  tell_person_again(id);
  Chat* chat = find_chat(id);
  if (chat != nullptr && chat->told) tell(title.text({chat->id, chat_title(*chat)}));
}

void live_one_moment(std::uint64_t moment) {
  const std::uint64_t dice = mix(g_world.settings.seed ^ 0x11FE, moment);
  const auto roll = dice % 100;
  if (g_world.connection != "connectionStateReady") return;
  if (roll >= 60 && roll < 80) {
    come_or_go(dice >> 8);
  } else if (roll >= 97) {
    if (roll < 99) rename_somebody(dice >> 8);
    if (roll == 99 && moment > 100 && g_world.calls.empty()) begin_call(kMe + 2, false, false);
  } else if (Chat* chat = random_chat(dice >> 8)) {
    roll < 60 ? write(*chat, dice >> 40) : change(*chat, dice >> 40);
  }
}

}  // namespace world
