// The frozen (immutable) values, URIs, shapes and rows of a data store.
//
// A snapshot may have millions of them, read by many threads: counting references would cost an atomic
// operation for each use. So a frozen object is not counted: ref and deref do nothing, and its owner (the
// snapshot) outlives every use. Texts, lists, URIs and names to which it points are kept alive by the same
// owner. The memory layout of lists, names and shapes is private to this folder; a row has its values one
// after the other.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "infra/memory.hpp"
#include "zuapi/zuapi.h"

namespace zuapi {

using infra::arena;

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

// True when the display text is the text unchanged. `keep_lines`: it is of typedef `Text`.
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
// An array of the elements, which are copied. Throws std::bad_alloc.
zu_do_value cell_array(arena &memory, const zu_do_value *elements, uint32_t count);
// The same value with a typedef name, which is not copied; a string whose typedef name is `Text` must have
// been made with `keep_lines`. Throws std::bad_alloc.
zu_do_value cell_typed(arena &memory, const zu_do_value &cell, const char *typedef_name);
inline void cell_set_default(zu_do_value &cell) {
  cell.flags |= value_default;
}

// The bytes of a string; the display text of any other value (which may be in `room`); no data for values
// without a key form: null, no value and arrays.
std::string_view raw_text(zu_do_value *value, char *room);
// As zu_do_value_compare. Throws std::bad_alloc when there was no memory for a display text.
int value_order(zu_do_value *a, zu_do_value *b);

// ---- URIs ----

enum uri_flag : uint8_t {
  uri_frozen = 1,
  uri_absolute = 2,
  uri_relative_ok = 4,       // see zu_do_uri_parts
  uri_keyed_below_first = 8, // see zu_do_uri_parts
  uri_given_location = 16,   // the text is "/" and the segment `locations;loc=0`
};

// The positions of the parts of a canonical text.
struct uri_layout {
  uint8_t flags;
  uint8_t coll_type;
  uint16_t segment_count; // of the path, location segment included
  uint32_t length;
  uint32_t relative; // start of the relative form
  uint32_t parent;   // length of the parent's text; 0: no parent
  uint32_t name;     // start of the last segment's name; 0: no segment
  uint32_t name_end;
  uint32_t end;       // end of the path: where '?' stands, or the length
  uint32_t first_end; // end of the first segment
};

struct uri_segments;

} // namespace zuapi

// The text follows it in the same block, and never changes.
struct zu_do_uri : zuapi::uri_layout {
  std::atomic<uint32_t> count;
  uint32_t hash;                                    // infra::hash_text of the text
  std::atomic<zu_do_uri *> made_parent;             // when asked for: a reference, or null
  std::atomic<zuapi::uri_segments *> made_segments; // likewise

  bool is_absolute() const { return (flags & zuapi::uri_absolute) != 0; }
  char *text() { return reinterpret_cast<char *>(this + 1); }
  const char *text() const { return reinterpret_cast<const char *>(this + 1); }
  std::string_view view() const { return {text(), length}; }
  // Parts of the text: without the query, and what stands behind '?'; the relative form (of a URI with one:
  // see zu_do_uri_parts); the parent's text and the last segment's name (of a URI with segments).
  std::string_view path() const { return view().substr(0, end); }
  std::string_view query() const { return view().substr(end + size_t{1}); }
  std::string_view relative_text() const { return view().substr(relative); }
  std::string_view parent_text() const { return view().substr(0, parent); }
  std::string_view last_name() const { return view().substr(name, name_end - name); }
};

namespace zuapi {

// The frozen URI of a text; null, and the reason, for a text that is no URI. Throws std::bad_alloc. Call
// uri_drop before the memory is freed: it frees the objects that were made later for the URI.
zu_do_uri *uri_frozen_of(std::string_view text, arena &memory, const char **reason);
void uri_drop(zu_do_uri *uri);

// Goes through the keys of a segment without making objects. `at` starts at the end of the segment's name;
// values are in key form as in the text (equal values have equal key forms).
struct uri_key {
  std::string_view name;
  std::string_view value;
};
bool uri_next_key(std::string_view text, uint32_t &at, uri_key &key);
// Decodes a value's key form into `out` (at least value.size() bytes); the decoded length.
size_t uri_decode_value(std::string_view value, char *out);

// ---- Shapes and rows ----

// The columns that the records of one path share, and the position of each name. `_uri` is first; names have
// no ':', no name is there twice, and none is `_coll_uri`. With shapes a record is only its values, and a
// reader that has seen one record of a shape knows the positions in all of them.
struct shape;

// A new shape; null when memory is exhausted. The array is
// copied; the references on the names stay the caller's.
shape *shape_new(zu_do_name *const *names, uint32_t width);
void shape_free(shape *form); // null is ignored
// The columns of a table of such rows; they cannot change.
zu_do_ntlist *shape_columns(shape *form);
// The slot of a name, or -1; the same by text, without interning.
int32_t shape_find(const shape *form, const zu_do_name *name);
int32_t shape_find_text(const shape *form, std::string_view text);

// A record as a row: its shape and URI, and as many values as the shape has columns. The first is the URI,
// the caller fills the others. Throws std::bad_alloc.
zu_do_vlist *row_make(arena &memory, shape *form, zu_do_uri *uri);
shape *row_shape(const zu_do_vlist *row);
zu_do_uri *row_uri(const zu_do_vlist *row);
zu_do_value *row_values(const zu_do_vlist *row);

// Adds a row's properties to a record and replaces those of the same names, except a `_uri` that is already
// set. A record without a shape becomes a view of the row (no allocation). 0, or ZU_EXHAUSTED and no change.
int properties_add_row(zu_do_properties *record, zu_do_vlist *row);

} // namespace zuapi
