// Frozen arrays, shapes and rows.
#include <algorithm>

#include "zuapi/objects.hpp"

namespace zuapi {

namespace {

void fill(zu_do_vlist *list, uint8_t flags, zu_do_value *cells, uint32_t length) {
  list->count = 1;
  list->flags = flags;
  list->length = list->capacity = length;
  list->items = reinterpret_cast<zu_do_value **>(cells);
}

const store_record *record_of(const zu_do_vlist *row) {
  return reinterpret_cast<const store_record *>(row);
}

} // namespace

zu_do_value cell_array(arena &memory, const zu_do_value *elements, uint32_t count) {
  auto *list = new (memory.take(sizeof(zu_do_vlist) + count * sizeof(zu_do_value))) zu_do_vlist;
  auto *cells = reinterpret_cast<zu_do_value *>(list + 1);
  fill(list, list_frozen, cells, count);
  std::copy_n(elements, count, cells);
  return cell_list(list);
}

zu_do_value cell_typed(arena &memory, const zu_do_value &cell, const char *typedef_name) {
  zu_do_value typed = cell;
  cell_set_typedef(typed, new (memory.take(sizeof(typed_payload))) typed_payload, typedef_name);
  return typed;
}

shape *shape_new(zu_do_name *const *names, uint32_t width) {
  auto *form = allocate<shape>(width * sizeof(zu_do_ntcolumn));
  if (form == nullptr) return nullptr;
  form->columns.count = 1;
  form->columns.flags = list_frozen;
  form->columns.length = form->columns.capacity = width;
  form->columns.items = reinterpret_cast<zu_do_ntcolumn *>(form + 1);
  bool good = form->slots.reserve(width);
  for (uint32_t slot = 0; good && slot < width; ++slot) {
    form->columns.items[slot] = {names[slot], ZU_DO_TYPE_NONE};
    good = form->slots.insert(names[slot]->hash, static_cast<int32_t>(slot));
  }
  if (good) return form;
  shape_free(form);
  return nullptr;
}

void shape_free(shape *form) {
  if (form == nullptr) return;
  form->~shape();
  release(form);
}

zu_do_ntlist *shape_columns(shape *form) {
  return &form->columns;
}

int32_t shape_find(const shape *form, const zu_do_name *name) {
  return find_slot(form, name);
}

int32_t shape_find_text(const shape *form, std::string_view text) {
  return form->slots.find(hash_text(text.data(), text.size()),
                          [&](int32_t slot) { return form->columns.items[slot].name->view() == text; });
}

zu_do_vlist *row_make(arena &memory, shape *form, zu_do_uri *uri) {
  const uint32_t width = form->columns.length;
  auto *record = new (memory.take(sizeof(store_record) + width * sizeof(zu_do_value))) store_record;
  auto *cells = reinterpret_cast<zu_do_value *>(record + 1);
  fill(&record->row, list_frozen | list_record, cells, width);
  record->form = form;
  record->uri = uri;
  cells[0] = cell_mr_uri(uri);
  return &record->row;
}

shape *row_shape(const zu_do_vlist *row) {
  return record_of(row)->form;
}

zu_do_uri *row_uri(const zu_do_vlist *row) {
  return record_of(row)->uri;
}

zu_do_value *row_values(const zu_do_vlist *row) {
  return row->cells();
}

} // namespace zuapi
