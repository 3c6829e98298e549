// The collection node's data record and its scratch data.
#include "zu_tovra/coll.h"

#include <utility>

#include "coll_node.hpp"
#include "cursors.hpp"
#include "zu_tovra/internal/report.hpp"

zu_tvr_coll_data *zu_tvr_coll_data_new(zu_tvr_uri *coll_uri, zu_do_nvlist *query, zu_do_nlist *orderby,
                                       const char *location_scheme, uint8_t group) noexcept {
  TVR_ASSERT(coll_uri);
  auto data = tvr::make_zeroed<zu_tvr_coll_data>();
  if (!data) {
    TVR_ERROR("Failed to allocate tovra node");
    return nullptr;
  }
  data->orderby = tvr::share_into_field(orderby);
  data->coll_uri = coll_uri;
  data->query = tvr::share_into_field(query);
  data->location = location_scheme != nullptr ? 1 : 0;
  data->group = group;
  data->execute = tvr::coll_node_execute;
  data->iterate = tvr::coll_node_iterate;
  data->pop = tvr::coll_node_pop;
  data->cleanup = tvr::coll_node_cleanup;
  return data.release();
}

void zu_tvr_coll_data_delete(zu_tvr_coll_data *data) noexcept {
  if (data == nullptr) return;
  const tvr::block<zu_tvr_coll_data> record(data);
  zu_tvr_uri_delete(data->coll_uri);
  tvr::drop_field(data->query);
  tvr::drop_field(data->orderby);
}

void zu_tvr_coll_data_print(FILE *stream, uint32_t indentation, zu_tvr_coll_data *data) noexcept {
  TVR_ASSERT(stream);
  TVR_ASSERT(data);
  if (data->coll_uri->is_dynamic == 0) zu_do_print_uri(stream, indentation, data->coll_uri->data.uri);
  std::fputc('\n', stream);
  zu_do_print_nvlist(stream, indentation, data->query);
}

zu_tvr_coll_scratch_data *zu_tvr_coll_scratch_data_new(void) noexcept {
  auto scratch = tvr::make_zeroed<zu_tvr_coll_scratch_data>();
  if (!scratch) TVR_ERROR("Failed to allocate tovra node");
  return scratch.release();
}

void zu_tvr_coll_scratch_data_delete(zu_tvr_coll_scratch_data *scratch) noexcept {
  if (scratch == nullptr) return;
  const tvr::block<zu_tvr_coll_scratch_data> record(scratch);
  TVR_DEBUG("coll node: cleaning up");
  tvr::drop_field(scratch->coll_uri);
  tvr::coll_close_cursor(scratch);
  tvr::coll_drop_batch(scratch);
  tvr::drop_field(scratch->cached_for);
}

namespace tvr {

void coll_close_cursor(zu_tvr_coll_scratch_data *scratch) noexcept {
  const cursor_handle closed(std::exchange(scratch->cursor, nullptr));
}

void coll_drop_batch(zu_tvr_coll_scratch_data *scratch) noexcept {
  drop_field(scratch->last);
  drop_field(scratch->vtable);
  const iterator dropped(std::exchange(scratch->iter, nullptr));
}

void coll_node_cleanup(zu_tvr_coll_scratch_data *scratch, int32_t execute_result) noexcept {
  TVR_ASSERT(scratch);
  TVR_DEBUG("coll node: cleaning up");
  if (execute_result != ZU_TVR_STEP_WALK) {
    drop_field(scratch->coll_uri);
    coll_close_cursor(scratch);
  }
  coll_drop_batch(scratch);
}

} // namespace tvr
