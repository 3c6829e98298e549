// The order by location of a batch: among consecutive rows with equal order-by values, and only there.
#include <cstring>

#include "coll_node.hpp"
#include "svcs/svcs.h"
#include "zu_tovra/internal/report.hpp"

namespace tvr {

namespace {

class location_sorter {
public:
  location_sorter(zu_tvr_walk_ctx *ctx, zu_do_vtable *batch) noexcept
      : ctx_(ctx), batch_(batch), count_(static_cast<uint32_t>(zu_do_vtable_get_len(batch))) {}

  bool sort(zu_do_nlist *orderby) noexcept;
  ref<zu_do_vtable> take_sorted() noexcept { return std::move(sorted_); }

private:
  bool failed(int32_t code, const char *message) noexcept {
    fail(ctx_, code, message);
    return false;
  }
  bool find_keys(zu_do_nlist *orderby) noexcept;
  bool allocate() noexcept;
  bool locate(zu_do_vlist *row, uint32_t at) noexcept;
  bool compare_key(zu_do_vlist *row, size_t position, bool *changed) noexcept;
  bool compare_keys(zu_do_vlist *row, bool *changed) noexcept;
  bool append_run(uint32_t start, uint32_t length) noexcept;
  bool flush(uint32_t start, uint32_t end) noexcept;

  zu_tvr_walk_ctx *ctx_;
  zu_do_vtable *batch_;
  uint32_t count_;
  zu_do_ntlist *columns_ = nullptr; // borrowed from the batch
  block<size_t> key_columns_;       // by position in the order-by names
  size_t key_count_ = 0;
  size_t uri_column_ = 0;
  block<tarvo_location> locations_; // by row
  ref<zu_do_vlist> key_values_;     // of the current run
  ref<zu_do_vtable> sorted_;
};

bool location_sorter::find_keys(zu_do_nlist *orderby) noexcept {
  key_count_ = zu_do_nlist_get_len(orderby);
  if (key_count_ == 0) return true;
  key_columns_ = make_zeroed_array<size_t>(key_count_);
  if (!key_columns_) return failed(ZU_EXHAUSTED, "Failed to allocate array");
  for (size_t position = 0; position < key_count_; ++position) {
    const char *name = zu_do_name_get_unqualified(zu_do_nlist_get(orderby, position));
    if (!coll_find_column(columns_, name, &key_columns_.get()[position])) {
      return failed(ZU_FAILED, "Failed to determine sorting key column");
    }
  }
  return true;
}

bool location_sorter::allocate() noexcept {
  locations_ = make_zeroed_array<tarvo_location>(count_);
  if (!locations_) return failed(ZU_EXHAUSTED, "Failed to allocate array");
  key_values_ = ref<zu_do_vlist>::adopt(zu_do_vlist_new());
  if (!key_values_) return failed(ZU_EXHAUSTED, "Failed to allocate vlist");
  sorted_ = ref<zu_do_vtable>::adopt(zu_do_vtable_new_from_ntlist(columns_));
  if (!sorted_) return failed(ZU_EXHAUSTED, "Failed to allocate vtable");
  return true;
}

bool location_sorter::locate(zu_do_vlist *row, uint32_t at) noexcept {
  zu_do_value *uri = zu_do_vlist_get_value(row, uri_column_);
  if (uri == nullptr) return failed(ZU_FAILED, "Failed to get URI from row");
  if (zu_tvr_extract_loc_id_from_uri(ctx_, uri, &locations_.get()[at])) return true;
  TVR_ERROR("Failed to extract location");
  report(ctx_, ZU_FAILED, "Failed to extract location from row");
  return false;
}

// The run's value at a position becomes the row's; noted as a change unless the run had none yet.
bool location_sorter::compare_key(zu_do_vlist *row, size_t position, bool *changed) noexcept {
  zu_do_value *value = zu_do_vlist_get_value(row, key_columns_.get()[position]);
  if (value == nullptr) return failed(ZU_FAILED, "Failed to get value");
  zu_do_value *current = zu_do_vlist_get_value(key_values_.get(), position);
  int code = 0;
  if (current == nullptr) {
    code = zu_do_vlist_add(key_values_.get(), value);
  } else if (!zu_do_value_equals(current, value)) {
    code = zu_do_vlist_set_value(key_values_.get(), position, value);
    *changed = true;
  }
  return code == 0 || failed(ZU_EXHAUSTED, "Failed to allocate vlist");
}

bool location_sorter::compare_keys(zu_do_vlist *row, bool *changed) noexcept {
  for (size_t position = 0; position < key_count_; ++position) {
    if (!compare_key(row, position, changed)) return failed(ZU_FAILED, "Failed to compare sorting keys");
  }
  return true;
}

bool location_sorter::append_run(uint32_t start, uint32_t length) noexcept {
  const auto order = make_zeroed_array<uint32_t>(length);
  if (!order) return failed(ZU_EXHAUSTED, "Failed to allocate array");
  if (tarvo_location_sort(locations_.get() + start, length, order.get(), 0) != 0) {
    return failed(ZU_FAILED, "Failed to sort locations");
  }
  for (uint32_t k = 0; k < length; ++k) {
    zu_do_vlist *row = zu_do_vtable_get(batch_, start + order.get()[k]);
    if (row == nullptr) return failed(ZU_FAILED, "Failed to get row");
    if (zu_do_vtable_add(sorted_.get(), row) != 0) return failed(ZU_EXHAUSTED, "Failed to allocate vtable");
  }
  return true;
}

// Appends the rows from `start` up to, not including, `end`.
bool location_sorter::flush(uint32_t start, uint32_t end) noexcept {
  return append_run(start, end - start) || failed(ZU_FAILED, "Failed to sort by location");
}

bool location_sorter::sort(zu_do_nlist *orderby) noexcept {
  columns_ = zu_do_vtable_get_ntlist(batch_);
  if (columns_ == nullptr) return failed(ZU_FAILED, "Failed to get column info");
  if (!find_keys(orderby)) return false;
  if (!coll_find_column(columns_, ZU_DO_NAME_URI, &uri_column_)) {
    return failed(ZU_FAILED, "Failed to determine URI column");
  }
  if (!allocate()) return false;
  uint32_t run = 0;
  for (uint32_t at = 0; at < count_; ++at) {
    zu_do_vlist *row = zu_do_vtable_get(batch_, at);
    bool changed = false;
    if (!locate(row, at) || !compare_keys(row, &changed)) return false;
    if (!changed) continue;
    if (!flush(run, at)) return false;
    run = at;
  }
  return flush(run, count_);
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
  location_sorter sorter(ctx, batch);
  if (sorter.sort(orderby)) return sorter.take_sorted();
  fail(ctx, ZU_FAILED, "Failed to sort data by location");
  return {};
}

} // namespace tvr
