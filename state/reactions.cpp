#include "state/reactions.h"

#include <algorithm>
#include <limits>

#include "json/text.h"
#include "state/message.h"
#include "state/message_content.h"

namespace {

constexpr unsigned kMaxExamined = 32;
constexpr std::int64_t kMaxCount = 1000000000;

struct Reaction {
  std::string emoji;  // empty: of another kind
  std::int64_t count = 0;
  bool chosen = false;
};

std::string walk_emoji(ObjectWalk& reaction) {
  std::string emoji;
  ObjectWalk walk = walk_behind(value_here(reaction), R"({"@type":"reactionTypeEmoji")");
  bool is_emoji = walk.pos != 0;
  for (std::string_view key; !(is_emoji && !emoji.empty()) && next_key(walk, key);) {
    if (is_key(key, "@type")) {
      is_emoji = string_content(take_value(walk)) == "reactionTypeEmoji";
    } else if (is_key(key, "emoji")) {
      emoji = value_string(take_value(walk));
    }
  }
  leave(reaction, walk);
  return is_emoji ? emoji : std::string();
}

Reaction walk_reaction(ArrayWalk& reactions) {
  Reaction reaction;
  int wanted = 3;
  ObjectWalk walk = walk_behind(value_here(reactions), R"({"@type":"messageReaction")");
  for (std::string_view key; wanted > 0 && next_key(walk, key);) {
    if (is_key(key, "type")) {
      reaction.emoji = walk_emoji(walk);
    } else if (is_key(key, "total_count")) {
      reaction.count = value_int(take_value(walk));
    } else if (is_key(key, "is_chosen")) {
      reaction.chosen = value_true(take_value(walk));
    } else {
      continue;
    }
    --wanted;
  }
  leave(reactions, walk);
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

std::string walk_reactions(ObjectWalk& interaction) {
  std::string array;
  ObjectWalk walk{value_here(interaction)};
  for (std::string_view key; next_key(walk, key);) {
    if (!is_key(key, "reactions")) continue;
    ArrayWalk reactions{value_here(walk)};
    for (unsigned i = 0; i < kMaxExamined && next_place(reactions); ++i) {
      const Reaction reaction = walk_reaction(reactions);
      if (!reaction.emoji.empty() && reaction.count >= 1) append_reaction(array, reaction);
    }
    leave(walk, reactions);
    if (!array.empty()) array += ']';
    break;
  }
  leave(interaction, walk);
  return array;
}

std::int32_t clamp_count(std::int64_t count) {
  constexpr std::int64_t kMax = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(count, 0, kMax));
}

std::int32_t walk_reply_count(ObjectWalk& interaction) {
  std::int64_t count = 0;
  ObjectWalk walk{value_here(interaction)};
  for (std::string_view key; next_key(walk, key);) {
    if (!is_key(key, "reply_count")) continue;
    count = value_int(take_value(walk));
    break;
  }
  leave(interaction, walk);
  return clamp_count(count);
}

}  // namespace

void read_interaction(ObjectWalk& info, Interaction& interaction) {
  for (std::string_view key; next_key(info, key);) {
    if (is_key(key, "reply_info")) {
      interaction.reply_count = walk_reply_count(info);
    } else if (is_key(key, "reactions")) {
      interaction.reactions = walk_reactions(info);
    }
  }
}

Interaction read_interaction(const ObjectText& info) {
  Interaction interaction;
  if (info.whole) {
    ObjectWalk walk{info.text};
    read_interaction(walk, interaction);
  } else {
    interaction.reply_count =
        clamp_count(own_int(own_object(info, "reply_info"), "reply_count", 0));
  }
  return interaction;
}

std::string extract_message_reactions_event_json_array(std::string_view json) {
  return read_interaction(own_object(find_message(json), "interaction_info")).reactions;
}
