// The memory layout of data objects: private to this folder.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>
#include <string_view>

#include "infra/hash_index.hpp"
#include "zuapi/frozen.hpp"

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
// The well-known name with that text, or null.
inline zu_do_name *known_name_of(std::string_view text) {
  const auto is = [text](const auto &known) {
    return text.size() == sizeof known - 1 && memcmp(text.data(), known, sizeof known - 1) == 0;
  };
  if (is(ZU_DO_NAME_URI)) return name_of_uri();
  if (is(ZU_DO_NAME_COLL_URI)) return name_of_coll_uri();
  return is(ZU_DO_NAME_PENDING_ATTRS) ? &known_names[2].name : nullptr;
}

// ---- Lists ----

enum list_flag : uint8_t {
  list_frozen = 1, // lies in a store's memory; not counted, cannot change
  list_record = 2, // frozen, and the first member of a store_record
};

// The first members of all lists and tables.
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
  zu_do_name *name; // or null
  int32_t type;
};

struct zu_do_nlist : zuapi::counted_list<zu_do_name *> {};
struct zu_do_ntlist : zuapi::counted_list<zu_do_ntcolumn> {};

// Its items are references; those of a frozen list are cells, one after the other.
struct zu_do_vlist : zuapi::counted_list<zu_do_value *> {
  zu_do_value *cells() const { return reinterpret_cast<zu_do_value *>(items); }
  zu_do_value *at(size_t index) const {
    return (flags & zuapi::list_frozen) != 0 ? cells() + index : items[index];
  }
};

// ---- Rows and shapes ----

namespace zuapi {

inline zu_do_value cell_list(zu_do_vlist *list) {
  return {ZU_DO_TYPE_ARRAY, 0, 0, 0, {.list = list}};
}
inline zu_do_value cell_mr_uri(zu_do_uri *uri) {
  return {ZU_DO_TYPE_MR_URI, 0, 0, 0, {.uri = uri}};
}
inline zu_do_value cell_coll_uri(zu_do_uri *uri) {
  return {ZU_DO_TYPE_COLL_URI, 0, 0, 0, {.uri = uri}};
}
// Moves the payload of an untyped cell into `block`, and sets the typedef name.
inline void cell_set_typedef(zu_do_value &cell, typed_payload *block, const char *typedef_name) {
  *block = {typedef_name, cell.as};
  cell.as.typed = block;
  cell.flags |= value_typed;
}

struct shape {
  zu_do_ntlist columns; // first: a table's columns are a shape's when their address is
  infra::hash_index<int32_t, -1> slots;
};

inline int32_t find_slot(const shape *form, const zu_do_name *name) {
  return form->slots.find(name->hash, [&](int32_t slot) { return form->columns.items[slot].name == name; });
}

// A record of a snapshot: its row is itself. cells[0] is `_uri`, a cell_mr_uri of `uri`.
struct store_record {
  zu_do_vlist row; // first
  shape *form;
  zu_do_uri *uri;
};

// ---- URIs ----

inline constexpr size_t longest_uri = 65536;

// A text that was checked against the grammar, and the layout of its canonical text.
struct uri_scan : uri_layout {
  std::string_view source; // trimmed
  bool add_slash;          // the source has no leading slash
  bool verbatim;           // the canonical text is the source as it stands (after the added slash)
};

// Null on success, otherwise a static text that says why the text is refused. The scan points into `text`.
const char *uri_scan_text(const char *text, size_t length, uri_scan *scan);
// A frozen URI of the scan. Throws std::bad_alloc.
zu_do_uri *uri_frozen_of(const uri_scan &scan, arena &memory);

// Moves `at` over a key's value to what ends it; false when the value is not in key form.
bool uri_skip_value(std::string_view text, size_t &at);

} // namespace zuapi
