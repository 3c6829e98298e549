// Cursors: the rows of an answer, handed out in batches.
#include <algorithm>

#include "store/interfaces.hpp"

namespace store {

namespace {

using owned_columns = infra::owned<zu_do_ntlist, zu_do_ntlist_deref>;
using owned_row = infra::owned<zu_do_vlist, zu_do_vlist_deref>;

struct cursor_object : counted_object<cursor_object, zu_cursor> {
  cursor_object(const zu_cursor_ops *ops, data_object *of, answer &&rows, bool at_once)
      : counted_object(ops, of), found(std::move(rows)), whole(at_once) {}

  answer found;
  bool whole;
  uint32_t position = 0; // of the next row
  owned_columns columns; // for rows of several shapes: made at the first fetch
};

zu_do_name *name_at(zu_do_ntlist *columns, size_t index) {
  return zu_do_ntcolumn_get_name(zu_do_ntlist_get(columns, index));
}

bool has_column(zu_do_ntlist *columns, const zu_do_name *name) {
  bool found = false;
  for (size_t i = 0; !found && i < zu_do_ntlist_get_len(columns); ++i) found = name_at(columns, i) == name;
  return found;
}

void expect(bool done) {
  if (!done) throw std::bad_alloc();
}

// The columns of all shapes among the rows, in the order in which they first appear.
owned_columns all_columns(const run &rows) {
  owned_columns columns(zu_do_ntlist_new());
  expect(columns != nullptr);
  zuapi::shape *last = nullptr;
  for (uint32_t i = 0; i < rows.count; ++i) {
    zuapi::shape *form = zuapi::row_shape(rows.rows[i]);
    if (form == std::exchange(last, form)) continue;
    zu_do_ntlist *added = zuapi::shape_columns(form);
    for (size_t slot = 0; slot < zu_do_ntlist_get_len(added); ++slot) {
      zu_do_name *name = name_at(added, slot);
      if (has_column(columns.get(), name)) continue;
      expect(zu_do_ntlist_add(columns.get(), name, ZU_DO_TYPE_NONE) == ZU_OK);
    }
  }
  return columns;
}

// A row with the record's values under those columns.
owned_row row_under(zu_do_ntlist *columns, zu_do_vlist *stored) {
  static zu_do_value none = zuapi::cell_none();
  owned_row row(zu_do_vlist_new());
  expect(row != nullptr);
  for (size_t i = 0; i < zu_do_ntlist_get_len(columns); ++i) {
    const int32_t slot = zuapi::shape_find(zuapi::row_shape(stored), name_at(columns, i));
    zu_do_value *value = slot < 0 ? &none : &zuapi::row_values(stored)[slot];
    expect(zu_do_vlist_add(row.get(), value) == ZU_OK);
  }
  return row;
}

// Rows of several shapes are rebuilt under the columns of all: a batch is added whole or not at all.
int add_rebuilt(zu_do_ntlist *columns, const run &rows, zu_do_vtable *table) {
  infra::vector<owned_row> rebuilt;
  infra::vector<zu_do_vlist *> batch;
  for (uint32_t i = 0; i < rows.count; ++i) {
    batch.push_back(rebuilt.emplace_back(row_under(columns, rows.rows[i])).get());
  }
  return zu_do_vtable_add_many(table, batch.data(), batch.size());
}

int add_rows(cursor_object *object, const run &rows, zu_do_vtable *table) {
  zuapi::shape *form = object->found.form();
  if (form == nullptr && object->found.rows().count == 0) return ZU_OK;
  if (form == nullptr && object->columns == nullptr) object->columns = all_columns(object->found.rows());
  zu_do_ntlist *columns = form == nullptr ? object->columns.get() : zuapi::shape_columns(form);
  const int code = zu_do_vtable_set_ntlist(table, columns);
  if (code != ZU_OK) return code;
  return form == nullptr ? add_rebuilt(columns, rows, table)
                         : zu_do_vtable_add_many(table, rows.rows, rows.count);
}

int cursor_fetch(zu_cursor *cursor, uint32_t count, zu_do_vtable *table) noexcept {
  cursor_object *object = cursor_object::of(cursor);
  if (table == nullptr) return ZU_FAILED;
  const run rows = object->found.rows();
  const uint32_t left = rows.count - object->position;
  const uint32_t taken = count == 0 || object->whole ? left : std::min(count, left);
  const int code = answered([&] { return add_rows(object, {rows.rows + object->position, taken}, table); });
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
