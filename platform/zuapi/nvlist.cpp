// Name/value lists.
#include "zuapi/objects.hpp"

using namespace zuapi;

struct zu_do_nvpair {
  zu_do_value *value;

  const char *name() const { return reinterpret_cast<const char *>(this + 1); }
};

struct zu_do_nvlist {
  std::atomic<uint32_t> count;
  uint32_t length;
  uint32_t capacity;
  zu_do_nvpair **items;
};

namespace zuapi {

int nvlist_add(zu_do_nvlist *list, std::string_view name, zu_do_value *value) {
  if (!grow(list->items, list->capacity, list->length + size_t{1})) return ZU_EXHAUSTED;
  auto *pair = allocate<zu_do_nvpair>(name.size() + 1);
  if (pair == nullptr) return ZU_EXHAUSTED;
  pair->value = value_share(value);
  if (pair->value == nullptr) {
    release(pair);
    return ZU_EXHAUSTED;
  }
  put_text(reinterpret_cast<char *>(pair + 1), name);
  list->items[list->length++] = pair;
  return ZU_OK;
}

} // namespace zuapi

zu_do_nvlist *zu_do_nvlist_new(void) {
  return list_new<zu_do_nvlist>();
}

zu_do_nvlist *zu_do_nvlist_ref(zu_do_nvlist *list) {
  if (list != nullptr) count_up(list->count);
  return list;
}

void zu_do_nvlist_deref(zu_do_nvlist *list) {
  list_deref(list, [](zu_do_nvpair *pair) {
    zu_do_value_deref(pair->value);
    release(pair);
  });
}

int zu_do_nvlist_add(zu_do_nvlist *list, const char *name, zu_do_value *value) {
  if (list == nullptr || name == nullptr || value == nullptr) return ZU_FAILED;
  return nvlist_add(list, name, value);
}

size_t zu_do_nvlist_get_len(zu_do_nvlist *list) {
  return list == nullptr ? 0 : list->length;
}

void zu_do_nvlist_iter(zu_do_nvlist *list, zu_do_iter *it) {
  iter_start(list, it);
}

bool zu_do_nvlist_has_next(zu_do_nvlist *list, zu_do_iter *it) {
  return it->position < zu_do_nvlist_get_len(list);
}

zu_do_nvpair *zu_do_nvlist_get_next(zu_do_nvlist *list, zu_do_iter *it) {
  return zu_do_nvlist_has_next(list, it) ? list->items[it->position++] : nullptr;
}

const char *zu_do_nvpair_get_name(zu_do_nvpair *pair) {
  return pair == nullptr ? nullptr : pair->name();
}

zu_do_value *zu_do_nvpair_get_value(zu_do_nvpair *pair) {
  return pair == nullptr ? nullptr : pair->value;
}

void zu_do_print_nvlist(FILE *stream, uint32_t indentation, zu_do_nvlist *list) {
  zu_do_strbuf *buffer = zu_do_strbuf_new();
  for (size_t i = 0; i < zu_do_nvlist_get_len(list); ++i) {
    zu_do_strbuf_clear(buffer);
    zu_do_strbuf_add_tab(buffer, indentation);
    zu_do_strbuf_add_string(buffer, list->items[i]->name());
    zu_do_strbuf_add_char(buffer, '=');
    value_to_debug_text(list->items[i]->value, buffer);
    zu_do_strbuf_add_char(buffer, '\n');
    zu_do_strbuf_print_fp(buffer, stream);
  }
  zu_do_strbuf_deref(buffer);
}
