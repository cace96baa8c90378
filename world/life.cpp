// What happens by itself: people read, type, answer, write, come and go.
#include "world/world.h"

namespace world {

static void tell_typing(const Chat& chat, Id sender, const char* action) {
  tell("updateChatAction chat_id sender_id action",
       {chat.id, sender_text(sender), bare_object(action)});
}

static Id somebody(const Chat& chat, std::uint64_t dice) {
  return chat.is_group() ? kAnn + roll(dice, 5) : chat.peer;
}

void be_answered(Chat& chat, Id message) {
  const Message m = find_message(chat, message);
  if (m.id == 0) return;
  const std::uint64_t dice = dice_for(m.id ^ chat.id);
  if (chat.is_channel()) {  // readers do what they can
    later(2.5, [&chat, message] {
      if (can_react(chat, find_message(chat, message))) react(chat, message, "👍", false);
    });
    return;
  }
  const Id who = somebody(chat, dice);
  later(0.8, [&chat, message] { read_outbox(chat, message); });
  later(1.2, [&chat, who] { tell_typing(chat, who, "chatActionTyping"); });
  const std::string answer = some_answer(dice, m.text);
  later(2.5, [&chat, who, answer, message] {
    if (!can_write(chat)) return;
    tell_typing(chat, who, "chatActionCancel");
    receive_message(chat, who, answer, chat.is_group() ? message : 0);
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
  if ((dice & 3) != 0 || chat.is_channel()) return receive_next(chat);
  tell_chat(chat);
  const Id who = somebody(chat, dice >> 8);
  tell_typing(chat, who, "chatActionTyping");
  later(1.5, [&chat, who, dice] { receive_message(chat, who, some_text(dice >> 4)); });
}

// One of the last messages is edited, or reacted to.
static void change(Chat& chat, std::uint64_t dice) {
  const Id newest = message_index(last_id(chat)) - roll(dice, 4);
  const Message m = find_message(chat, previous_id(chat, message_id(newest)));
  if (!can_react(chat, m) || !chat.told) return;
  if ((dice >> 4 & 1) == 0 && !m.outgoing && m.is_text()) {
    edit_message(chat, m.id, some_text(dice >> 8));
  } else {
    react(chat, m.id, m.reactions.empty() ? "❤" : m.reactions[0].emoji, false);
  }
}

// Somebody has another name, or shows another photo.
static void change_somebody(std::uint64_t dice) {
  const Id id = kMe + 14 + roll(dice, 9);
  Person p = person(id);
  if ((dice >> 9 & 1) != 0) {
    p.photo = p.photo % 3 + 1;
  } else {
    p.last_name = dice >> 8 & 1 ? "Smith" : "Møller";
  }
  change_person(id, p);
}

static void come_or_go(Id id) {
  Person p = person(id);
  if (p.deleted || p.bot) return;
  p.online = !p.online;
  p.seen = date_now();
  change_person(id, p);
}

static void live_one_moment(std::uint64_t moment) {
  const std::uint64_t dice = mix(g_world.settings.seed ^ 0x11FE, moment);
  const int what = roll(dice, 100);
  if (!is_online()) return;
  if (what >= 97) {
    if (what < 99) change_somebody(dice >> 8);
    if (what == 99 && moment > 100 && !is_called()) begin_call(kAnn, false);
  } else if (what >= 60 && what < 80) {
    come_or_go(kAnn + roll(dice >> 8, 10));
  } else if (Chat* chat = random_chat(dice >> 8)) {
    what < 60 ? write(*chat, dice >> 40) : change(*chat, dice >> 40);
  }
}

// From the next moment on; so many of them are a second.
static void live_on(double since, std::uint64_t moment) {
  const double due = since + static_cast<double>(moment + 1) / g_world.settings.rate;
  happen_at(due, [since, moment] {
    live_one_moment(moment);
    live_on(since, moment + 1);
  });
}

void begin_life() {
  if (g_world.settings.rate > 0) live_on(now(), 0);
}

}  // namespace world
