// The query of a partial render: the node's query entries with the values of the walk's arguments.
#include "coll_node.hpp"
#include "zu_tovra/internal/report.hpp"

namespace tvr {

namespace {

// The name of the argument in a query entry's value: the
// text after the "$". Null (traced) when there is no "$".
const char *argument_of(zu_do_nvpair *entry) noexcept {
  int code = 0;
  const char *text = zu_do_value_get_string(zu_do_nvpair_get_value(entry), &code);
  if (text == nullptr || code != 0 || text[0] != '$') {
    TVR_ERROR("Failed to get value for query");
    return nullptr;
  }
  return text + 1;
}

// Adds one argument to the query, which is made for the first one.
bool add_argument(ref<zu_do_nvlist> &query, zu_do_nvpair *entry, zu_do_properties *arguments) noexcept {
  const char *name = argument_of(entry);
  if (name == nullptr) return false;
  zu_do_value *value = zu_do_properties_get_value(arguments, name);
  if (value == nullptr) {
    TVR_ERROR("Missing value for %s in partial TOVRA", name);
    return false;
  }
  if (!query) query = ref<zu_do_nvlist>::adopt(zu_do_nvlist_new());
  if (!query || zu_do_nvlist_add(query.get(), name, value) != 0) {
    TVR_ERROR("Failed to allocate query");
    return false;
  }
  return true;
}

} // namespace

bool coll_is_partial_query(const zu_tvr_coll_data *data, const zu_tvr_walk_ctx *ctx,
                           uint8_t is_start_node) noexcept {
  return is_start_node != 0 && zu_do_nvlist_get_len(data->query) > 0 &&
         zu_do_properties_get_len(ctx->arguments) > 0;
}

ref<zu_do_nvlist> coll_build_query(zu_tvr_walk_ctx *ctx, zu_do_nvlist *node_query) noexcept {
  TVR_DEBUG("coll node: partial TOVRA detected, creating query");
  ref<zu_do_nvlist> query;
  zu_do_iter it = {};
  zu_do_nvlist_iter(node_query, &it);
  while (zu_do_nvlist_has_next(node_query, &it)) {
    if (!add_argument(query, zu_do_nvlist_get_next(node_query, &it), ctx->arguments)) {
      report(ctx, ZU_FAILED, "Error in building the query");
      return {};
    }
  }
  return query;
}

} // namespace tvr
