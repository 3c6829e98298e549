// The one hash table of this platform: items under the hashes of their texts. The texts are not in the table:
// its users compare them.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

#include "qmalloc/qmalloc.h"

namespace infra {

constexpr uint32_t four_bytes(const char *text) {
  char bytes[4] = {};
  if (std::is_constant_evaluated()) {
    for (size_t i = 0; i < 4; ++i) bytes[i] = text[i];
  } else {
    memcpy(bytes, text, 4);
  }
  return std::bit_cast<uint32_t>(bytes);
}

// Up to eight bytes as a number, read as two pieces that may overlap; also usable at compile time.
constexpr uint64_t word_of(const char *text, size_t length) {
  if (length >= 4) return four_bytes(text) | uint64_t{four_bytes(text + length - 4)} << (8 * (length - 4));
  uint64_t word = 0;
  for (size_t i = 0; i < length; ++i) word = word << 8 | static_cast<uint8_t>(text[i]);
  return word;
}

constexpr uint32_t hash_text(const char *text, size_t length) {
  constexpr uint64_t factor = 0x9e3779b97f4a7c15u;
  uint64_t hash = length * factor;
  for (; length >= 8; text += 8, length -= 8) {
    hash = (hash ^ word_of(text, 8)) * factor;
    hash ^= hash >> 32;
  }
  hash = (hash ^ word_of(text, length)) * factor;
  hash ^= hash >> 29;
  return static_cast<uint32_t>(hash ^ (hash >> 32));
}

// Open addressing: an item is in the slot of its hash or in one after it, without a free slot between. No
// item has the value `none`.
template <class Item, Item none>
class hash_index {
public:
  hash_index() = default;
  // Its memory is charged to that area.
  explicit hash_index(uint32_t area) : area_(area) {}
  ~hash_index() { qfree_named(slots_); }
  hash_index(const hash_index &) = delete;
  hash_index &operator=(const hash_index &) = delete;

  // Room for so many items; false, and no change, when memory is exhausted.
  bool reserve(size_t items) {
    size_t size = 8;
    while (size * 3 / 4 < items) size *= 2;
    return size <= size_ || resize(size);
  }
  // Adds an item. False, and no change, when there is neither room nor memory: a table that cannot grow is
  // first filled up further.
  bool insert(uint32_t hash, Item item) {
    const bool full = used_ + 1 > size_ * 3 / 4 && !resize(size_ == 0 ? 8 : size_ * 2);
    if (full && used_ + 1 >= size_) return false;
    ++used_;
    place({hash, item});
    return true;
  }
  // The first item of that hash for which `is_it(item)` holds, or `none`.
  template <class IsIt>
  Item find(uint32_t hash, IsIt &&is_it) const {
    if (size_ == 0) return none;
    for (size_t at = hash & (size_ - 1); slots_[at].item != none; at = (at + 1) & (size_ - 1)) {
      if (slots_[at].hash == hash && is_it(slots_[at].item)) return slots_[at].item;
    }
    return none;
  }
  // Replaces an item of the table by another one.
  void replace(uint32_t hash, Item item, Item by) { slots_[place_of(hash, item)].item = by; }
  // Removes an item of the table. The items after it move up, as far as their hashes allow.
  void erase(uint32_t hash, Item item) {
    const size_t mask = size_ - 1;
    size_t gap = place_of(hash, item);
    for (size_t at = (gap + 1) & mask; slots_[at].item != none; at = (at + 1) & mask) {
      if (((at - slots_[at].hash) & mask) < ((at - gap) & mask)) continue;
      slots_[std::exchange(gap, at)] = slots_[at];
    }
    slots_[gap].item = none;
    --used_;
  }
  // Removes all items, and keeps the room.
  void clear() {
    for (size_t at = 0; at < size_; ++at) slots_[at].item = none;
    used_ = 0;
  }
  bool has_room() const { return size_ != 0; }
  // Loads the slot of a hash into the processor's cache, for a look-up that follows some steps later.
  void prefetch(uint32_t hash) const {
    if (size_ != 0) __builtin_prefetch(&slots_[hash & (size_ - 1)]);
  }

private:
  struct slot {
    uint32_t hash;
    Item item;
  };

  size_t place_of(uint32_t hash, Item item) const {
    size_t at = hash & (size_ - 1);
    while (slots_[at].item != item) at = (at + 1) & (size_ - 1);
    return at;
  }
  void place(slot entry) { slots_[place_of(entry.hash, none)] = entry; }
  bool resize(size_t size) {
    auto *slots = static_cast<slot *>(qmalloc_named(area_, size * sizeof(slot)));
    if (slots == nullptr) return false;
    for (size_t at = 0; at < size; ++at) slots[at] = {0, none};
    slot *old = std::exchange(slots_, slots);
    const size_t old_size = std::exchange(size_, size);
    for (size_t at = 0; at < old_size; ++at) {
      if (old[at].item != none) place(old[at]);
    }
    qfree_named(old);
    return true;
  }

  slot *slots_ = nullptr;
  size_t size_ = 0; // 0, or a power of two
  size_t used_ = 0;
  uint32_t area_ = ZU_DO_AREA;
};

} // namespace infra
