// Records: properties of their own, or views of a store's row with what was set later over it.
#include <algorithm>
#include <bit>

#include "zuapi/objects.hpp"
#include "zuapi/record.hpp"

using namespace zuapi;

namespace {

constexpr uint32_t entries_of_new = 6;
constexpr uint32_t entries_of_view = 2;
constexpr uint32_t entries_without_index = 32; // looking through so many takes no longer than hashing

zu_do_properties *make(size_t room) {
  if (room > UINT32_MAX / 2) return nullptr;
  auto *record = allocate<zu_do_properties>(room * sizeof(zu_do_entry));
  if (record == nullptr) return nullptr;
  record->count = 1;
  record->width = 0;
  record->form = nullptr;
  record->cells = nullptr;
  record->overlaid = 0;
  record->entries = record->first_entries();
  record->length = 0;
  record->capacity = static_cast<uint32_t>(room);
  record->own_used = 0;
  record->index_mask = 0;
  record->index = nullptr;
  return record;
}

void become_view(zu_do_properties *record, store_record *row) {
  record->form = row->form;
  record->width = row->row.length;
  record->cells = row->row.cells;
}

// The record's own cells are released with the record.
void release_value(zu_do_value *value) {
  if ((value->flags & value_in_record) == 0) zu_do_value_deref(value);
}

void enter(zu_do_properties *record, uint32_t entry) {
  uint32_t at = record->entries[entry].name->hash & record->index_mask;
  while (record->index[at] != 0) at = (at + 1) & record->index_mask;
  record->index[at] = entry + 1;
}

void enter_all(zu_do_properties *record) {
  if (record->index == nullptr) return;
  memset(record->index, 0, (size_t{record->index_mask} + 1) * sizeof *record->index);
  for (uint32_t i = 0; i < record->length; ++i) enter(record, i);
}

void append(zu_do_properties *record, zu_do_name *name, zu_do_value *value) {
  record->entries[record->length++] = {name, value};
  if (record->index != nullptr) enter(record, record->length - 1);
  if (record->form == nullptr) return;
  const int32_t slot = shape_find(record->form, name);
  if (slot >= 0) record->overlaid |= slot_bit(static_cast<uint32_t>(slot));
}

bool widen(zu_do_properties *record, size_t wanted) {
  if (wanted <= record->capacity) return true;
  const bool inside = record->entries == record->first_entries(); // room that is not given back
  zu_do_entry *entries = inside ? nullptr : record->entries;
  uint32_t capacity = inside ? 0 : record->capacity;
  if (!grow(entries, capacity, std::max(wanted, record->capacity * size_t{2}))) return false;
  if (inside) memcpy(entries, record->entries, record->length * sizeof(zu_do_entry));
  record->entries = entries;
  record->capacity = capacity;
  return true;
}

// Keeps the index of many entries at least twice as large as what it may have to hold.
bool widen_index(zu_do_properties *record, size_t wanted) {
  if (wanted <= entries_without_index) return true;
  if (record->index != nullptr && record->index_mask / 2 >= wanted) return true;
  const uint32_t size = std::bit_ceil(record->capacity * 2u + 2u);
  auto *index = static_cast<uint32_t *>(qmalloc_named(ZU_DO_AREA, size * sizeof(uint32_t)));
  if (index == nullptr) return false;
  release(record->index);
  record->index = index;
  record->index_mask = size - 1;
  enter_all(record);
  return true;
}

// Makes room for so many entries.
bool reserve(zu_do_properties *record, size_t wanted) {
  return widen(record, wanted) && widen_index(record, wanted);
}

// Sets a property to a value whose reference the record takes over on success.
int put(zu_do_properties *record, zu_do_name *name, zu_do_value *value) {
  if (zu_do_entry *entry = find_entry(record, name)) {
    release_value(entry->value);
    entry->value = value;
    return ZU_OK;
  }
  if (!reserve(record, record->length + size_t{1})) return ZU_EXHAUSTED;
  append(record, zu_do_name_ref(name), value);
  return ZU_OK;
}

// The same for a fresh value, which is released on failure; a value of none is exhausted memory.
int put_new(zu_do_properties *record, const char *text, zu_do_value *value) {
  if (value == nullptr) return ZU_EXHAUSTED;
  zu_do_name *name = zu_do_name_new(text);
  const int code = name == nullptr ? ZU_EXHAUSTED : put(record, name, value);
  zu_do_name_deref(name);
  if (code != ZU_OK) zu_do_value_deref(value);
  return code;
}

bool is_name(const char *text) {
  return text != nullptr && !trimmed(text, strlen(text)).empty();
}

// Sets a URI value in one of the record's own cells while there is one left.
int put_uri(zu_do_properties *record, const char *text, const zu_do_value &content) {
  if (record == nullptr || content.as.uri == nullptr || !is_name(text)) return ZU_FAILED;
  if (record->own_used == zu_do_properties::own_count) {
    return put_new(record, text, value_make(content, no_typedef, false));
  }
  zu_do_value &cell = record->own[record->own_used];
  cell = content;
  cell.flags = value_in_record;
  cell.spare = static_cast<uint16_t>(reinterpret_cast<char *>(&cell) - reinterpret_cast<char *>(record));
  zu_do_name *name = zu_do_name_new(text);
  const int code = name == nullptr ? ZU_EXHAUSTED : put(record, name, &cell);
  zu_do_name_deref(name);
  if (code != ZU_OK) return code;
  ++record->own_used;
  zu_do_uri_ref(content.as.uri);
  return ZU_OK;
}

bool has_shape_names(zu_do_nlist *names, const shape *form) {
  if (names->length != form->columns.length) return false;
  for (uint32_t i = 0; i < names->length; ++i) {
    if (names->items[i] != form->columns.items[i].name) return false;
  }
  return true;
}

store_record *record_of(zu_do_vlist *row) {
  return (row->flags & list_record) != 0 ? reinterpret_cast<store_record *>(row) : nullptr;
}

zu_do_properties *make_view(store_record *row) {
  zu_do_properties *record = make(entries_of_view);
  if (record != nullptr) become_view(record, row);
  return record;
}

// A record of the pairs that `name_at` (a new reference, or none to give up) and the values give; the last
// value of a name counts.
template <class NameAt>
zu_do_properties *make_of(size_t names, zu_do_vlist *values, NameAt name_at) {
  const size_t count = names < values->length ? names : values->length;
  zu_do_properties *record = make(count + entries_of_view);
  if (record == nullptr) return nullptr;
  for (size_t i = 0; i < count; ++i) {
    zu_do_value *value = value_share(zu_do_vlist_get_value(values, i));
    zu_do_name *name = value == nullptr ? nullptr : name_at(i);
    const bool good = name != nullptr && put(record, name, value) == ZU_OK;
    zu_do_name_deref(name);
    if (good) continue;
    zu_do_value_deref(value);
    zu_do_properties_deref(record);
    return nullptr;
  }
  return record;
}

} // namespace

zu_do_properties *zu_do_properties_new(void) {
  return make(entries_of_new);
}

zu_do_properties *zu_do_properties_new_from_vlist(zu_do_nlist *names, zu_do_vlist *values) {
  if (names == nullptr || values == nullptr) return nullptr;
  store_record *row = record_of(values);
  if (row != nullptr && has_shape_names(names, row->form)) return make_view(row);
  return make_of(names->length, values, [names](size_t i) { return zu_do_name_ref(names->items[i]); });
}

zu_do_properties *zu_do_properties_new_from_row(zu_do_ntlist *columns, zu_do_vlist *row) {
  if (columns == nullptr || row == nullptr) return nullptr;
  store_record *stored = record_of(row);
  if (stored != nullptr && columns == &stored->form->columns) return make_view(stored);
  return make_of(columns->length, row, [columns](size_t i) -> zu_do_name * {
    zu_do_name *name = columns->items[i].name;
    if (name == nullptr) return nullptr;
    return name->unqualified == 0 ? zu_do_name_ref(name) : zu_do_name_new(zu_do_name_get_unqualified(name));
  });
}

zu_do_properties *zu_do_properties_ref(zu_do_properties *record) {
  if (record != nullptr) count_up(record->count);
  return record;
}

void zu_do_properties_deref(zu_do_properties *record) {
  if (record == nullptr || !count_down(record->count)) return;
  for (uint32_t i = 0; i < record->length; ++i) {
    zu_do_name_deref(record->entries[i].name);
    release_value(record->entries[i].value);
  }
  for (uint32_t i = 0; i < record->own_used; ++i) zu_do_uri_deref(record->own[i].as.uri);
  if (record->entries != record->first_entries()) release(record->entries);
  release(record->index);
  release(record);
}

int zu_do_properties_set_value(zu_do_properties *record, const char *name, zu_do_value *value) {
  if (record == nullptr || value == nullptr || !is_name(name)) return ZU_FAILED;
  return put_new(record, name, value_share(value));
}

int zu_do_properties_set_value_n(zu_do_properties *record, zu_do_name *name, zu_do_value *value) {
  if (record == nullptr || name == nullptr || value == nullptr) return ZU_FAILED;
  zu_do_value *shared = value_share(value);
  const int code = shared == nullptr ? ZU_EXHAUSTED : put(record, name, shared);
  if (code != ZU_OK) zu_do_value_deref(shared);
  return code;
}

int zu_do_properties_set_null(zu_do_properties *record, const char *name) {
  return zu_do_properties_set_value(record, name, zu_do_value_new_null());
}

int zu_do_properties_set_int(zu_do_properties *record, const char *name, int64_t value) {
  if (record == nullptr || !is_name(name)) return ZU_FAILED;
  return put_new(record, name, zu_do_value_new_int(value));
}

int zu_do_properties_set_string(zu_do_properties *record, const char *name, const char *text) {
  if (record == nullptr || text == nullptr || !is_name(name)) return ZU_FAILED;
  return put_new(record, name, zu_do_value_new_string(text));
}

int zu_do_properties_set_mr_uri(zu_do_properties *record, const char *name, zu_do_uri *uri) {
  return put_uri(record, name, cell_mr_uri(uri));
}

int zu_do_properties_set_coll_uri(zu_do_properties *record, const char *name, zu_do_uri *uri) {
  return put_uri(record, name, cell_coll_uri(uri));
}

namespace zuapi {

int properties_add_record(zu_do_properties *record, store_record *row) {
  const shape *form = row->form;
  if (record->form != nullptr) {
    // A view of another row: every value is set over it, so the room is made first.
    if (!reserve(record, size_t{record->length} + row->row.length)) return ZU_EXHAUSTED;
    for (uint32_t slot = 0; slot < row->row.length; ++slot) {
      zu_do_name *name = form->columns.items[slot].name;
      if (name == name_of_uri() && zu_do_properties_get_value_n(record, name) != nullptr) continue;
      put(record, name, &row->row.cells[slot]);
    }
    return ZU_OK;
  }
  // What the row brings itself leaves the record's own entries.
  uint32_t kept = 0;
  for (uint32_t i = 0; i < record->length; ++i) {
    const zu_do_entry entry = record->entries[i];
    const int32_t slot = shape_find(form, entry.name);
    if (slot < 0 || entry.name == name_of_uri()) {
      record->entries[kept++] = entry;
      if (slot >= 0) record->overlaid |= slot_bit(static_cast<uint32_t>(slot));
    } else {
      zu_do_name_deref(entry.name);
      release_value(entry.value);
    }
  }
  record->length = kept;
  enter_all(record);
  become_view(record, row);
  return ZU_OK;
}

} // namespace zuapi
