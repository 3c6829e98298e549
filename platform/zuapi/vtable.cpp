// Tables of rows. A row item is the place of the row in the table's array.
#include "zuapi/objects.hpp"

using namespace zuapi;

struct zu_do_vtable {
  std::atomic<uint32_t> count;
  uint32_t length;
  uint32_t capacity;
  zu_do_ntlist *columns;
  zu_do_vlist **rows;
};

zu_do_vtable *zu_do_vtable_new(void) {
  auto *table = allocate<zu_do_vtable>();
  if (table == nullptr) return nullptr;
  table->count = 1;
  table->length = table->capacity = 0;
  table->columns = nullptr;
  table->rows = nullptr;
  return table;
}

zu_do_vtable *zu_do_vtable_new_from_ntlist(zu_do_ntlist *columns) {
  if (columns == nullptr) return nullptr;
  zu_do_vtable *table = zu_do_vtable_new();
  if (table != nullptr) table->columns = zu_do_ntlist_ref(columns);
  return table;
}

zu_do_vtable *zu_do_vtable_ref(zu_do_vtable *table) {
  if (table != nullptr) count_up(table->count);
  return table;
}

void zu_do_vtable_deref(zu_do_vtable *table) {
  if (table == nullptr || !count_down(table->count)) return;
  for (uint32_t i = 0; i < table->length; ++i) zu_do_vlist_deref(table->rows[i]);
  release(table->rows);
  zu_do_ntlist_deref(table->columns);
  release(table);
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
  if (count > SIZE_MAX - table->length || !grow(table->rows, table->capacity, table->length + count)) {
    return ZU_EXHAUSTED;
  }
  for (size_t i = 0; i < count; ++i) table->rows[table->length + i] = zu_do_vlist_ref(rows[i]);
  table->length += static_cast<uint32_t>(count);
  return ZU_OK;
}

size_t zu_do_vtable_get_len(zu_do_vtable *table) {
  return table == nullptr ? 0 : table->length;
}

zu_do_vlist *zu_do_vtable_get(zu_do_vtable *table, size_t index) {
  return index < zu_do_vtable_get_len(table) ? table->rows[index] : nullptr;
}

void zu_do_vtable_iter(zu_do_vtable *table, zu_do_iter *it) {
  iter_start(table, it);
}

bool zu_do_vtable_has_next(zu_do_vtable *table, zu_do_iter *it) {
  return it->position < zu_do_vtable_get_len(table);
}

zu_do_vtable_row *zu_do_vtable_get_next(zu_do_vtable *table, zu_do_iter *it) {
  if (!zu_do_vtable_has_next(table, it)) return nullptr;
  return reinterpret_cast<zu_do_vtable_row *>(&table->rows[it->position++]);
}

zu_do_vlist *zu_do_vtable_row_get_vlist(zu_do_vtable *table, zu_do_vtable_row *item) {
  (void)table;
  return item == nullptr ? nullptr : *reinterpret_cast<zu_do_vlist **>(item);
}

void zu_do_vtable_iter_reset(zu_do_vtable *table, zu_do_vtable_row *item, zu_do_iter *it) {
  if (table == nullptr || item == nullptr) return;
  it->list = table;
  it->position = static_cast<size_t>(reinterpret_cast<zu_do_vlist **>(item) - table->rows);
}
