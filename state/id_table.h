// A hash table by 64-bit id for what is only ever added: entries are never removed and never move,
// so a pointer to a value stays good. Main thread only.
//
// The entries stand in chunks in the order of their coming. The slots, eight bytes each, are 64
// flat arrays probed in a line; an id's hash says which. Growing moves slots, which carry their
// hash, and no entry, and each array grows by itself: that keeps the longest pause short however
// many ids there are. A lookup costs what it costs in std::unordered_map (bench/state_bench).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

template <typename Value>
class IdTable {
 public:
  // Null when there is no such entry.
  Value* find(std::int64_t id) {
    const std::uint32_t h = hash(id);
    Part& part = part_of(h);
    const std::uint32_t place = part.slots.empty() ? 0 : find_slot(part, h, id).place;
    return place == 0 ? nullptr : &entry(place).value;
  }
  const Value* find(std::int64_t id) const { return const_cast<IdTable*>(this)->find(id); }

  // The entry's value; a new one is as Value() makes it.
  Value& get(std::int64_t id) {
    const std::uint32_t h = hash(id);
    Part& part = part_of(h);
    if ((part.used + 1) * 4 > part.slots.size() * 3) grow(part);
    Slot& slot = find_slot(part, h, id);
    if (slot.place == 0) {
      if (size_ % kChunk == 0) chunks_.push_back(std::make_unique<Entry[]>(kChunk));
      slot = {h, static_cast<std::uint32_t>(++size_)};
      ++part.used;
      entry(slot.place).id = id;
    }
    return entry(slot.place).value;
  }

  std::size_t size() const { return size_; }
  void clear() { *this = IdTable(); }

 private:
  struct Entry {
    std::int64_t id = 0;
    Value value{};
  };
  struct Slot {
    std::uint32_t hash = 0;
    std::uint32_t place = 0;  // number of the entry, from 1; 0: free
  };
  // An array of slots: a power of two of them, or none.
  struct Part {
    std::vector<Slot> slots;
    std::size_t used = 0;
  };
  static constexpr std::size_t kChunk = 256;
  static constexpr unsigned kPartBits = 6;

  static std::uint32_t hash(std::int64_t id) {
    return static_cast<std::uint32_t>(static_cast<std::uint64_t>(id) * 0x9E3779B97F4A7C15U >> 32);
  }
  // The top bits choose the part, the lowest the slot.
  Part& part_of(std::uint32_t h) { return parts_[h >> (32 - kPartBits)]; }
  Entry& entry(std::uint32_t place) { return chunks_[(place - 1) / kChunk][(place - 1) % kChunk]; }

  // The slot of the id, or the free one where it belongs.
  Slot& find_slot(Part& part, std::uint32_t h, std::int64_t id) {
    const std::size_t mask = part.slots.size() - 1;
    std::size_t at = h & mask;
    while (part.slots[at].place != 0 &&
           (part.slots[at].hash != h || entry(part.slots[at].place).id != id)) {
      at = (at + 1) & mask;
    }
    return part.slots[at];
  }

  static void grow(Part& part) {
    constexpr std::size_t kFirstSlots = 8;
    const std::vector<Slot> old = std::move(part.slots);
    part.slots.assign(old.empty() ? kFirstSlots : old.size() * 2, Slot());
    const std::size_t mask = part.slots.size() - 1;
    for (const Slot& slot : old) {
      if (slot.place == 0) continue;
      std::size_t at = slot.hash & mask;
      while (part.slots[at].place != 0) at = (at + 1) & mask;
      part.slots[at] = slot;
    }
  }

  Part parts_[1U << kPartBits];
  std::vector<std::unique_ptr<Entry[]>> chunks_;
  std::size_t size_ = 0;
};
