// Cursors: the rows of an answer, handed out in batches.
#include <algorithm>

#include "store/interfaces.hpp"

namespace store {

namespace {

struct cursor_object : counted_object<cursor_object, zu_cursor> {
  cursor_object(const zu_cursor_ops *ops, data_object *of, answer &&rows, bool at_once)
      : counted_object(ops, of), found(std::move(rows)), whole(at_once) {}
  ~cursor_object() { zu_do_ntlist_deref(columns); }

  answer found;
  bool whole;
  uint32_t position = 0;           // of the next row
  zu_do_ntlist *columns = nullptr; // of rows of several shapes: made at the first fetch, a reference
};

zu_do_name *name_at(zu_do_ntlist *columns, size_t index) {
  return zu_do_ntcolumn_get_name(zu_do_ntlist_get(columns, index));
}

bool has_column(zu_do_ntlist *columns, const zu_do_name *name) {
  bool found = false;
  for (size_t i = 0; !found && i < zu_do_ntlist_get_len(columns); ++i) found = name_at(columns, i) == name;
  return found;
}

// The columns of all shapes among the rows, in the order first seen; none when memory is exhausted.
zu_do_ntlist *all_columns(const run &rows) {
  zu_do_ntlist *columns = zu_do_ntlist_new();
  zuapi::shape *last = nullptr;
  bool good = columns != nullptr;
  for (uint32_t i = 0; good && i < rows.count; ++i) {
    zuapi::shape *form = zuapi::row_shape(rows.rows[i]);
    if (form == last) continue;
    last = form;
    zu_do_ntlist *added = zuapi::shape_columns(form);
    for (size_t slot = 0; good && slot < zu_do_ntlist_get_len(added); ++slot) {
      zu_do_name *name = name_at(added, slot);
      good = has_column(columns, name) || zu_do_ntlist_add(columns, name, ZU_DO_TYPE_NONE) == ZU_OK;
    }
  }
  if (good) return columns;
  zu_do_ntlist_deref(columns);
  return nullptr;
}

// A row with the record's values under those columns; none when memory is exhausted.
zu_do_vlist *row_under(zu_do_ntlist *columns, zu_do_vlist *stored) {
  static zu_do_value none = zuapi::cell_none();
  zu_do_vlist *row = zu_do_vlist_new();
  for (size_t i = 0; row != nullptr && i < zu_do_ntlist_get_len(columns); ++i) {
    const int32_t slot = zuapi::shape_find(zuapi::row_shape(stored), name_at(columns, i));
    if (zu_do_vlist_add(row, slot < 0 ? &none : &zuapi::row_values(stored)[slot]) == ZU_OK) continue;
    zu_do_vlist_deref(row);
    row = nullptr;
  }
  return row;
}

// Rows of several shapes are rebuilt under the columns of all: a batch is added whole or not at all.
int add_rebuilt(zu_do_ntlist *columns, zu_do_vlist *const *rows, uint32_t count, zu_do_vtable *table) {
  if (count == 0) return ZU_OK;
  auto **rebuilt = static_cast<zu_do_vlist **>(qcalloc_named(ZU_DO_AREA, count, sizeof(zu_do_vlist *)));
  int code = rebuilt == nullptr ? ZU_EXHAUSTED : ZU_OK;
  for (uint32_t i = 0; code == ZU_OK && i < count; ++i) {
    rebuilt[i] = row_under(columns, rows[i]);
    if (rebuilt[i] == nullptr) code = ZU_EXHAUSTED;
  }
  if (code == ZU_OK) code = zu_do_vtable_add_many(table, rebuilt, count);
  for (uint32_t i = 0; rebuilt != nullptr && i < count; ++i) zu_do_vlist_deref(rebuilt[i]);
  qfree_named(rebuilt);
  return code;
}

int add_rows(cursor_object *object, zu_do_vlist *const *rows, uint32_t count, zu_do_vtable *table) {
  zuapi::shape *form = object->found.form();
  if (form == nullptr && object->found.rows().count == 0) return ZU_OK;
  if (form == nullptr && object->columns == nullptr) {
    object->columns = all_columns(object->found.rows());
    if (object->columns == nullptr) return ZU_EXHAUSTED;
  }
  zu_do_ntlist *columns = form == nullptr ? object->columns : zuapi::shape_columns(form);
  const int code = zu_do_vtable_set_ntlist(table, columns);
  if (code != ZU_OK) return code;
  return form == nullptr ? add_rebuilt(columns, rows, count, table)
                         : zu_do_vtable_add_many(table, rows, count);
}

int cursor_fetch(zu_cursor *cursor, uint32_t count, zu_do_vtable *table) noexcept {
  cursor_object *object = cursor_object::of(cursor);
  if (table == nullptr) return ZU_FAILED;
  const run &rows = object->found.rows();
  const uint32_t left = rows.count - object->position;
  const uint32_t taken = count == 0 || object->whole ? left : std::min(count, left);
  const int code = add_rows(object, rows.rows + object->position, taken, table);
  if (code != ZU_OK) return code;
  object->position += taken;
  return taken == left ? 1 : 0;
}

zu_status *cursor_status(zu_cursor *) noexcept {
  return empty_status();
}

constexpr zu_cursor_ops cursor_ops = {nullptr, cursor_object::ref, cursor_object::free, cursor_fetch,
                                      cursor_status};

} // namespace

int cursor_object_new(data_object *data, answer &&found, bool whole, zu_cursor **cursor) {
  return cursor_object::make(cursor, &cursor_ops, data, std::move(found), whole);
}

} // namespace store
