// Lists of values: counted ones that grow, and frozen ones over consecutive cells.
#include "zuapi/objects.hpp"

using namespace zuapi;

zu_do_vlist *zu_do_vlist_new(void) {
  auto *list = list_new<zu_do_vlist>();
  if (list != nullptr) list->flags = 0;
  return list;
}

zu_do_vlist *zu_do_vlist_ref(zu_do_vlist *list) {
  if (list != nullptr && (list->flags & list_frozen) == 0) count_up(list->count);
  return list;
}

void zu_do_vlist_deref(zu_do_vlist *list) {
  if (list != nullptr && (list->flags & list_frozen) == 0) list_deref(list, zu_do_value_deref);
}

int zu_do_vlist_add(zu_do_vlist *list, zu_do_value *value) {
  if (list == nullptr || value == nullptr || (list->flags & list_frozen) != 0) return ZU_FAILED;
  if (!grow(list->items, list->capacity, list->length + size_t{1})) return ZU_EXHAUSTED;
  zu_do_value *shared = value_share(value);
  if (shared == nullptr) return ZU_EXHAUSTED;
  list->items[list->length++] = shared;
  return ZU_OK;
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

size_t zu_do_vlist_get_len(zu_do_vlist *list) {
  return list == nullptr ? 0 : list->length;
}

zu_do_value *zu_do_vlist_get_value(zu_do_vlist *list, size_t index) {
  if (list == nullptr || index >= list->length) return nullptr;
  return (list->flags & list_frozen) != 0 ? &list->cells[index] : list->items[index];
}

void zu_do_vlist_iter(zu_do_vlist *list, zu_do_iter *it) {
  iter_start(list, it);
}

bool zu_do_vlist_has_next(zu_do_vlist *list, zu_do_iter *it) {
  return list != nullptr && it->position < list->length;
}

zu_do_value *zu_do_vlist_get_next(zu_do_vlist *list, zu_do_iter *it) {
  zu_do_value *value = zu_do_vlist_get_value(list, it->position);
  if (value != nullptr) ++it->position;
  return value;
}
