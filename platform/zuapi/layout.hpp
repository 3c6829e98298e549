// How data objects lie in memory: private to this platform, whose store places frozen ones in its arena.
//
// A frozen object is not counted: ref and deref do nothing, and its owner (a snapshot) outlives every use.
// What a frozen object points at (texts, lists, URIs, names) is kept alive by the same owner.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>
#include <string_view>

#include "infra/hash_index.hpp"
#include "zuapi/zuapi.h"

namespace zuapi {

// ---- Names ----

// Always counted, except the three well-known ones. A snapshot holds one reference on each name that it
// uses (zu_do_name_new_l), so its lists and shapes point at names without counting them.

} // namespace zuapi

struct zu_do_name {
  std::atomic<uint32_t> count;
  uint32_t hash; // zuapi::hash_text of the text
  uint32_t length;
  uint32_t unqualified : 31; // offset of what follows the last ':'
  uint32_t permanent : 1;    // well-known: lives as long as the process

  const char *text() const { return reinterpret_cast<const char *>(this + 1); }
  std::string_view view() const { return {text(), length}; }
};

namespace zuapi {

using infra::hash_text;

// The store's own names live as long as the process, and cost no memory.
struct known_name {
  zu_do_name name;
  char text[16];
};
#pragma GCC visibility push(hidden)
extern known_name known_names[3];
#pragma GCC visibility pop

inline zu_do_name *name_of_uri() { // _uri
  return &known_names[0].name;
}
inline zu_do_name *name_of_coll_uri() { // _coll_uri
  return &known_names[1].name;
}
// The one of them whose text that is, or none.
inline zu_do_name *known_name_of(std::string_view text) {
  if (text == ZU_DO_NAME_URI) return name_of_uri();
  if (text == ZU_DO_NAME_COLL_URI) return name_of_coll_uri();
  return text == ZU_DO_NAME_PENDING_ATTRS ? &known_names[2].name : nullptr;
}

// ---- Values ----

struct typed_payload;

union value_payload {
  bool boolean;
  int64_t integer;
  uint64_t whole;
  double number;
  const char *text; // zu_do_value::length bytes and a NUL
  zu_do_vlist *list;
  zu_do_uri *uri;
  const typed_payload *typed; // with value_typed: where the payload really is
};

struct typed_payload {
  const char *typedef_name;
  value_payload inner;
};

enum value_flag : uint8_t {
  value_counted = 1,    // stands behind a count in a heap block
  value_default = 2,    // equals the default of its class
  value_typed = 4,      // has a typedef name
  value_clean = 8,      // a string without a byte to escape in display
  value_in_record = 16, // stands in a zu_do_properties, `spare` bytes behind its start, and counts with it
};

} // namespace zuapi

struct zu_do_value {
  int8_t type; // the type number
  uint8_t flags;
  uint16_t spare;
  uint32_t length; // of a string
  zuapi::value_payload as;

  const zuapi::value_payload &content() const {
    return (flags & zuapi::value_typed) != 0 ? as.typed->inner : as;
  }
  std::string_view text() const { return {content().text, length}; }
};
static_assert(sizeof(zu_do_value) == 16);

namespace zuapi {

// As zu_do_value_compare; sets `exhausted` when there was no memory for a display text, and the order is not
// good.
int value_order(zu_do_value *a, zu_do_value *b, bool &exhausted);

// True when display shows the text as it is. `keep_lines`: it is of typedef `Text`.
bool text_is_clean(const char *text, size_t length, bool keep_lines);
// The longest string that a value can hold.
inline constexpr size_t longest_text = UINT32_MAX - 1;

// Frozen cells in place. The text ends with a NUL that is not part of `length`.
inline zu_do_value cell_none() {
  return {ZU_DO_TYPE_NONE, 0, 0, 0, {}};
}
inline zu_do_value cell_null() {
  return {ZU_DO_TYPE_NULL, 0, 0, 0, {}};
}
inline zu_do_value cell_bool(bool value) {
  return {ZU_DO_TYPE_BOOL, 0, 0, 0, {.boolean = value}};
}
inline zu_do_value cell_int(int64_t value) {
  return {ZU_DO_TYPE_INT, 0, 0, 0, {.integer = value}};
}
inline zu_do_value cell_uint(uint64_t value) {
  if (value <= static_cast<uint64_t>(INT64_MAX)) return cell_int(static_cast<int64_t>(value));
  return {ZU_DO_TYPE_UINT, 0, 0, 0, {.whole = value}};
}
inline zu_do_value cell_double(double value) {
  return {ZU_DO_TYPE_DOUBLE, 0, 0, 0, {.number = value}};
}
inline zu_do_value cell_string(const char *text, size_t length, bool keep_lines = false) {
  const uint8_t flags = text_is_clean(text, length, keep_lines) ? value_clean : 0;
  return {ZU_DO_TYPE_STRING, flags, 0, static_cast<uint32_t>(length), {.text = text}};
}
inline zu_do_value cell_array(zu_do_vlist *list) {
  return {ZU_DO_TYPE_ARRAY, 0, 0, 0, {.list = list}};
}
inline zu_do_value cell_mr_uri(zu_do_uri *uri) {
  return {ZU_DO_TYPE_MR_URI, 0, 0, 0, {.uri = uri}};
}
inline zu_do_value cell_coll_uri(zu_do_uri *uri) {
  return {ZU_DO_TYPE_COLL_URI, 0, 0, 0, {.uri = uri}};
}

// Gives an untyped cell a typedef name, which is not copied; `block` holds the payload from now on. A string
// whose typedef name is `Text` must have been made with `keep_lines`.
inline void cell_set_typedef(zu_do_value &cell, typed_payload *block, const char *typedef_name) {
  block->typedef_name = typedef_name;
  block->inner = cell.as;
  cell.as.typed = block;
  cell.flags |= value_typed;
}
inline void cell_set_default(zu_do_value &cell) {
  cell.flags |= value_default;
}

} // namespace zuapi

// ---- Lists ----

namespace zuapi {

enum list_flag : uint8_t {
  list_frozen = 1, // lies in a store's memory; not counted, cannot change
  list_record = 2, // frozen, and the first member of a store_record
};

// What all lists and tables begin with.
template <class Item>
struct counted_list {
  std::atomic<uint32_t> count;
  uint8_t flags;
  uint32_t length;
  uint32_t capacity;
  Item *items;
};

} // namespace zuapi

struct zu_do_ntcolumn {
  zu_do_name *name; // or none
  int32_t type;
};

struct zu_do_nlist : zuapi::counted_list<zu_do_name *> {};
struct zu_do_ntlist : zuapi::counted_list<zu_do_ntcolumn> {};

// Its items are references; those of a frozen one are cells, one behind the other.
struct zu_do_vlist : zuapi::counted_list<zu_do_value *> {
  zu_do_value *cells() const { return reinterpret_cast<zu_do_value *>(items); }
  zu_do_value *at(size_t index) const {
    return (flags & zuapi::list_frozen) != 0 ? cells() + index : items[index];
  }
};

// ---- Rows and shapes ----

namespace zuapi {

// Makes a frozen list in place over `length` cells (an array value's list, a row of a union).
inline zu_do_vlist *vlist_place(void *block, zu_do_value *cells, uint32_t length) {
  auto *list = static_cast<zu_do_vlist *>(block);
  new (&list->count) std::atomic<uint32_t>(1);
  list->flags = list_frozen;
  list->length = list->capacity = length;
  list->items = reinterpret_cast<zu_do_value **>(cells);
  return list;
}

// What the records of one path have in common: the columns (frozen, `_uri` first, names without ':',
// none twice and none `_coll_uri`) and where each name stands.
struct shape {
  zu_do_ntlist columns; // first: a table's columns are a shape's when their address is
  infra::hash_index<int32_t, -1> slots;
};

// A shape of `width` columns, whose names (copied) stay the caller's; none when memory is exhausted.
shape *shape_new(zu_do_name *const *names, uint32_t width);
void shape_free(shape *form); // none is ignored

inline int32_t shape_find(const shape *form, const zu_do_name *name) {
  return form->slots.find(name->hash, [&](int32_t slot) { return form->columns.items[slot].name == name; });
}
// The same by text, without interning.
inline int32_t shape_find_text(const shape *form, std::string_view text) {
  return form->slots.find(hash_text(text.data(), text.size()),
                          [&](int32_t slot) { return form->columns.items[slot].name->view() == text; });
}

// A record of a snapshot: its row is itself. cells[0] is `_uri`, a cell_mr_uri of `uri`.
struct store_record {
  zu_do_vlist row; // first
  const shape *form;
  zu_do_uri *uri;

  zu_do_value *cells() { return reinterpret_cast<zu_do_value *>(this + 1); }
};

// A record block of `width` cells takes store_record_size bytes (aligned as a pointer). store_record_place
// fills the header and cells[0]; the caller fills cells 1 and up.
inline size_t store_record_size(uint32_t width) {
  return sizeof(store_record) + width * sizeof(zu_do_value);
}
inline store_record *store_record_place(void *block, const shape *form, zu_do_uri *uri) {
  auto *record = static_cast<store_record *>(block);
  vlist_place(block, record->cells(), form->columns.length);
  record->row.flags = list_frozen | list_record;
  record->form = form;
  record->uri = uri;
  record->cells()[0] = cell_mr_uri(uri);
  return record;
}

// Adds a store record's properties to a record, over what it has, but for `_uri`, which stays as it is when
// it is set. A record without a shape becomes a view (no allocation). 0 or ZU_EXHAUSTED and no change.
int properties_add_record(zu_do_properties *record, store_record *row);

// ---- URIs ----

enum uri_flag : uint8_t {
  uri_frozen = 1,
  uri_absolute = 2,
  uri_relative_ok = 4,       // see zu_do_uri_parts
  uri_keyed_below_first = 8, // see zu_do_uri_parts
  uri_given_location = 16,   // the text is "/" and the segment `locations;loc=0`
};

struct uri_segments; // made when asked for

} // namespace zuapi

struct zu_do_uri {
  std::atomic<uint32_t> count;
  uint8_t flags;
  uint8_t coll_type;
  uint16_t segment_count; // of the path, location segment included
  uint32_t length;
  uint32_t relative; // start of the relative form
  uint32_t parent;   // length of the parent's text; 0: no parent
  uint32_t name;     // start of the last segment's name; 0: no segment
  uint32_t name_end;
  uint32_t end;                         // end of the path: where '?' stands, or the length
  uint32_t first_end;                   // end of the first segment
  uint32_t hash;                        // zuapi::hash_text of the text
  std::atomic<zu_do_uri *> made_parent; // a reference, or none
  std::atomic<zuapi::uri_segments *> made_segments;

  const char *text() const { return reinterpret_cast<const char *>(this + 1); }
  std::string_view view() const { return {text(), length}; }
  // The relative form's text, when uri_relative_ok.
  std::string_view relative_view() const { return view().substr(relative); }
};

namespace zuapi {

inline constexpr size_t longest_uri = 65536;

// A text checked against the grammar, and where the parts of its canonical text will stand.
struct uri_scan {
  const char *source; // trimmed
  uint32_t source_length;
  bool add_slash; // the source has no leading slash
  bool verbatim;  // the canonical text is the source as it stands (after the added slash)
  uint8_t flags;
  uint8_t coll_type;
  uint16_t segment_count;
  uint32_t length; // of the canonical text
  uint32_t relative, parent, name, name_end, end, first_end;
};

// None on success, otherwise a static text that says why the text is refused. The scan points into `text`.
const char *uri_scan_text(const char *text, size_t length, uri_scan *scan);
// A frozen URI in place: uri_size bytes, aligned as a pointer. uri_drop frees what was made lazily on it
// (call it before its memory goes).
inline size_t uri_size(const uri_scan &scan) {
  return sizeof(zu_do_uri) + scan.length + 1;
}
zu_do_uri *uri_place_frozen(void *block, const uri_scan &scan);
void uri_drop(zu_do_uri *uri);

// A walk over the keys of a segment, nothing made. `at` starts at the end of the segment's name; values are
// as they stand in the text (key form: equal values have equal key forms).
struct uri_key {
  std::string_view name;
  std::string_view value;
};
bool uri_next_key(std::string_view text, uint32_t &at, uri_key &key);
// Moves `at` over a key's value to what ends it; false when the value is not in key form.
bool uri_skip_value(std::string_view text, size_t &at);
// Decodes a value's key form into `out` (at least value.size() bytes); the decoded length.
size_t uri_decode_value(std::string_view value, char *out);

} // namespace zuapi
