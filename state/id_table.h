// A hash table by 64-bit id for what is only ever added: entries are never removed and never move,
// so a pointer to a value stays good. Main thread only.
//
// The slots are a flat array of eight bytes each, probed in a line; the entries stand in chunks in
// the order of their coming. Growing moves slots, which carry their hash, and no entry. A lookup
// costs what it costs in std::unordered_map; the longest pause on the way to a million users, when
// the table grows, is half as long (bench/state_bench).
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
    const std::uint32_t place = slots_.empty() ? 0 : slots_[find_slot(id)].place;
    return place == 0 ? nullptr : &entry(place).value;
  }
  const Value* find(std::int64_t id) const { return const_cast<IdTable*>(this)->find(id); }

  // The entry's value; a new one is as Value() makes it.
  Value& get(std::int64_t id) {
    if ((size_ + 1) * 4 > slots_.size() * 3) grow();
    Slot& slot = slots_[find_slot(id)];
    if (slot.place == 0) {
      if (size_ % kChunk == 0) chunks_.push_back(std::make_unique<Entry[]>(kChunk));
      slot = {hash(id), static_cast<std::uint32_t>(++size_)};
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
  static constexpr std::size_t kChunk = 256;

  static std::uint32_t hash(std::int64_t id) {
    return static_cast<std::uint32_t>(static_cast<std::uint64_t>(id) * 0x9E3779B97F4A7C15U >> 32);
  }
  Entry& entry(std::uint32_t place) { return chunks_[(place - 1) / kChunk][(place - 1) % kChunk]; }

  // The slots are a power of two; a slot's number is the top bits of the hash.
  std::size_t first_slot(std::uint32_t h) const { return h >> shift_; }
  std::size_t next_slot(std::size_t slot) const { return (slot + 1) & (slots_.size() - 1); }

  // The slot of the id, or the free one where it belongs.
  std::size_t find_slot(std::int64_t id) {
    const std::uint32_t h = hash(id);
    std::size_t at = first_slot(h);
    while (slots_[at].place != 0 && (slots_[at].hash != h || entry(slots_[at].place).id != id)) {
      at = next_slot(at);
    }
    return at;
  }

  void grow() {
    std::vector<Slot> old = std::move(slots_);
    slots_.assign(old.empty() ? kFirstSlots : old.size() * 2, Slot());
    shift_ = old.empty() ? kFirstShift : shift_ - 1;
    for (const Slot& slot : old) {
      if (slot.place == 0) continue;
      std::size_t at = first_slot(slot.hash);
      while (slots_[at].place != 0) at = next_slot(at);
      slots_[at] = slot;
    }
  }

  static constexpr std::size_t kFirstSlots = 64;
  static constexpr unsigned kFirstShift = 32 - 6;

  std::vector<Slot> slots_;
  std::vector<std::unique_ptr<Entry[]>> chunks_;
  std::size_t size_ = 0;
  unsigned shift_ = kFirstShift;
};
