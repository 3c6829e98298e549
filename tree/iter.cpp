// The iteration node: the records of the group on top, in location order, one by one on the records cache.
#include "zu_tovra/iter.h"

#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/internal/report.hpp"

namespace {

using tvr::fail;
using tvr::ref;

using record_list = ref<zu_do_properties_list>;

// Reads the location of every record of the list; false (reported) when one has none.
bool read_locations(zu_tvr_walk_ctx *ctx, zu_do_properties_list *list, zu_do_iter *iter,
                    tarvo_location *locations) noexcept {
  zu_do_properties_list_iter(list, iter);
  for (; zu_do_properties_list_has_next(list, iter); ++locations) {
    zu_do_properties *record = zu_do_properties_list_get_next(list, iter);
    zu_do_value *uri = zu_do_properties_get_value(record, ZU_DO_NAME_URI);
    if (uri == nullptr) {
      fail(ctx, ZU_FAILED, "Failed to get URI from properties");
      return false;
    }
    if (!zu_tvr_extract_loc_id_from_uri(ctx, uri, locations)) {
      TVR_ERROR("Failed to extract location ID from properties");
      tvr::report(ctx, ZU_FAILED, "Failed to extract location ID form properties");
      return false;
    }
  }
  return true;
}

// Adds to `sorted` the records of the list in the order of the index; false (reported) on failure.
bool add_in_order(zu_tvr_walk_ctx *ctx, zu_do_properties_list *list, const uint32_t *index, uint32_t count,
                  zu_do_properties_list *sorted) noexcept {
  for (uint32_t i = 0; i < count; ++i) {
    zu_do_properties *record = zu_do_properties_list_get(list, index[i]);
    if (record == nullptr) {
      fail(ctx, ZU_FAILED, "Failed to get properties");
      return false;
    }
    if (zu_do_properties_list_add(sorted, record) != ZU_OK) {
      fail(ctx, ZU_EXHAUSTED, "Failed to allocate properties list");
      return false;
    }
  }
  return true;
}

// A new list of the same records in location order; none (reported) on failure.
record_list sort_by_location(zu_tvr_walk_ctx *ctx, zu_do_properties_list *list) noexcept {
  const auto count = static_cast<uint32_t>(zu_do_properties_list_get_len(list));
  const tvr::iterator iter(zu_do_iter_new());
  if (iter == nullptr) {
    TVR_ERROR("Falled to allocate iterator");
    tvr::report(ctx, ZU_EXHAUSTED, "Failed to allocate iterator");
    return {};
  }
  const auto locations = tvr::make_zeroed_array<tarvo_location>(count);
  const auto index = tvr::make_zeroed_array<uint32_t>(count);
  if (locations == nullptr || index == nullptr) {
    fail(ctx, ZU_EXHAUSTED, "Failed to allocate array");
    return {};
  }
  auto sorted = record_list::adopt(zu_do_properties_list_new());
  if (sorted == nullptr) {
    fail(ctx, ZU_EXHAUSTED, "Failed to allocate properties list");
    return {};
  }
  if (!read_locations(ctx, list, iter.get(), locations.get())) return {};
  if (tarvo_location_sort(locations.get(), count, index.get(), 0) != 0) {
    fail(ctx, ZU_FAILED, "Failed to sort locations");
    return {};
  }
  if (!add_in_order(ctx, list, index.get(), count, sorted.get())) return {};
  return sorted;
}

zu_do_properties_list *top_group(const zu_tvr_walk_ctx *ctx) noexcept {
  const zu_tvr_stack *groups = ctx->props_groups_cache;
  if (groups == nullptr || groups->top == nullptr) return nullptr;
  return static_cast<zu_do_properties_list *>(groups->top->item);
}

// Takes the group in location order, with an iterator at its start; false (reported) on failure.
bool prepare(zu_tvr_iter_scratch_data *scratch, zu_tvr_walk_ctx *ctx, zu_do_properties_list *group) noexcept {
  tvr::drop_field(scratch->list);
  scratch->list = tvr::share_into_field(group);
  if (zu_do_properties_list_get_len(scratch->list) != 0) {
    auto sorted = sort_by_location(ctx, scratch->list);
    if (sorted == nullptr) {
      fail(ctx, ZU_FAILED, "Failed to sort data by location");
      return false;
    }
    tvr::drop_field(scratch->list);
    scratch->list = sorted.release();
  }
  scratch->iter = zu_do_iter_new();
  if (scratch->iter == nullptr) {
    fail(ctx, ZU_EXHAUSTED, "Failed to allocate iterator");
    return false;
  }
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
  auto data = tvr::make_zeroed<zu_tvr_iter_data>();
  if (data == nullptr) {
    TVR_ERROR("Failed to allocate tovra node");
    return nullptr;
  }
  data->next = next;
  data->pop = pop;
  data->cleanup = cleanup;
  return data.release();
}

void zu_tvr_iter_data_delete(zu_tvr_iter_data *data) noexcept {
  tvr::block<zu_tvr_iter_data> freed(data);
}

zu_tvr_iter_scratch_data *zu_tvr_iter_scratch_data_new(void) noexcept {
  auto scratch = tvr::make_zeroed<zu_tvr_iter_scratch_data>();
  if (scratch == nullptr) TVR_ERROR("Failed to allocate tovra node");
  return scratch.release();
}

void zu_tvr_iter_scratch_data_delete(zu_tvr_iter_scratch_data *scratch) noexcept {
  tvr::block<zu_tvr_iter_scratch_data> freed(scratch);
}
