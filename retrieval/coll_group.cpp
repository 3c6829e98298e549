// The key of a group: the order-by values that all its records have.
#include <cstring>

#include "coll_node.hpp"
#include "zu_tovra/internal/report.hpp"

namespace tvr {

namespace {

// Calls `each` with every name until it returns false. True when it never did.
template <class Each>
bool every_name(zu_do_nlist *names, Each &&each) noexcept {
  zu_do_iter it = {};
  zu_do_nlist_iter(names, &it);
  while (zu_do_nlist_has_next(names, &it)) {
    if (!each(zu_do_nlist_get_next(names, &it))) return false;
  }
  return true;
}

} // namespace

void group_key::trace() const noexcept {
  const string_buffer buffer(zu_do_strbuf_new());
  if (!buffer) return;
  every_name(orderby_, [&](zu_do_name *name) {
    zu_do_value *value = zu_do_properties_get_value_n(first_.get(), name);
    const char *type = zu_do_value_get_typedef_name(value);
    if (zu_do_strbuf_get_len(buffer.get()) > 0) zu_do_strbuf_add_string(buffer.get(), ", ");
    zu_do_strbuf_add_string(buffer.get(), zu_do_name_get_strname(name));
    zu_do_strbuf_add_char(buffer.get(), '=');
    if (type != nullptr && std::strcmp(type, "PasswordString") == 0) {
      zu_do_strbuf_add_string(buffer.get(), "<removed>");
    } else {
      zu_do_value_to_strbuf(value, 0, buffer.get());
    }
    return true;
  });
  TVR_DEBUG("coll node: current group key %s", zu_do_strbuf_to_string(buffer.get()));
}

bool group_key::start(zu_do_nlist *orderby, zu_do_properties *record) noexcept {
  const bool whole = every_name(orderby, [&](zu_do_name *name) {
    if (zu_do_properties_get_value_n(record, name) != nullptr) return true;
    TVR_ERROR("Failed to find %s in props", zu_do_name_get_strname(name));
    return false;
  });
  if (!whole) return false;
  orderby_ = orderby;
  first_ = ref<zu_do_properties>::share(record);
  if (tracing(7)) trace();
  return true;
}

bool group_key::matches(zu_do_properties *record) const noexcept {
  return every_name(orderby_, [&](zu_do_name *name) {
    zu_do_value *value = zu_do_properties_get_value_n(record, name);
    return value != nullptr && zu_do_value_equals(value, zu_do_properties_get_value_n(first_.get(), name));
  });
}

} // namespace tvr
