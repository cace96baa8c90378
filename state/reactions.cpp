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

struct Reaction {
  std::string_view type;
  std::int64_t count = 0;
  bool chosen = false;
};
constexpr Row<Reaction> kReactionRows[] = {
    {"type", object_into<&Reaction::type>},
    {"total_count", value_into<&Reaction::count>},
    {"is_chosen", value_into<&Reaction::chosen>},
};

void append_reaction(std::string& array, const Reaction& reaction) {
  if (reaction.count < 1 || object_type(reaction.type) != "reactionTypeEmoji") return;
  const std::string emoji = member_string(reaction.type, "emoji");
  if (emoji.empty()) return;
  array += array.empty() ? "[{\"emoji\":\"" : ",{\"emoji\":\"";
  append_json_escaped(array, emoji);
  array += '"';
  append_int_member(array, "count", std::min(reaction.count, kMaxCount));
  append_bool_member(array, "chosen", reaction.chosen);
  array += '}';
}

struct ReplyInfo {
  std::int32_t count = 0;
};
constexpr Row<ReplyInfo> kReplyInfoRows[] = {{"reply_count", value_into<&ReplyInfo::count>}};

}  // namespace

std::string extract_message_reactions_event_json_array(std::string_view interaction_info) {
  std::string array;
  ArrayWalk walk{member_here(member_here(interaction_info, "reactions"), "reactions")};
  std::string_view element;
  for (unsigned i = 0; i < kMaxExamined && next_element(walk, element); ++i) {
    Reaction reaction;
    read_members<kReactionRows>(element, reaction);
    append_reaction(array, reaction);
  }
  if (!array.empty()) array += ']';
  return array;
}

std::int32_t extract_message_reply_count(std::string_view interaction_info) {
  ReplyInfo replies;
  read_members<kReplyInfoRows>(member_here(interaction_info, "reply_info"), replies);
  return replies.count;
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
