// Records: with properties of their own, or views of a store's row with an overlay for later changes.
#include <algorithm>

#include "zuapi/record.hpp"
#include "zuapi/shortcuts.hpp"

using namespace zuapi;

namespace {

constexpr uint32_t entries_of_new = 6;
constexpr uint32_t entries_of_view = 2;
constexpr uint32_t entries_without_index = 32; // looking through so many takes no longer than hashing

void become_view(zu_do_properties *record, store_record *row) {
  record->form = row->form;
  record->width = row->row.length;
  record->cells = row->row.cells();
}

void append(zu_do_properties *record, zu_do_name *name, zu_do_value *value) {
  record->entries[record->length++] = {name, value};
  if (record->index.has_room()) record->index.insert(name->hash, record->length - 1);
  if (record->form == nullptr) return;
  const int32_t slot = find_slot(record->form, name);
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

// Keeps room for what the index of many entries may have to hold.
bool widen_index(zu_do_properties *record, size_t wanted) {
  if (wanted <= entries_without_index) return true;
  const bool first = !record->index.has_room();
  if (!record->index.reserve(wanted)) return false;
  if (first) record_enter_all(record);
  return true;
}

// Sets a property to a value whose reference the record takes over on success.
int put(zu_do_properties *record, zu_do_name *name, zu_do_value *value) {
  if (zu_do_entry *entry = find_entry(record, name)) {
    replace_value(record, *entry, value);
    return ZU_OK;
  }
  if (!record_reserve(record, record->length + size_t{1})) return ZU_EXHAUSTED;
  ++record->revision;
  append(record, zu_do_name_ref(name), value);
  return ZU_OK;
}

// The same by the name's text. The store's own names need no look-up.
int put(zu_do_properties *record, std::string_view text, zu_do_value *value) {
  zu_do_name *name = known_name_of(text);
  if (name == nullptr) name = zu_do_name_new_l(text.data(), text.size());
  const int code = name == nullptr ? ZU_EXHAUSTED : put(record, name, value);
  zu_do_name_deref(name);
  return code;
}

// The text without blanks at its ends; empty when it makes no name.
std::string_view name_text(const char *text) {
  return text == nullptr ? std::string_view() : trimmed(text);
}

// Sets a property to a new value, which is released on
// failure. A value of null means that memory was exhausted.
int put_new(zu_do_properties *record, const char *name, zu_do_value *value) {
  const std::string_view text = name_text(name);
  int code = ZU_FAILED;
  if (record != nullptr && !text.empty()) code = value == nullptr ? ZU_EXHAUSTED : put(record, text, value);
  if (code != ZU_OK) zu_do_value_deref(value);
  return code;
}

// A URI value in the next of the record's own cells, which counts once the caller has put it.
zu_do_value *own_cell(zu_do_properties *record, const zu_do_value &content) {
  zu_do_value &cell = record->own[record->own_used];
  cell = content;
  cell.flags = value_in_record;
  cell.spare = static_cast<uint16_t>(reinterpret_cast<char *>(&cell) - reinterpret_cast<char *>(record));
  return &cell;
}

void keep_own_cell(zu_do_properties *record) {
  zu_do_uri_ref(record->own[record->own_used++].as.uri);
}

// Sets a URI value in one of the record's own cells while there is one left.
int put_uri(zu_do_properties *record, const char *name, const zu_do_value &content) {
  const std::string_view text = name_text(name);
  if (record == nullptr || content.as.uri == nullptr || text.empty()) return ZU_FAILED;
  if (record->own_used == zu_do_properties::own_count) {
    return put_new(record, name, value_make(content, no_typedef, false));
  }
  const int code = put(record, text, own_cell(record, content));
  if (code == ZU_OK) keep_own_cell(record);
  return code;
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
  zu_do_properties *record = record_make(entries_of_view);
  if (record != nullptr) become_view(record, row);
  return record;
}

// Sets `_coll_uri` (unless the URI is null) as the first property of a record without entries that has room.
void put_first(zu_do_properties *record, zu_do_uri *coll_uri) {
  if (coll_uri == nullptr) return;
  record->entries[0] = {name_of_coll_uri(), own_cell(record, cell_coll_uri(coll_uri))};
  record->length = 1;
  keep_own_cell(record);
  record->lead = record->form != nullptr ? 1 : 0;
}

// A record with `_coll_uri`, and with the names from `name_at` (a new reference, or null to give up) and the
// values. The last value of a name counts.
template <class NameAt>
zu_do_properties *make_of(zu_do_uri *coll_uri, size_t names, zu_do_vlist *values, NameAt name_at) {
  const size_t count = names < values->length ? names : values->length;
  zu_do_properties *record = record_make(count + entries_of_view);
  if (record == nullptr) return nullptr;
  put_first(record, coll_uri);
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

namespace zuapi {

zu_do_properties *record_make(size_t room, size_t cells) {
  if (room > UINT32_MAX / 2) return nullptr;
  auto *record = allocate<zu_do_properties>(room * sizeof(zu_do_entry) + cells * sizeof(zu_do_value));
  if (record == nullptr) return nullptr;
  record->count = 1;
  record->width = 0;
  record->form = nullptr;
  record->cells = cells == 0 ? nullptr : reinterpret_cast<zu_do_value *>(record->first_entries() + room);
  record->overlaid = 0;
  record->entries = record->first_entries();
  record->length = 0;
  record->capacity = static_cast<uint32_t>(room);
  record->revision = 0;
  record->positions = 0;
  record->own_used = 0;
  record->lead = 0;
  return record;
}

bool record_reserve(zu_do_properties *record, size_t wanted) {
  return widen(record, wanted) && widen_index(record, wanted);
}

void record_enter_all(zu_do_properties *record) {
  if (!record->index.has_room()) return;
  record->index.clear();
  for (uint32_t i = 0; i < record->length; ++i) record->index.insert(record->entries[i].name->hash, i);
}

zu_do_properties *record_new_from_row(zu_do_uri *coll_uri, zu_do_ntlist *columns, zu_do_vlist *row) {
  if (columns == nullptr || row == nullptr) return nullptr;
  store_record *stored = record_of(row);
  if (stored != nullptr && columns == &stored->form->columns) {
    zu_do_properties *record = make_view(stored);
    if (record != nullptr) put_first(record, coll_uri);
    return record;
  }
  return make_of(coll_uri, columns->length, row, [columns](size_t i) -> zu_do_name * {
    zu_do_name *name = columns->items[i].name;
    if (name == nullptr) return nullptr;
    return name->unqualified == 0 ? zu_do_name_ref(name) : zu_do_name_new(zu_do_name_get_unqualified(name));
  });
}

// Renews only a view that is as it was made, for the same
// collection. A record that was changed is not renewed.
bool record_renew(zu_do_properties *record, zu_do_uri *coll_uri, zu_do_ntlist *columns, zu_do_vlist *row) {
  if (record == nullptr || columns == nullptr || row == nullptr) return false;
  store_record *stored = record_of(row);
  if (stored == nullptr || columns != &stored->form->columns) return false;
  if (record->count.load(std::memory_order_acquire) != 1 || record->form == nullptr) return false;
  if (record->length != 1 || record->lead != 1 || record->entries[0].value != &record->own[0]) return false;
  if (record->own_used != 1 || record->own[0].as.uri != coll_uri) return false;
  ++record->revision;
  become_view(record, stored);
  return true;
}

} // namespace zuapi

zu_do_properties *zu_do_properties_new(void) {
  return record_make(entries_of_new);
}

zu_do_properties *zu_do_properties_new_from_vlist(zu_do_nlist *names, zu_do_vlist *values) {
  if (names == nullptr || values == nullptr) return nullptr;
  store_record *row = record_of(values);
  if (row != nullptr && has_shape_names(names, row->form)) return make_view(row);
  return make_of(nullptr, names->length, values,
                 [names](size_t i) { return zu_do_name_ref(names->items[i]); });
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
  record->~zu_do_properties();
  release(record);
}

int zu_do_properties_set_value(zu_do_properties *record, const char *name, zu_do_value *value) {
  return value == nullptr ? int{ZU_FAILED} : put_new(record, name, value_share(value));
}

int zu_do_properties_set_value_n(zu_do_properties *record, zu_do_name *name, zu_do_value *value) {
  if (record == nullptr || name == nullptr || value == nullptr) return ZU_FAILED;
  zu_do_value *shared = value_share(value);
  const int code = shared == nullptr ? ZU_EXHAUSTED : put(record, name, shared);
  if (code != ZU_OK) zu_do_value_deref(shared);
  return code;
}

int zu_do_properties_set_int(zu_do_properties *record, const char *name, int64_t value) {
  return put_new(record, name, zu_do_value_new_int(value));
}

int zu_do_properties_set_string(zu_do_properties *record, const char *name, const char *text) {
  return text == nullptr ? int{ZU_FAILED} : put_new(record, name, zu_do_value_new_string(text));
}

int zu_do_properties_set_mr_uri(zu_do_properties *record, const char *name, zu_do_uri *uri) {
  return put_uri(record, name, cell_mr_uri(uri));
}

int zu_do_properties_set_coll_uri(zu_do_properties *record, const char *name, zu_do_uri *uri) {
  return put_uri(record, name, cell_coll_uri(uri));
}

namespace zuapi {

int properties_add_row(zu_do_properties *record, zu_do_vlist *values) {
  store_record *row = record_of(values);
  const shape *form = row->form;
  if (record->form != nullptr || record->positions != 0) {
    // A view of another row, or positions that stay: every value is set over it, so the room is made first.
    if (!record_reserve(record, size_t{record->length} + row->row.length)) return ZU_EXHAUSTED;
    for (uint32_t slot = 0; slot < row->row.length; ++slot) {
      zu_do_name *name = form->columns.items[slot].name;
      if (name == name_of_uri() && value_of(record, name) != nullptr) continue;
      put(record, name, &row->row.cells()[slot]);
    }
    return ZU_OK;
  }
  // What the row brings itself leaves the record's own entries.
  uint32_t kept = 0;
  for (uint32_t i = 0; i < record->length; ++i) {
    const zu_do_entry entry = record->entries[i];
    const int32_t slot = find_slot(form, entry.name);
    if (slot < 0 || entry.name == name_of_uri()) {
      record->entries[kept++] = entry;
      if (slot >= 0) record->overlaid |= slot_bit(static_cast<uint32_t>(slot));
    } else {
      zu_do_name_deref(entry.name);
      release_value(entry.value);
    }
  }
  record->length = kept;
  ++record->revision;
  record_enter_all(record);
  become_view(record, row);
  return ZU_OK;
}

} // namespace zuapi
