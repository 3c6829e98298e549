// The iteration node: pushes the records of the innermost group one by one on the records cache, in the order
// of their locations.
#include "zu_tovra/iter.h"

#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/internal/report.hpp"

namespace {

using tvr::fail;
using tvr::report;
using record_list = tvr::ref<zu_do_properties_list>;

// Reads the location of every record of the list; false (reported) when a record has no location.
bool read_locations(zu_tvr_walk_ctx *ctx, zu_do_properties_list *list, zu_do_iter *iter,
                    tarvo_location *locations) noexcept {
  zu_do_properties_list_iter(list, iter);
  for (; zu_do_properties_list_has_next(list, iter); ++locations) {
    zu_do_properties *record = zu_do_properties_list_get_next(list, iter);
    zu_do_value *uri = zu_do_properties_get_value(record, ZU_DO_NAME_URI);
    if (uri == nullptr) return fail(ctx, ZU_FAILED, "Failed to get URI from properties");
    if (!zu_tvr_extract_loc_id_from_uri(ctx, uri, locations)) {
      TVR_ERROR("Failed to extract location ID from properties");
      return report(ctx, ZU_FAILED, "Failed to extract location ID form properties");
    }
  }
  return true;
}

// Replaces the list by a new one with the same records in location order; false (reported) on failure. The
// old list is a group that other nodes may still use, so it is not sorted in place.
bool sort_by_location(zu_tvr_walk_ctx *ctx, record_list &list) noexcept {
  const auto count = static_cast<uint32_t>(zu_do_properties_list_get_len(list.get()));
  const tvr::iterator iter(zu_do_iter_new());
  if (iter == nullptr) {
    TVR_ERROR("Falled to allocate iterator");
    return report(ctx, ZU_EXHAUSTED, "Failed to allocate iterator");
  }
  const auto locations = tvr::make_zeroed_array<tarvo_location>(count);
  const auto index = tvr::make_zeroed_array<uint32_t>(count);
  if (locations == nullptr || index == nullptr) return fail(ctx, ZU_EXHAUSTED, "Failed to allocate array");
  auto sorted = record_list::adopt(zu_do_properties_list_new());
  if (sorted == nullptr) return fail(ctx, ZU_EXHAUSTED, "Failed to allocate properties list");
  if (!read_locations(ctx, list.get(), iter.get(), locations.get())) return false;
  if (tarvo_location_sort(locations.get(), count, index.get(), 0) != 0) {
    return fail(ctx, ZU_FAILED, "Failed to sort locations");
  }
  for (uint32_t i = 0; i < count; ++i) {
    zu_do_properties *record = zu_do_properties_list_get(list.get(), index.get()[i]);
    if (record == nullptr) return fail(ctx, ZU_FAILED, "Failed to get properties");
    if (zu_do_properties_list_add(sorted.get(), record) != ZU_OK) {
      return fail(ctx, ZU_EXHAUSTED, "Failed to allocate properties list");
    }
  }
  list = std::move(sorted);
  return true;
}

zu_do_properties_list *top_group(const zu_tvr_walk_ctx *ctx) noexcept {
  const zu_tvr_stack *groups = ctx->props_groups_cache;
  if (groups == nullptr || groups->top == nullptr) return nullptr;
  return static_cast<zu_do_properties_list *>(groups->top->item);
}

// Sets the scratch data to the group in location order, with
// an iterator at its start; false (reported) on failure.
bool prepare(zu_tvr_iter_scratch_data *scratch, zu_tvr_walk_ctx *ctx, zu_do_properties_list *group) noexcept {
  auto list = record_list::share(group);
  if (zu_do_properties_list_get_len(list.get()) != 0 && !sort_by_location(ctx, list)) {
    return fail(ctx, ZU_FAILED, "Failed to sort data by location");
  }
  scratch->iter = zu_do_iter_new();
  if (scratch->iter == nullptr) return fail(ctx, ZU_EXHAUSTED, "Failed to allocate iterator");
  tvr::drop_field(scratch->list);
  scratch->list = list.release();
  zu_do_properties_list_iter(scratch->list, scratch->iter);
  return true;
}

void trace_instance(zu_do_properties *record) noexcept {
  if (!tvr::tracing(7)) return;
  const tvr::string_buffer buffer(zu_do_strbuf_new());
  zu_do_properties_to_strbuf(record, 0, buffer.get());
  TVR_DEBUG("iter node: pushing 1 instance to cache: %s", zu_do_strbuf_to_string(buffer.get()));
}

int32_t next(zu_tvr_iter_scratch_data *scratch, zu_tvr_walk_ctx *ctx) noexcept {
  TVR_ASSERT(scratch);
  TVR_ASSERT(ctx);
  if (scratch->iter == nullptr) {
    zu_do_properties_list *group = top_group(ctx);
    if (group == nullptr) {
      TVR_DEBUG("iter node: prop groups cache is empty, stopping");
      return ZU_TVR_STEP_NOTHING;
    }
    TVR_DEBUG("iter node: starting iteration");
    if (!prepare(scratch, ctx, group)) return ZU_TVR_STEP_FAILED;
  }
  if (!zu_do_properties_list_has_next(scratch->list, scratch->iter)) return ZU_TVR_STEP_NOTHING;
  zu_do_properties *record = zu_do_properties_list_get_next(scratch->list, scratch->iter);
  trace_instance(record);
  const uint32_t pushed = zu_tvr_push_props_to_cache(ctx, record, 1, 1);
  if (pushed == 0) return ZU_TVR_STEP_FAILED;
  TVR_DEBUG("iter node: pushed %d props to cache", pushed);
  scratch->pushed = static_cast<int32_t>(pushed);
  return ZU_TVR_STEP_WALK;
}

void pop(zu_tvr_iter_scratch_data *scratch, zu_tvr_walk_ctx *ctx) noexcept {
  TVR_ASSERT(scratch);
  TVR_ASSERT(ctx);
  if (scratch->pushed <= 0) return;
  TVR_DEBUG("iter node: popping %d items from props from cache", scratch->pushed);
  for (; scratch->pushed > 0; --scratch->pushed) zu_tvr_pop_props_from_cache(ctx);
}

void cleanup(zu_tvr_iter_scratch_data *scratch) noexcept {
  TVR_ASSERT(scratch);
  TVR_DEBUG("iter node: cleaning up");
  const tvr::iterator iter(std::exchange(scratch->iter, nullptr));
  tvr::drop_field(scratch->list);
}

} // namespace

zu_tvr_iter_data *zu_tvr_iter_data_new(const char *location_scheme) noexcept {
  TVR_ASSERT(location_scheme);
  auto data = tvr::or_error(tvr::make_zeroed<zu_tvr_iter_data>(), "Failed to allocate tovra node");
  if (data == nullptr) return nullptr;
  data->next = next;
  data->pop = pop;
  data->cleanup = cleanup;
  return data.release();
}

void zu_tvr_iter_data_delete(zu_tvr_iter_data *data) noexcept {
  tvr::block<zu_tvr_iter_data> freed(data);
}

zu_tvr_iter_scratch_data *zu_tvr_iter_scratch_data_new(void) noexcept {
  return tvr::or_error(tvr::make_zeroed<zu_tvr_iter_scratch_data>(), "Failed to allocate tovra node")
      .release();
}

void zu_tvr_iter_scratch_data_delete(zu_tvr_iter_scratch_data *scratch) noexcept {
  tvr::block<zu_tvr_iter_scratch_data> freed(scratch);
}
