#include "state/reactions.h"

#include <algorithm>
#include <list>
#include <unordered_map>

#include "frame/channels.h"
#include "json/text.h"
#include "json/walk.h"
#include "state/message_key.h"

namespace {

constexpr unsigned kMaxExamined = 32;
constexpr std::int64_t kMaxCount = 1000000000;

// Beyond this the ones told first are forgotten.
constexpr std::size_t kMostTold = 4096;
std::list<MsgKey> g_told_order;
std::unordered_map<MsgKey, std::list<MsgKey>::iterator, MsgKeyHash, MsgKeyEq> g_told_reactions;

struct ReactionType {
  std::string_view type;
  std::string emoji;
};
constexpr Row<ReactionType> kReactionTypeRows[] = {
    {"@type", word_into<&ReactionType::type>},
    {"emoji", value_into<&ReactionType::emoji>},
};

struct Reaction {
  ReactionType type;
  std::int64_t count = 0;
  bool chosen = false;
};
constexpr Row<Reaction> kReactionRows[] = {
    {"type", members_into<&Reaction::type, kReactionTypeRows>},
    {"total_count", value_into<&Reaction::count>},
    {"is_chosen", value_into<&Reaction::chosen>},
};

void append_reaction(std::string& array, const Reaction& reaction) {
  const bool is_emoji = reaction.type.type == "reactionTypeEmoji" && !reaction.type.emoji.empty();
  if (reaction.count < 1 || !is_emoji) return;
  array += array.empty() ? "[{\"emoji\":\"" : ",{\"emoji\":\"";
  append_json_escaped(array, reaction.type.emoji);
  array += '"';
  append_int_member(array, "count", std::min(reaction.count, kMaxCount));
  append_bool_member(array, "chosen", reaction.chosen);
  array += '}';
}

// The array of them, as it grows.
struct Reactions {
  std::string array;
};
void take_reactions(ObjectWalk& walk, Reactions& reactions) {
  ArrayWalk list{value_here(walk)};
  for (unsigned i = 0; i < kMaxExamined && next_place(list); ++i) {
    ObjectWalk element{value_here(list)};
    Reaction reaction;
    read_members<kReactionRows>(element, reaction);
    leave(list, element);
    append_reaction(reactions.array, reaction);
  }
  leave(walk, list);
}
constexpr Row<Reactions> kReactionsRows[] = {{"reactions", take_reactions}};

struct ReplyInfo {
  std::int64_t count = -1;
};
constexpr Row<ReplyInfo> kReplyInfoRows[] = {{"reply_count", value_into<&ReplyInfo::count>}};

constexpr Row<InteractionInfo> kInteractionRows[] = {
    {"reply_info", result_into<&InteractionInfo::reply_count, extract_message_reply_count>},
    {"reactions",
     result_into<&InteractionInfo::reactions, extract_message_reactions_event_json_array>},
};

}  // namespace

std::int64_t extract_message_reply_count(ObjectWalk& walk) {
  ReplyInfo replies;
  read_inner<kReplyInfoRows>(walk, replies);
  return replies.count;
}

std::string extract_message_reactions_event_json_array(ObjectWalk& walk) {
  Reactions reactions;
  read_inner<kReactionsRows>(walk, reactions);
  if (!reactions.array.empty()) reactions.array += ']';
  return reactions.array;
}

InteractionInfo read_interaction_info(ObjectWalk& walk) {
  InteractionInfo info;
  read_inner<kInteractionRows>(walk, info);
  return info;
}

void note_told_reactions(std::int64_t chat_id, std::int64_t message_id) {
  if (g_hub_mode) return;
  const auto [told, is_new] = g_told_reactions.try_emplace({chat_id, message_id});
  if (!is_new) return;
  told->second = g_told_order.insert(g_told_order.end(), told->first);
  if (g_told_order.size() <= kMostTold) return;
  g_told_reactions.erase(g_told_order.front());
  g_told_order.pop_front();
}

bool forget_told_reactions(std::int64_t chat_id, std::int64_t message_id) {
  const auto told = g_told_reactions.find({chat_id, message_id});
  if (told == g_told_reactions.end()) return false;
  g_told_order.erase(told->second);
  g_told_reactions.erase(told);
  return true;
}
