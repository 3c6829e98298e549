// Look-ups in records, shared by the sources about records.
#pragma once

#include "zuapi/objects.hpp"

namespace zuapi {

inline uint64_t slot_bit(uint32_t slot) {
  return uint64_t{1} << (slot % 64);
}

// The entry whose name has that hash and is the one, or none.
template <class IsName>
zu_do_entry *find_entry(zu_do_properties *record, uint32_t hash, IsName is_name) {
  for (uint32_t at = hash & record->index_mask; record->index[at] != 0; at = (at + 1) & record->index_mask) {
    zu_do_entry *entry = &record->entries[record->index[at] - 1];
    if (is_name(entry->name)) return entry;
  }
  return nullptr;
}

inline zu_do_entry *find_entry(zu_do_properties *record, const zu_do_name *name) {
  if (record->index != nullptr) {
    return find_entry(record, name->hash, [name](const zu_do_name *other) { return other == name; });
  }
  for (zu_do_entry *entry = record->entries, *end = entry + record->length; entry != end; ++entry) {
    if (entry->name == name) return entry;
  }
  return nullptr;
}

// The value at a slot of a view.
inline zu_do_value *value_at(zu_do_properties *record, uint32_t slot) {
  if ((record->overlaid & slot_bit(slot)) != 0) {
    if (const zu_do_entry *entry = find_entry(record, record->form->columns.items[slot].name)) {
      return entry->value;
    }
  }
  return &record->cells[slot];
}

} // namespace zuapi
