#include "state/reactions.h"

#include <algorithm>
#include <cstdint>

#include "json/text.h"
#include "json/walk.h"
#include "state/message.h"

namespace {

constexpr unsigned kMaxExamined = 32;
constexpr std::int64_t kMaxCount = 1000000000;

struct Reaction {
  std::string emoji;  // empty: of another kind
  std::int64_t count = 0;
  bool chosen = false;
};

std::string emoji_of(std::string_view type) {
  return object_type(type) == "reactionTypeEmoji" ? member_string(type, "emoji") : std::string();
}

Reaction read_reaction(std::string_view object) {
  Reaction reaction;
  ObjectWalk walk{object};
  for (JsonMember member; next_member(walk, member);) {
    if (member.key == "type") reaction.emoji = emoji_of(member.value);
    if (member.key == "total_count") reaction.count = value_int(member.value);
    if (member.key == "is_chosen") reaction.chosen = value_true(member.value);
  }
  return reaction;
}

void append_reaction(std::string& array, const Reaction& reaction) {
  array += array.empty() ? "[{\"emoji\":\"" : ",{\"emoji\":\"";
  append_json_escaped(array, reaction.emoji);
  array += '"';
  append_int_member(array, "count", std::min(reaction.count, kMaxCount));
  append_bool_member(array, "chosen", reaction.chosen);
  array += '}';
}

}  // namespace

std::string reactions_event_array(std::string_view interaction_info) {
  std::string array;
  ArrayWalk walk{member_array(member_object(interaction_info, "reactions"), "reactions")};
  std::string_view element;
  for (unsigned i = 0; i < kMaxExamined && next_element(walk, element); ++i) {
    if (!value_is_object(element)) break;
    const Reaction reaction = read_reaction(element);
    if (!reaction.emoji.empty() && reaction.count >= 1) append_reaction(array, reaction);
  }
  if (!array.empty()) array += ']';
  return array;
}

std::string extract_message_reactions_event_json_array(std::string_view json) {
  const ObjectText info = own_object(find_message(json), "interaction_info");
  return info.whole ? reactions_event_array(info.text) : std::string();
}
