// Lists of names.
#include "zuapi/objects.hpp"

using namespace zuapi;

zu_do_nlist *zu_do_nlist_new(void) {
  return list_new<zu_do_nlist>();
}

zu_do_nlist *zu_do_nlist_ref(zu_do_nlist *list) {
  if (list != nullptr) count_up(list->count);
  return list;
}

void zu_do_nlist_deref(zu_do_nlist *list) {
  list_deref(list, zu_do_name_deref);
}

int zu_do_nlist_add(zu_do_nlist *list, zu_do_name *name) {
  if (list == nullptr || name == nullptr) return ZU_FAILED;
  if (!grow(list->items, list->capacity, list->length + size_t{1})) return ZU_EXHAUSTED;
  list->items[list->length++] = zu_do_name_ref(name);
  return ZU_OK;
}

int zu_do_nlist_add_string(zu_do_nlist *list, const char *text) {
  zu_do_name *name = zu_do_name_new(text);
  const int code = zu_do_nlist_add(list, name);
  zu_do_name_deref(name);
  return code;
}

zu_do_nlist *zu_do_nlist_new_from_ntlist(zu_do_ntlist *columns) {
  if (columns == nullptr) return nullptr;
  zu_do_nlist *list = zu_do_nlist_new();
  if (list == nullptr) return nullptr;
  bool whole = grow(list->items, list->capacity, columns->length);
  for (uint32_t i = 0; whole && i < columns->length; ++i) {
    whole = zu_do_nlist_add(list, columns->items[i].name) == ZU_OK;
  }
  if (whole) return list;
  zu_do_nlist_deref(list);
  return nullptr;
}

size_t zu_do_nlist_get_len(zu_do_nlist *list) {
  return list == nullptr ? 0 : list->length;
}

zu_do_name *zu_do_nlist_get(zu_do_nlist *list, size_t index) {
  return index < zu_do_nlist_get_len(list) ? list->items[index] : nullptr;
}

void zu_do_nlist_iter(zu_do_nlist *list, zu_do_iter *it) {
  iter_start(list, it);
}

bool zu_do_nlist_has_next(zu_do_nlist *list, zu_do_iter *it) {
  return it->position < zu_do_nlist_get_len(list);
}

zu_do_name *zu_do_nlist_get_next(zu_do_nlist *list, zu_do_iter *it) {
  return zu_do_nlist_has_next(list, it) ? list->items[it->position++] : nullptr;
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
