#include "state/told_reactions.h"

#include <unordered_set>

#include "state/service_messages.h"

static std::unordered_set<MsgKey, MsgKeyHash, MsgKeyEq> g_told_reactions;

void note_told_reactions(std::int64_t chat_id, std::int64_t message_id) {
  g_told_reactions.insert({chat_id, message_id});
}

bool forget_told_reactions(std::int64_t chat_id, std::int64_t message_id) {
  return g_told_reactions.erase({chat_id, message_id}) != 0;
}
