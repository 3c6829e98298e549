// The shortcuts that this platform offers to a renderer.
#include "zuapi/shortcuts.hpp"

#include "zuapi/record.hpp"

using namespace zuapi;

namespace {

const uint32_t *revision_of(zu_do_properties *record) {
  return record == nullptr ? nullptr : &record->revision;
}

int32_t find_position(const void *form, zu_do_name *name) {
  return form == nullptr || name == nullptr ? -1 : find_slot(static_cast<const shape *>(form), name);
}

constexpr zu_do_value_facts no_facts = {nullptr, ZU_DO_TYPE_NONE, false, false};

zu_do_value_facts facts_of(zu_do_value *value) {
  return {value, value->type, (value->flags & value_default) != 0, (value->flags & value_typed) != 0};
}

// Reads the rest of the positions, from the first one whose slot may have been replaced.
[[gnu::noinline]] void read_overlaid(zu_do_properties *record, const int32_t *position, const int32_t *end,
                                     zu_do_value_facts *facts) {
  for (; position != end; ++position, ++facts) {
    const auto slot = static_cast<uint32_t>(*position);
    *facts = slot < record->width ? facts_of(value_at(record, slot)) : no_facts;
  }
}

// The loop only reads cells, so that it needs few registers and no call; read_overlaid does the rest.
const void *read_at(zu_do_properties *record, const void *form, const int32_t *position, uint32_t count,
                    zu_do_value_facts *facts) {
  if (record == nullptr) return nullptr;
  if (record->form != form || form == nullptr) return record->form;
  zu_do_value *const cells = record->cells;
  const uint64_t overlaid = record->overlaid;
  for (const int32_t *const end = position + count; position != end; ++position, ++facts) {
    const auto slot = static_cast<uint32_t>(*position);
    if (slot >= record->width) {
      *facts = no_facts;
    } else if ((overlaid >> (slot % 64) & 1) == 0) {
      *facts = facts_of(&cells[slot]);
    } else {
      read_overlaid(record, position, end, facts);
      break;
    }
  }
  return form;
}

[[gnu::noinline]] zu_do_value *find_value(zu_do_properties *record, const zu_do_name *name) {
  return value_of(record, name);
}

void read_uri(zu_do_properties *record, bool collection, zu_do_uri_text *found) {
  zu_do_value *value = nullptr;
  // In a view the row's URI is in the first slot, and
  // `_coll_uri` is the first entry if the view was made with it.
  if (record != nullptr) {
    if (record->width != 0 && !collection && (record->overlaid & slot_bit(0)) == 0) {
      value = &record->cells[0];
    } else if (record->lead != 0 && collection) {
      value = record->entries[0].value;
    } else {
      value = find_value(record, collection ? name_of_coll_uri() : name_of_uri());
    }
  }
  if (value == nullptr) {
    *found = {nullptr, 0, ZU_DO_NO_PROPERTY};
  } else if (value->type == ZU_DO_TYPE_MR_URI || value->type == ZU_DO_TYPE_COLL_URI) {
    const zu_do_uri *uri = value->content().uri;
    *found = {uri->text(), uri->length, ZU_DO_HAS_URI};
  } else {
    *found = {nullptr, 0, ZU_DO_HAS_NO_URI};
  }
}

// ---- Positions: entries that exist from the start, each with a cell for an integer ----

zu_do_properties *new_positions(zu_do_name *const *names, uint32_t count) {
  zu_do_properties *record = record_make(count, count);
  bool good = record != nullptr && record_reserve(record, count);
  for (uint32_t i = 0; good && i < count; ++i) {
    good = names[i] != nullptr;
    if (!good) break;
    record->entries[record->length++] = {zu_do_name_ref(names[i]), nullptr};
    zu_do_value &cell = record->cells[i];
    const auto offset = reinterpret_cast<char *>(&cell) - reinterpret_cast<char *>(record);
    // A cell that is too far away to find its record is not used.
    cell = {ZU_DO_TYPE_INT, value_in_record, static_cast<uint16_t>(offset <= UINT16_MAX ? offset : 0), 0, {}};
  }
  if (!good) {
    zu_do_properties_deref(record);
    return nullptr;
  }
  record->positions = count;
  record_enter_all(record);
  return record;
}

// Removes all properties that are not positions.
[[gnu::noinline]] void drop_what_is_beside(zu_do_properties *record) {
  for (uint32_t i = record->positions; i < record->length; ++i) {
    release_value(record->entries[i].value);
    zu_do_name_deref(record->entries[i].name);
  }
  record->length = record->positions;
  record->form = nullptr;
  record->width = record->lead = 0;
  record->overlaid = 0;
  record_enter_all(record);
}

bool fill(zu_do_properties *record, zu_do_value *const *values, uint32_t count) {
  if (record == nullptr || record->positions != count) return false;
  if (record->count.load(std::memory_order_acquire) != 1) return false;
  ++record->revision;
  if (record->length != count || record->form != nullptr) drop_what_is_beside(record);
  for (zu_do_entry *entry = record->entries, *end = entry + count; entry != end; ++entry, ++values) {
    zu_do_value *value = *values;
    if (value != nullptr && (value->flags & (value_counted | value_in_record)) != 0) {
      value = value_share(value);
      if (value == nullptr) return false;
    }
    release_value(entry->value);
    entry->value = value;
  }
  return true;
}

int set_at(zu_do_properties *record, uint32_t position, zu_do_value *value) {
  if (record == nullptr || value == nullptr || position >= record->positions) return ZU_FAILED;
  zu_do_value *shared = value_share(value);
  if (shared == nullptr) return ZU_EXHAUSTED;
  replace_value(record, record->entries[position], shared);
  return ZU_OK;
}

int set_int_at(zu_do_properties *record, uint32_t position, int64_t number) {
  if (record == nullptr || position >= record->positions) return ZU_FAILED;
  zu_do_value *value = &record->cells[position];
  // A cell may only change while nobody else has a reference on the record or on one of its cells.
  if (value->spare != 0 && record->count.load(std::memory_order_acquire) == 1) {
    value->as.integer = number;
  } else {
    value = zu_do_value_new_int(number);
    if (value == nullptr) return ZU_EXHAUSTED;
  }
  replace_value(record, record->entries[position], value);
  return ZU_OK;
}

constexpr zu_do_shortcuts offered = {
    revision_of, find_position, read_at,    read_uri,      record_new_from_row, record_renew, new_positions,
    fill,        set_at,        set_int_at, value_display, value_key_form,      uri_parts_of};

} // namespace

const zu_do_shortcuts *zu_do_get_shortcuts(void) {
  return &offered;
}
