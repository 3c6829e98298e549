// The lists of names, values, columns, name/value pairs and records, and tables of rows: one common core, and
// the functions that each has of its own.
#include "zuapi/objects.hpp"

using namespace zuapi;

struct zu_do_nvpair {
  zu_do_value *value;

  const char *name() const { return reinterpret_cast<const char *>(this + 1); }
};
struct zu_do_nvlist : counted_list<zu_do_nvpair *> {};
struct zu_do_properties_list : counted_list<zu_do_properties *> {};
struct zu_do_vtable : counted_list<zu_do_vlist *> {
  zu_do_ntlist *columns;
};

namespace {

// ---- Releasing an item ----

void drop(zu_do_name *name) {
  zu_do_name_deref(name);
}
void drop(zu_do_value *value) {
  zu_do_value_deref(value);
}
void drop(zu_do_vlist *row) {
  zu_do_vlist_deref(row);
}
void drop(zu_do_properties *record) {
  zu_do_properties_deref(record);
}
void drop(const zu_do_ntcolumn &column) {
  zu_do_name_deref(column.name);
}
void drop(zu_do_nvpair *pair) {
  zu_do_value_deref(pair->value);
  release(pair);
}

// ---- The item at a position ----

template <class List>
auto item_at(List *list, size_t index) {
  return list->items[index];
}
zu_do_value *item_at(zu_do_vlist *list, size_t index) {
  return list->at(index);
}
zu_do_ntcolumn *item_at(zu_do_ntlist *list, size_t index) {
  return &list->items[index];
}
// A row item is the place of the row in the table.
zu_do_vtable_row *item_at(zu_do_vtable *table, size_t index) {
  return reinterpret_cast<zu_do_vtable_row *>(&table->items[index]);
}

// ---- The core ----

// An empty list, or null when memory is exhausted.
template <class List>
List *make() {
  void *block = qmalloc_named(ZU_DO_AREA, sizeof(List));
  if (block == nullptr) return nullptr;
  auto *list = new (block) List{};
  list->count = 1;
  return list;
}

template <class List>
void drop_all(List *list) {
  for (uint32_t i = 0; i < list->length; ++i) drop(list->items[i]);
  release(list->items);
  release(list);
}

// Appends an item, which the list owns afterwards, also on failure: 0 or ZU_EXHAUSTED.
template <class List, class Item>
int append(List *list, Item item) {
  if (grow(list->items, list->capacity, list->length + size_t{1})) {
    list->items[list->length++] = item;
    return ZU_OK;
  }
  drop(item);
  return ZU_EXHAUSTED;
}

} // namespace

// The functions that all of them have: NAME_new, _ref, _deref, _get_len, _iter, _has_next, and _get_next,
// which returns an `item`.
#define ZUAPI_LIST(list, item)                                                \
  list *list##_new(void) {                                                    \
    return make<list>();                                                      \
  }                                                                           \
  list *list##_ref(list *of) {                                                \
    if (of != nullptr && (of->flags & list_frozen) == 0) count_up(of->count); \
    return of;                                                                \
  }                                                                           \
  void list##_deref(list *of) {                                               \
    if (of == nullptr || (of->flags & list_frozen) != 0) return;              \
    if (count_down(of->count)) drop_all(of);                                  \
  }                                                                           \
  size_t list##_get_len(list *of) {                                           \
    return of == nullptr ? 0 : of->length;                                    \
  }                                                                           \
  void list##_iter(list *of, zu_do_iter *it) {                                \
    *it = {of, 0};                                                            \
  }                                                                           \
  bool list##_has_next(list *of, zu_do_iter *it) {                            \
    return it->position < list##_get_len(of);                                 \
  }                                                                           \
  item *list##_get_next(list *of, zu_do_iter *it) {                           \
    return list##_has_next(of, it) ? item_at(of, it->position++) : nullptr;   \
  }

ZUAPI_LIST(zu_do_nlist, zu_do_name)
ZUAPI_LIST(zu_do_vlist, zu_do_value)
ZUAPI_LIST(zu_do_ntlist, zu_do_ntcolumn)
ZUAPI_LIST(zu_do_nvlist, zu_do_nvpair)
ZUAPI_LIST(zu_do_properties_list, zu_do_properties)

namespace {

void drop_all(zu_do_vtable *table) {
  zu_do_ntlist_deref(table->columns);
  drop_all<zu_do_vtable>(table);
}

} // namespace

ZUAPI_LIST(zu_do_vtable, zu_do_vtable_row)

// ---- Names ----

int zu_do_nlist_add(zu_do_nlist *list, zu_do_name *name) {
  return list == nullptr || name == nullptr ? int{ZU_FAILED} : append(list, zu_do_name_ref(name));
}

int zu_do_nlist_add_string(zu_do_nlist *list, const char *text) {
  zu_do_name *name = zu_do_name_new(text);
  const int code = zu_do_nlist_add(list, name);
  zu_do_name_deref(name);
  return code;
}

zu_do_nlist *zu_do_nlist_new_from_ntlist(zu_do_ntlist *columns) {
  zu_do_nlist *list = columns == nullptr ? nullptr : zu_do_nlist_new();
  if (list == nullptr) return nullptr;
  bool whole = grow(list->items, list->capacity, columns->length);
  for (uint32_t i = 0; whole && i < columns->length; ++i) {
    whole = zu_do_nlist_add(list, columns->items[i].name) == ZU_OK;
  }
  if (whole) return list;
  zu_do_nlist_deref(list);
  return nullptr;
}

zu_do_name *zu_do_nlist_get(zu_do_nlist *list, size_t index) {
  return index < zu_do_nlist_get_len(list) ? list->items[index] : nullptr;
}

int zu_do_nlist_to_strbuf(zu_do_nlist *list, int mode, zu_do_strbuf *buffer) {
  (void)mode;
  if (buffer == nullptr) return ZU_FAILED;
  int code = ZU_OK;
  for (size_t i = 0; code == ZU_OK && i < zu_do_nlist_get_len(list); ++i) {
    if (i > 0) code = zu_do_strbuf_add_string(buffer, ", ");
    if (code == ZU_OK) code = zu_do_strbuf_add_bytes(buffer, list->items[i]->text(), list->items[i]->length);
  }
  return code;
}

// ---- Values ----

int zu_do_vlist_add(zu_do_vlist *list, zu_do_value *value) {
  if (list == nullptr || value == nullptr || (list->flags & list_frozen) != 0) return ZU_FAILED;
  zu_do_value *shared = value_share(value);
  return shared == nullptr ? int{ZU_EXHAUSTED} : append(list, shared);
}

int zu_do_vlist_set_value(zu_do_vlist *list, size_t index, zu_do_value *value) {
  if (list == nullptr || value == nullptr || (list->flags & list_frozen) != 0) return ZU_FAILED;
  if (index >= list->length) return ZU_FAILED;
  zu_do_value *shared = value_share(value);
  if (shared == nullptr) return ZU_EXHAUSTED;
  zu_do_value_deref(list->items[index]);
  list->items[index] = shared;
  return ZU_OK;
}

zu_do_value *zu_do_vlist_get_value(zu_do_vlist *list, size_t index) {
  return index < zu_do_vlist_get_len(list) ? list->at(index) : nullptr;
}

// ---- Columns ----

int zu_do_ntlist_add(zu_do_ntlist *list, zu_do_name *name, int32_t type) {
  if (list == nullptr || (list->flags & list_frozen) != 0) return ZU_FAILED;
  return append(list, zu_do_ntcolumn{zu_do_name_ref(name), type});
}

zu_do_ntcolumn *zu_do_ntlist_get(zu_do_ntlist *list, size_t index) {
  return index < zu_do_ntlist_get_len(list) ? &list->items[index] : nullptr;
}

zu_do_name *zu_do_ntcolumn_get_name(zu_do_ntcolumn *column) {
  return column == nullptr ? nullptr : column->name;
}

// ---- Name/value pairs ----

int zuapi::nvlist_add(zu_do_nvlist *list, std::string_view name, zu_do_value *value) {
  auto *pair = allocate<zu_do_nvpair>(name.size() + 1);
  if (pair == nullptr) return ZU_EXHAUSTED;
  pair->value = value_share(value);
  put_text(reinterpret_cast<char *>(pair + 1), name);
  if (pair->value != nullptr) return append(list, pair);
  release(pair);
  return ZU_EXHAUSTED;
}

int zu_do_nvlist_add(zu_do_nvlist *list, const char *name, zu_do_value *value) {
  if (list == nullptr || name == nullptr || value == nullptr) return ZU_FAILED;
  return nvlist_add(list, name, value);
}

const char *zu_do_nvpair_get_name(zu_do_nvpair *pair) {
  return pair == nullptr ? nullptr : pair->name();
}

zu_do_value *zu_do_nvpair_get_value(zu_do_nvpair *pair) {
  return pair == nullptr ? nullptr : pair->value;
}

void zu_do_print_nvlist(FILE *stream, uint32_t indentation, zu_do_nvlist *list) {
  for (size_t i = 0; i < zu_do_nvlist_get_len(list); ++i) {
    print_pair(stream, indentation, list->items[i]->name(), "=", list->items[i]->value);
  }
}

// ---- Records ----

int zu_do_properties_list_add(zu_do_properties_list *list, zu_do_properties *record) {
  return list == nullptr || record == nullptr ? int{ZU_FAILED} : append(list, zu_do_properties_ref(record));
}

zu_do_properties *zu_do_properties_list_get(zu_do_properties_list *list, size_t index) {
  return index < zu_do_properties_list_get_len(list) ? list->items[index] : nullptr;
}

// ---- Tables ----

zu_do_vtable *zu_do_vtable_new_from_ntlist(zu_do_ntlist *columns) {
  zu_do_vtable *table = columns == nullptr ? nullptr : zu_do_vtable_new();
  if (table != nullptr) table->columns = zu_do_ntlist_ref(columns);
  return table;
}

zu_do_ntlist *zu_do_vtable_get_ntlist(zu_do_vtable *table) {
  return table == nullptr ? nullptr : table->columns;
}

int zu_do_vtable_set_ntlist(zu_do_vtable *table, zu_do_ntlist *columns) {
  if (table == nullptr || columns == nullptr) return ZU_FAILED;
  if (table->columns != nullptr) return table->columns == columns ? ZU_OK : ZU_FAILED;
  table->columns = zu_do_ntlist_ref(columns);
  return ZU_OK;
}

int zu_do_vtable_add(zu_do_vtable *table, zu_do_vlist *row) {
  return zu_do_vtable_add_many(table, &row, 1);
}

int zu_do_vtable_add_many(zu_do_vtable *table, zu_do_vlist *const *rows, size_t count) {
  if (table == nullptr || (rows == nullptr && count > 0)) return ZU_FAILED;
  for (size_t i = 0; i < count; ++i) {
    if (rows[i] == nullptr) return ZU_FAILED;
  }
  if (count > SIZE_MAX - table->length || !grow(table->items, table->capacity, table->length + count)) {
    return ZU_EXHAUSTED;
  }
  for (size_t i = 0; i < count; ++i) table->items[table->length++] = zu_do_vlist_ref(rows[i]);
  return ZU_OK;
}

zu_do_vlist *zu_do_vtable_get(zu_do_vtable *table, size_t index) {
  return index < zu_do_vtable_get_len(table) ? table->items[index] : nullptr;
}

zu_do_vlist *zu_do_vtable_row_get_vlist(zu_do_vtable *table, zu_do_vtable_row *item) {
  (void)table;
  return item == nullptr ? nullptr : *reinterpret_cast<zu_do_vlist **>(item);
}

void zu_do_vtable_iter_reset(zu_do_vtable *table, zu_do_vtable_row *item, zu_do_iter *it) {
  if (table == nullptr || item == nullptr) return;
  *it = {table, static_cast<size_t>(reinterpret_cast<zu_do_vlist **>(item) - table->items)};
}
