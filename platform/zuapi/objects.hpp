// Common parts of this folder's sources: allocation, counting, growing, and the records of counted objects.
#pragma once

#include <cstring>

#include "infra/text.hpp"
#include "qmalloc/qmalloc.h"
#include "zuapi/layout.hpp"

namespace zuapi {

// ---- Memory ----

// A block for a T with `extra` bytes behind it, or null. The caller fills it.
template <class T>
T *allocate(size_t extra = 0) {
  void *block = qmalloc_named(ZU_DO_AREA, sizeof(T) + extra);
  return block == nullptr ? nullptr : new (block) T;
}

inline void release(void *block) {
  qfree_named(block);
}

// Makes room for `wanted` items; false leaves the array as it was.
template <class T>
bool grow(T *&items, uint32_t &capacity, size_t wanted) {
  if (wanted <= capacity) return true;
  if (wanted > UINT32_MAX / 2) return false;
  size_t room = capacity < 4 ? 4 : capacity * size_t{2};
  if (room < wanted) room = wanted;
  void *block = qrealloc_named(ZU_DO_AREA, items, room * sizeof(T));
  if (block == nullptr) return false;
  items = static_cast<T *>(block);
  capacity = static_cast<uint32_t>(room);
  return true;
}

// ---- Counting ----

inline void count_up(std::atomic<uint32_t> &count) {
  count.fetch_add(1, std::memory_order_relaxed);
}

// True when that was the last reference. If the count is one, the reference is the caller's, so nobody can
// raise the count meanwhile: no atomic subtraction is needed.
inline bool count_down(std::atomic<uint32_t> &count) {
  return count.load(std::memory_order_acquire) == 1 || count.fetch_sub(1, std::memory_order_acq_rel) == 1;
}

// ---- Values ----

inline constexpr std::string_view no_typedef{};

// A counted value with the content of an untyped cell, whose text is copied and whose URI or list is shared.
zu_do_value *value_make(const zu_do_value &content, std::string_view typedef_name, bool is_default);
zu_do_value *value_copy(zu_do_value *value);

// A value on the heap. Behind the cell: the typed payload if it
// has a typedef name, the text of a string, the typedef name.
struct counted_value {
  std::atomic<uint32_t> count;
  uint32_t unused;
  zu_do_value cell;

  static counted_value *of(zu_do_value *value) {
    return reinterpret_cast<counted_value *>(reinterpret_cast<char *>(value) - offsetof(counted_value, cell));
  }
};

// A new reference for a container. A cell inside a record is
// copied, so that records never keep each other alive.
inline zu_do_value *value_share(zu_do_value *value) {
  if ((value->flags & value_in_record) != 0) return value_copy(value);
  if ((value->flags & value_counted) != 0) count_up(counted_value::of(value)->count);
  return value;
}

inline const char *typedef_name_of(const zu_do_value *value) {
  return (value->flags & value_typed) != 0 ? value->as.typed->typedef_name : nullptr;
}

// As zu_do_value_to_strbuf, for debug texts: a value of typedef PasswordString is shown as `<removed>`.
int value_to_debug_text(zu_do_value *value, zu_do_strbuf *buffer);
// Writes one line: tabs, the name, the text between, and the value as debug text.
void print_pair(FILE *stream, uint32_t indentation, const char *name, const char *between,
                zu_do_value *value);

// ---- Texts ----

using infra::hex_digits;
using infra::trimmed;

// Classes of bytes, for names in URIs and for values in key form.
enum byte_class : uint8_t {
  byte_in_name = 1,   // may stand in the name of a segment, a key or a query
  byte_plain = 2,     // stands for itself in key form
  byte_control = 4,   // below 0x20, and 0x7f
  byte_ends_value = 8 // / ; ?
};
struct byte_class_table {
  uint8_t of[256];
};
extern const byte_class_table byte_classes;
inline bool byte_is(char c, byte_class wanted) {
  return (byte_classes.of[static_cast<uint8_t>(c)] & wanted) != 0;
}

// Writes a NUL-terminated copy to `at`; returns its end.
inline char *put_text(char *at, std::string_view text) {
  if (!text.empty()) memcpy(at, text.data(), text.size());
  at[text.size()] = '\0';
  return at + text.size() + 1;
}

// ---- Name/value lists ----

int nvlist_add(zu_do_nvlist *list, std::string_view name, zu_do_value *value);

} // namespace zuapi

// One property of a record that is not a view, or one set over a view.
struct zu_do_entry {
  zu_do_name *name;
  zu_do_value *value; // null: of a position that is not set
};

// A record. Without a shape, its entries are its properties; the first ones may be positions, which exist
// from the start without values. With a shape, the record is a view: the shape's names with the values in
// `cells`; the entries are the properties that were set later, in place of a slot or beside them.
struct zu_do_properties {
  static constexpr uint32_t own_count = 2;

  std::atomic<uint32_t> count;
  uint32_t width; // slots of the shape; 0 without one
  const zuapi::shape *form;
  zu_do_value *cells; // of the row; without a shape those in this block for the integers of positions
  uint64_t overlaid;  // bit (slot % 64): an entry may replace the slot
  zu_do_entry *entries;
  uint32_t length; // of the entries
  uint32_t capacity;
  uint32_t revision; // raised by every set
  uint32_t positions;
  uint16_t own_used;
  uint16_t lead; // 1 in a view whose first entry, `_coll_uri`, comes before the slots
  infra::hash_index<uint32_t, UINT32_MAX> index; // of the entries by name; without room while they are few
  // The values of `_coll_uri` and `_uri`, without an
  // allocation; each is set once, since values are immutable.
  zu_do_value own[own_count];

  zu_do_entry *first_entries() { return reinterpret_cast<zu_do_entry *>(this + 1); }
};
