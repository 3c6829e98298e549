// Reading and filling records: private to this platform.
#pragma once

#include "zuapi/objects.hpp"

#pragma GCC visibility push(hidden)

namespace zuapi {

// ---- Look-ups ----

inline uint64_t slot_bit(uint32_t slot) {
  return uint64_t{1} << (slot % 64);
}

// The entry of that name, or null.
inline zu_do_entry *find_entry(zu_do_properties *record, const zu_do_name *name) {
  if (record->index.has_room()) {
    const uint32_t found =
        record->index.find(name->hash, [&](uint32_t entry) { return record->entries[entry].name == name; });
    return found == UINT32_MAX ? nullptr : &record->entries[found];
  }
  for (zu_do_entry *entry = record->entries, *end = entry + record->length; entry != end; ++entry) {
    if (entry->name == name) return entry;
  }
  return nullptr;
}

// The value that replaces a slot of a view, or null.
inline zu_do_value *overlay_at(zu_do_properties *record, uint32_t slot) {
  const zu_do_entry *entry = find_entry(record, record->form->columns.items[slot].name);
  return entry != nullptr ? entry->value : &record->cells[slot];
}

// The value at a slot of a view.
inline zu_do_value *value_at(zu_do_properties *record, uint32_t slot) {
  return (record->overlaid & slot_bit(slot)) != 0 ? overlay_at(record, slot) : &record->cells[slot];
}

// As zu_do_properties_get_value_n, of a record and a name.
inline zu_do_value *value_of(zu_do_properties *record, const zu_do_name *name) {
  if (record->form != nullptr) {
    const int32_t slot = find_slot(record->form, name);
    if (slot >= 0) return value_at(record, static_cast<uint32_t>(slot));
  }
  const zu_do_entry *entry = find_entry(record, name);
  return entry != nullptr ? entry->value : nullptr;
}

// ---- Filling ----

// A record without properties, with room for some entries and cells; null when memory is exhausted.
zu_do_properties *record_make(size_t room, size_t cells = 0);
// Makes room for `wanted` entries. False when memory is exhausted.
bool record_reserve(zu_do_properties *record, size_t wanted);
// Builds the index of many entries again.
void record_enter_all(zu_do_properties *record);

// Releases the value of an entry (may be null); the record's own cells are released with the record.
inline void release_value(zu_do_value *value) {
  if (value != nullptr && (value->flags & value_counted) != 0) zu_do_value_deref(value);
}

// Replaces an entry's value; the record takes over the reference.
inline void replace_value(zu_do_properties *record, zu_do_entry &entry, zu_do_value *value) {
  ++record->revision;
  release_value(entry.value);
  entry.value = value;
}

} // namespace zuapi

#pragma GCC visibility pop
