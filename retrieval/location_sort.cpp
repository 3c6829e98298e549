// Sorts a batch by location. The order-by values come first: only consecutive rows with equal values (a run)
// are sorted among each other.
#include <cstring>

#include "coll_node.hpp"
#include "svcs/svcs.h"
#include "zu_tovra/internal/report.hpp"

namespace tvr {

namespace {

struct sorting {
  zu_tvr_walk_ctx *ctx;
  zu_do_vtable *batch;
  uint32_t count;
  zu_do_ntlist *columns;          // borrowed from the batch
  block<size_t> key_columns = {}; // by position in the order-by names
  size_t key_count = 0;
  size_t uri_column = 0;
  block<tarvo_location> locations = {}; // by row
  ref<zu_do_vlist> key_values = {};     // of the current run
  ref<zu_do_vtable> sorted = {};
};

bool find_columns(sorting &sort, zu_do_nlist *orderby) noexcept {
  sort.key_count = zu_do_nlist_get_len(orderby);
  if (sort.key_count > 0) sort.key_columns = make_zeroed_array<size_t>(sort.key_count);
  if (sort.key_count > 0 && !sort.key_columns) {
    return fail(sort.ctx, ZU_EXHAUSTED, "Failed to allocate array");
  }
  for (size_t position = 0; position < sort.key_count; ++position) {
    const char *name = zu_do_name_get_unqualified(zu_do_nlist_get(orderby, position));
    if (!coll_find_column(sort.columns, name, &sort.key_columns.get()[position])) {
      return fail(sort.ctx, ZU_FAILED, "Failed to determine sorting key column");
    }
  }
  return coll_find_column(sort.columns, ZU_DO_NAME_URI, &sort.uri_column) ||
         fail(sort.ctx, ZU_FAILED, "Failed to determine URI column");
}

bool allocate(sorting &sort) noexcept {
  sort.locations = make_zeroed_array<tarvo_location>(sort.count);
  if (!sort.locations) return fail(sort.ctx, ZU_EXHAUSTED, "Failed to allocate array");
  sort.key_values = ref<zu_do_vlist>::adopt(zu_do_vlist_new());
  if (!sort.key_values) return fail(sort.ctx, ZU_EXHAUSTED, "Failed to allocate vlist");
  sort.sorted = ref<zu_do_vtable>::adopt(zu_do_vtable_new_from_ntlist(sort.columns));
  return sort.sorted || fail(sort.ctx, ZU_EXHAUSTED, "Failed to allocate vtable");
}

bool locate(sorting &sort, zu_do_vlist *row, uint32_t at) noexcept {
  zu_do_value *uri = zu_do_vlist_get_value(row, sort.uri_column);
  if (uri == nullptr) return fail(sort.ctx, ZU_FAILED, "Failed to get URI from row");
  if (zu_tvr_extract_loc_id_from_uri(sort.ctx, uri, &sort.locations.get()[at])) return true;
  TVR_ERROR("Failed to extract location");
  report(sort.ctx, ZU_FAILED, "Failed to extract location from row");
  return false;
}

// Compares a key of the row with that of the current run, and makes it the run's key. `*changed` is set when
// the run had another value; a run without a value yet is not changed.
bool compare_key(sorting &sort, zu_do_vlist *row, size_t position, bool *changed) noexcept {
  zu_do_value *value = zu_do_vlist_get_value(row, sort.key_columns.get()[position]);
  if (value == nullptr) return fail(sort.ctx, ZU_FAILED, "Failed to get value");
  zu_do_value *current = zu_do_vlist_get_value(sort.key_values.get(), position);
  int code = 0;
  if (current == nullptr) {
    code = zu_do_vlist_add(sort.key_values.get(), value);
  } else if (!zu_do_value_equals(current, value)) {
    code = zu_do_vlist_set_value(sort.key_values.get(), position, value);
    *changed = true;
  }
  return code == 0 || fail(sort.ctx, ZU_EXHAUSTED, "Failed to allocate vlist");
}

bool append_run(sorting &sort, uint32_t start, uint32_t length) noexcept {
  const auto order = make_zeroed_array<uint32_t>(length);
  if (!order) return fail(sort.ctx, ZU_EXHAUSTED, "Failed to allocate array");
  if (tarvo_location_sort(sort.locations.get() + start, length, order.get(), 0) != 0) {
    return fail(sort.ctx, ZU_FAILED, "Failed to sort locations");
  }
  for (uint32_t k = 0; k < length; ++k) {
    zu_do_vlist *row = zu_do_vtable_get(sort.batch, start + order.get()[k]);
    if (row == nullptr) return fail(sort.ctx, ZU_FAILED, "Failed to get row");
    if (zu_do_vtable_add(sort.sorted.get(), row) != 0) {
      return fail(sort.ctx, ZU_EXHAUSTED, "Failed to allocate vtable");
    }
  }
  return true;
}

// Appends the rows from `start` up to, not including, `end`.
bool flush(sorting &sort, uint32_t start, uint32_t end) noexcept {
  return append_run(sort, start, end - start) || fail(sort.ctx, ZU_FAILED, "Failed to sort by location");
}

bool sort_runs(sorting &sort) noexcept {
  uint32_t run = 0;
  for (uint32_t at = 0; at < sort.count; ++at) {
    zu_do_vlist *row = zu_do_vtable_get(sort.batch, at);
    if (!locate(sort, row, at)) return false;
    bool changed = false;
    for (size_t position = 0; position < sort.key_count; ++position) {
      if (compare_key(sort, row, position, &changed)) continue;
      return fail(sort.ctx, ZU_FAILED, "Failed to compare sorting keys");
    }
    if (!changed) continue;
    if (!flush(sort, run, at)) return false;
    run = at;
  }
  return flush(sort, run, sort.count);
}

} // namespace

bool coll_find_column(zu_do_ntlist *columns, const char *name, size_t *index) noexcept {
  const size_t count = zu_do_ntlist_get_len(columns);
  for (size_t at = 0; at < count; ++at) {
    zu_do_name *column = zu_do_ntcolumn_get_name(zu_do_ntlist_get(columns, at));
    if (column == nullptr || std::strcmp(zu_do_name_get_unqualified(column), name) != 0) continue;
    *index = at;
    return true;
  }
  return false;
}

ref<zu_do_vtable> coll_sort_by_location(zu_tvr_walk_ctx *ctx, zu_do_nlist *orderby,
                                        zu_do_vtable *batch) noexcept {
  const auto count = static_cast<uint32_t>(zu_do_vtable_get_len(batch));
  sorting sort = {.ctx = ctx, .batch = batch, .count = count, .columns = zu_do_vtable_get_ntlist(batch)};
  if (sort.columns == nullptr) {
    fail(ctx, ZU_FAILED, "Failed to get column info");
  } else if (find_columns(sort, orderby) && allocate(sort) && sort_runs(sort)) {
    return std::move(sort.sorted);
  }
  fail(ctx, ZU_FAILED, "Failed to sort data by location");
  return {};
}

} // namespace tvr
