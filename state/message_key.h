// A message's place: its id counts within its chat only.
#pragma once

#include <cstddef>
#include <cstdint>

struct MsgKey {
  std::int64_t chat_id = 0;
  std::int64_t message_id = 0;
};
struct MsgKeyHash {
  // Message ids of one chat lie far apart in their low bits; both ids are spread over all bits.
  std::size_t operator()(const MsgKey& key) const {
    std::uint64_t mixed = static_cast<std::uint64_t>(key.chat_id) * 0x9E3779B97F4A7C15U;
    mixed ^= static_cast<std::uint64_t>(key.message_id) + (mixed >> 29);
    mixed *= 0xBF58476D1CE4E5B9U;
    return static_cast<std::size_t>(mixed ^ (mixed >> 32));
  }
};
struct MsgKeyEq {
  bool operator()(const MsgKey& a, const MsgKey& b) const {
    return a.chat_id == b.chat_id && a.message_id == b.message_id;
  }
};
