// Column lists (name/type), and shapes: the columns of a path and where each name stands.
#include "zuapi/objects.hpp"

using namespace zuapi;

namespace {

uint32_t table_size(uint32_t width) {
  uint32_t size = 4;
  while (size < width * size_t{2}) size *= 2;
  return size;
}

} // namespace

namespace zuapi {

size_t shape_size(uint32_t width) {
  const size_t size = sizeof(shape) + width * sizeof(zu_do_ntcolumn) + table_size(width) * sizeof(uint32_t);
  return (size + alignof(shape) - 1) / alignof(shape) * alignof(shape);
}

shape *shape_place(void *block, zu_do_name *const *names, const int32_t *types, uint32_t width) {
  auto *form = new (block) shape;
  auto *items = reinterpret_cast<zu_do_ntcolumn *>(form + 1);
  auto *slots = reinterpret_cast<uint32_t *>(items + width);
  form->mask = table_size(width) - 1;
  form->slots = slots;
  form->columns.count = 1;
  form->columns.frozen = true;
  form->columns.length = form->columns.capacity = width;
  form->columns.items = items;
  memset(slots, 0, (form->mask + size_t{1}) * sizeof(uint32_t));
  for (uint32_t slot = 0; slot < width; ++slot) {
    items[slot] = {names[slot], types == nullptr ? ZU_DO_TYPE_NONE : types[slot]};
    uint32_t at = names[slot]->hash & form->mask;
    while (slots[at] != 0) at = (at + 1) & form->mask;
    slots[at] = slot + 1;
  }
  return form;
}

int32_t shape_find_text(const shape *form, const char *text, size_t length) {
  const uint32_t hash = hash_text(text, length);
  for (uint32_t at = hash & form->mask;; at = (at + 1) & form->mask) {
    const uint32_t slot = form->slots[at];
    if (slot == 0) return -1;
    const zu_do_name *name = form->columns.items[slot - 1].name;
    if (name->hash == hash && name->view() == std::string_view(text, length)) {
      return static_cast<int32_t>(slot - 1);
    }
  }
}

} // namespace zuapi

zu_do_ntlist *zu_do_ntlist_new(void) {
  auto *list = list_new<zu_do_ntlist>();
  if (list != nullptr) list->frozen = false;
  return list;
}

zu_do_ntlist *zu_do_ntlist_ref(zu_do_ntlist *list) {
  if (list != nullptr && !list->frozen) count_up(list->count);
  return list;
}

void zu_do_ntlist_deref(zu_do_ntlist *list) {
  if (list == nullptr || list->frozen) return;
  list_deref(list, [](const zu_do_ntcolumn &column) { zu_do_name_deref(column.name); });
}

int zu_do_ntlist_add(zu_do_ntlist *list, zu_do_name *name, int32_t type) {
  if (list == nullptr || list->frozen) return ZU_FAILED;
  if (!grow(list->items, list->capacity, list->length + size_t{1})) return ZU_EXHAUSTED;
  list->items[list->length++] = {zu_do_name_ref(name), type};
  return ZU_OK;
}

size_t zu_do_ntlist_get_len(zu_do_ntlist *list) {
  return list == nullptr ? 0 : list->length;
}

zu_do_ntcolumn *zu_do_ntlist_get(zu_do_ntlist *list, size_t index) {
  return index < zu_do_ntlist_get_len(list) ? &list->items[index] : nullptr;
}

void zu_do_ntlist_iter(zu_do_ntlist *list, zu_do_iter *it) {
  iter_start(list, it);
}

bool zu_do_ntlist_has_next(zu_do_ntlist *list, zu_do_iter *it) {
  return it->position < zu_do_ntlist_get_len(list);
}

zu_do_ntcolumn *zu_do_ntlist_get_next(zu_do_ntlist *list, zu_do_iter *it) {
  return zu_do_ntlist_has_next(list, it) ? &list->items[it->position++] : nullptr;
}

zu_do_name *zu_do_ntcolumn_get_name(zu_do_ntcolumn *column) {
  return column == nullptr ? nullptr : column->name;
}

int32_t zu_do_ntcolumn_get_type(zu_do_ntcolumn *column) {
  return column == nullptr ? ZU_DO_TYPE_NONE : column->type;
}
