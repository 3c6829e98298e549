// The key of a group: the order-by values that its records share.
#include "coll_node.hpp"
#include "zu_tovra/internal/report.hpp"

#include <cstring>

namespace tvr {

namespace {

// Calls `each` with every name until it answers false; whether it never did.
template <class Each>
bool every_name(zu_do_nlist *names, Each &&each) noexcept {
  zu_do_iter it = {};
  zu_do_nlist_iter(names, &it);
  while (zu_do_nlist_has_next(names, &it)) {
    if (!each(zu_do_nlist_get_next(names, &it))) return false;
  }
  return true;
}

zu_do_value *find_value(zu_do_properties *record, zu_do_name *name) noexcept {
  zu_do_value *value = zu_do_properties_get_value_n(record, name);
  if (value == nullptr) TVR_ERROR("Failed to find %s in props", zu_do_name_get_strname(name));
  return value;
}

void trace_key(zu_do_nvlist *pairs) noexcept {
  const string_buffer buffer(zu_do_strbuf_new());
  if (!buffer) return;
  zu_do_iter it = {};
  zu_do_nvlist_iter(pairs, &it);
  while (zu_do_nvlist_has_next(pairs, &it)) {
    zu_do_nvpair *pair = zu_do_nvlist_get_next(pairs, &it);
    zu_do_value *value = zu_do_nvpair_get_value(pair);
    const char *type = zu_do_value_get_typedef_name(value);
    if (zu_do_strbuf_get_len(buffer.get()) > 0) zu_do_strbuf_add_string(buffer.get(), ", ");
    zu_do_strbuf_add_string(buffer.get(), zu_do_nvpair_get_name(pair));
    zu_do_strbuf_add_char(buffer.get(), '=');
    if (type != nullptr && std::strcmp(type, "PasswordString") == 0) {
      zu_do_strbuf_add_string(buffer.get(), "<removed>");
    } else {
      zu_do_value_to_strbuf(value, 0, buffer.get());
    }
  }
  TVR_DEBUG("coll node: current group key %s", zu_do_strbuf_to_string(buffer.get()));
}

} // namespace

ref<zu_do_nvlist> coll_group_key_new(zu_do_nlist *orderby, zu_do_properties *record) noexcept {
  auto key = ref<zu_do_nvlist>::adopt(zu_do_nvlist_new());
  if (!key) {
    TVR_ERROR("Failed to allocate keys");
    return {};
  }
  const bool whole = every_name(orderby, [&](zu_do_name *name) {
    zu_do_value *value = find_value(record, name);
    if (value == nullptr) return false;
    if (zu_do_nvlist_add(key.get(), zu_do_name_get_strname(name), value) == 0) return true;
    TVR_ERROR("Failed to allocate keys");
    return false;
  });
  if (!whole) return {};
  return key;
}

bool coll_group_key_matches(zu_do_properties *record, zu_do_nvlist *key) noexcept {
  zu_do_iter it = {};
  zu_do_nvlist_iter(key, &it);
  while (zu_do_nvlist_has_next(key, &it)) {
    zu_do_nvpair *pair = zu_do_nvlist_get_next(key, &it);
    zu_do_value *value = zu_do_properties_get_value(record, zu_do_nvpair_get_name(pair));
    if (value == nullptr || !zu_do_value_equals(value, zu_do_nvpair_get_value(pair))) return false;
  }
  return true;
}

bool group_key::start(zu_do_nlist *orderby, zu_do_properties *record) noexcept {
  if (debugging()) {
    pairs_ = coll_group_key_new(orderby, record);
    if (!pairs_) return false;
    trace_key(pairs_.get());
  } else if (!every_name(orderby, [&](zu_do_name *name) { return find_value(record, name) != nullptr; })) {
    return false;
  }
  orderby_ = orderby;
  first_ = ref<zu_do_properties>::share(record);
  return true;
}

bool group_key::matches(zu_do_properties *record) const noexcept {
  if (pairs_) return coll_group_key_matches(record, pairs_.get());
  return every_name(orderby_, [&](zu_do_name *name) {
    zu_do_value *value = zu_do_properties_get_value_n(record, name);
    return value != nullptr && zu_do_value_equals(value, zu_do_properties_get_value_n(first_.get(), name));
  });
}

} // namespace tvr
