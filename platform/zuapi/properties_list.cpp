// Lists of records.
#include "zuapi/objects.hpp"

using namespace zuapi;

struct zu_do_properties_list {
  std::atomic<uint32_t> count;
  uint32_t length;
  uint32_t capacity;
  zu_do_properties **items;
};

zu_do_properties_list *zu_do_properties_list_new(void) {
  return list_new<zu_do_properties_list>();
}

zu_do_properties_list *zu_do_properties_list_ref(zu_do_properties_list *list) {
  if (list != nullptr) count_up(list->count);
  return list;
}

void zu_do_properties_list_deref(zu_do_properties_list *list) {
  list_deref(list, zu_do_properties_deref);
}

int zu_do_properties_list_add(zu_do_properties_list *list, zu_do_properties *record) {
  if (list == nullptr || record == nullptr) return ZU_FAILED;
  if (!grow(list->items, list->capacity, list->length + size_t{1})) return ZU_EXHAUSTED;
  list->items[list->length++] = zu_do_properties_ref(record);
  return ZU_OK;
}

size_t zu_do_properties_list_get_len(zu_do_properties_list *list) {
  return list == nullptr ? 0 : list->length;
}

zu_do_properties *zu_do_properties_list_get(zu_do_properties_list *list, size_t index) {
  return index < zu_do_properties_list_get_len(list) ? list->items[index] : nullptr;
}

void zu_do_properties_list_iter(zu_do_properties_list *list, zu_do_iter *it) {
  iter_start(list, it);
}

bool zu_do_properties_list_has_next(zu_do_properties_list *list, zu_do_iter *it) {
  return it->position < zu_do_properties_list_get_len(list);
}

zu_do_properties *zu_do_properties_list_get_next(zu_do_properties_list *list, zu_do_iter *it) {
  return zu_do_properties_list_has_next(list, it) ? list->items[it->position++] : nullptr;
}
