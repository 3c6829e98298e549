// Making, growing and freeing the node block of a condition.
#include "cli_exec/cond_tree.hpp"

#include "qmalloc/qmalloc.h"
#include "zuapi/name.h"
#include "zuapi/value.h"

namespace zu_cond {

namespace {

constexpr uint32_t first_capacity = 8;

size_t block_size(uint32_t capacity) {
  return sizeof(zu_cond_list) + size_t{capacity} * sizeof(node);
}

} // namespace

zu_cond_list *list_new() noexcept {
  auto *list = static_cast<zu_cond_list *>(qmalloc_named(ZU_DO_AREA, block_size(first_capacity)));
  if (list == nullptr) return nullptr;
  list->count = 0;
  list->capacity = first_capacity;
  return list;
}

bool list_add(zu_cond_list *&list, const node &added) noexcept {
  if (list->count == list->capacity) {
    const uint32_t capacity = list->capacity * 2;
    void *grown = qrealloc_named(ZU_DO_AREA, list, block_size(capacity));
    if (grown == nullptr) return false;
    list = static_cast<zu_cond_list *>(grown);
    list->capacity = capacity;
  }
  list->nodes()[list->count++] = added;
  return true;
}

void list_trim(zu_cond_list *&list) noexcept {
  void *trimmed = qrealloc_named(ZU_DO_AREA, list, block_size(list->count));
  if (trimmed == nullptr) return; // a list with spare room is as good
  list = static_cast<zu_cond_list *>(trimmed);
  list->capacity = list->count;
}

} // namespace zu_cond

void zu_cond_list_free(zu_cond_list *list) {
  if (list == nullptr) return;
  for (uint32_t i = 0; i < list->count; ++i) {
    const zu_cond::node &node = list->nodes()[i];
    if (node.what == zu_cond::kind::constant) zu_do_value_deref(node.value);
    if (node.what == zu_cond::kind::property) zu_do_name_deref(node.name);
  }
  qfree_named(list);
}
