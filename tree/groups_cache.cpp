// The groups cache: opens a group of records, appends to the group on top, pops it.
#include "stack.hpp"
#include "zu_tovra/internal/observed.hpp"
#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/internal/records_cache.hpp"
#include "zu_tovra/internal/report.hpp"

namespace {

using tvr::fail;
using tvr::ref;

bool add_to(zu_do_properties_list *group, zu_tvr_walk_ctx *ctx, zu_do_properties *record) noexcept {
  const bool added = group != nullptr && zu_do_properties_list_add(group, record) == ZU_OK;
  return added || fail(ctx, ZU_FAILED, "Failed to allocate properties list");
}

bool open_group(zu_tvr_walk_ctx *ctx, zu_do_properties *record) noexcept {
  zu_tvr_stack *&cache = ctx->props_groups_cache;
  if (cache == nullptr) cache = zu_tvr_stack_new(tvr_props_group_match);
  if (cache == nullptr) return fail(ctx, ZU_EXHAUSTED, "Failed to allocate property groups cache");
  auto group = ref<zu_do_properties_list>::adopt(zu_do_properties_list_new());
  if (!add_to(group.get(), ctx, record)) return false;
  if (tvr::push_entry(cache, group.get()) == nullptr) {
    return tvr::report(ctx, ZU_FAILED, "Failed to property list to cache");
  }
  (void)group.release(); // to the cache
  return true;
}

bool append_to_group(zu_tvr_walk_ctx *ctx, zu_do_properties *record) noexcept {
  const zu_tvr_stack *cache = ctx->props_groups_cache;
  if (cache == nullptr || cache->top == nullptr) return fail(ctx, ZU_FAILED, "location prop cache corrupted");
  return add_to(static_cast<zu_do_properties_list *>(cache->top->item), ctx, record);
}

} // namespace

bool zu_tvr_push_props_group_to_cache(zu_tvr_walk_ctx *ctx, zu_do_properties *record,
                                      uint8_t append) noexcept {
  TVR_ASSERT(ctx);
  if (!(append != 0 ? append_to_group(ctx, record) : open_group(ctx, record))) return false;
  if (tvr::observed(ctx, ZU_TVR_EVENT_RECORD)) tvr::observe_record(ctx, record);
  return true;
}

void zu_tvr_pop_props_group_from_cache(zu_tvr_walk_ctx *ctx) noexcept {
  TVR_ASSERT(ctx);
  TVR_ASSERT_NAMED(ctx->props_groups_cache, "stack");
  auto group = ref<zu_do_properties_list>::adopt(
      static_cast<zu_do_properties_list *>(zu_tvr_stack_pop(ctx->props_groups_cache)));
  if (!group) fail(ctx, ZU_FAILED, "Failed to pop from properties group cache");
}
