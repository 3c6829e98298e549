// Executing a collection node: which request it makes, and one batch of its answer.
#include <utility>

#include "coll_node.hpp"
#include "cursors.hpp"
#include "zu_tovra/coll_uri.h"
#include "zu_tovra/internal/report.hpp"

namespace tvr {

namespace {

// Added to the flags of every open.
constexpr uint64_t collection_read = 0x10;

// What the data store is asked for.
struct request {
  ref<zu_do_nvlist> query; // none: all instances
  uint64_t flags;
};

// How opening or fetching ended.
struct outcome {
  int32_t error = 0;
  bool cursor_freed = false; // with the error
};

bool resolve(zu_tvr_coll_data *data, zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx) noexcept {
  drop_field(scratch->coll_uri);
  scratch->coll_uri = data->coll_uri->resolve(data->coll_uri, ctx);
  if (scratch->coll_uri == nullptr) {
    fail(ctx, ZU_FAILED, "Failed to resolve collection URI");
    return false;
  }
  TVR_DEBUG("coll node execute %s", zu_do_uri_get_uri_str(scratch->coll_uri));
  return true;
}

bool make_batch(zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx) noexcept {
  scratch->vtable = zu_do_vtable_new();
  if (scratch->vtable != nullptr) return true;
  fail(ctx, ZU_EXHAUSTED, "Failed to allocate vtable");
  return false;
}

// True when an earlier request has fetched the collection: its instances, or the knowledge that there are
// none, are in the cache.
bool was_requested(zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx) noexcept {
  if (ctx->mr_cache_cursor == nullptr) return false;
  const char *uri_text = zu_do_uri_get_uri_str(scratch->coll_uri);
  if (htFindKey(ctx->mr_cache_cursor, uri_text) != nullptr) {
    TVR_DEBUG("coll_uri (%s) is in mr cache cursor", uri_text);
    return true;
  }
  if (!need_to_request_collection(ctx->mr_cache_cursor, scratch->coll_uri)) {
    TVR_DEBUG("Collection has already been requested ");
    return true;
  }
  return false;
}

// Under a ref-many subtree the same node runs once a parent instance: the first run asks for the instances
// under all parents.
uint64_t request_flags(zu_tvr_coll_scratch_data *scratch, const zu_tvr_walk_ctx *ctx,
                       bool for_caching) noexcept {
  if (!for_caching) return ctx->flags;
  TVR_DEBUG("coll node:Request zucore to return all instances for %s (for caching)",
            zu_do_uri_get_uri_str(scratch->coll_uri));
  scratch->flags |= TVR_COLL_FOR_CACHING;
  return scratch->flags;
}

int32_t get_coll_ifc(zu_tvr_walk_ctx *ctx) noexcept {
  if (ctx->coll_ifc != nullptr) return 0;
  TVR_DEBUG("coll node: allocating new collection interface");
  const int error = ctx->data_ifc->ops->get_coll_ifc(ctx->data_ifc, &ctx->coll_ifc);
  if (error != 0) {
    ctx->coll_ifc = nullptr;
    TVR_ERROR("Failed to get collection interface");
  }
  return error;
}

outcome open_cursor(const zu_tvr_coll_data *data, zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx,
                    const request &wanted) noexcept {
  if (scratch->cursor != nullptr) {
    TVR_DEBUG("coll node: cursor found, reusing");
    return {};
  }
  const int32_t no_interface = get_coll_ifc(ctx);
  if (no_interface != 0) return {no_interface};
  const auto all_fields = ref<zu_do_nlist>::adopt(zu_do_nlist_new());
  if (!all_fields) {
    TVR_ERROR("Failed to allocate name list");
    return {ZU_EXHAUSTED};
  }
  TVR_DEBUG("coll node: allocating new cursor for %s", zu_do_uri_get_uri_str(scratch->coll_uri));
  zu_cursor *opened = nullptr;
  const int error =
      ctx->coll_ifc->ops->open_cursor(ctx->coll_ifc, scratch->coll_uri, all_fields.get(), wanted.query.get(),
                                      data->orderby, wanted.flags | collection_read, &opened);
  cursor_handle cursor(opened);
  if (error != 0 || !cursor) {
    TVR_ERROR("Failed to get cursor");
    return {error != 0 ? error : ZU_FAILED, cursor != nullptr};
  }
  scratch->cursor = cursor.release();
  return {};
}

// The cursor stays open when more may follow.
outcome fetch(zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx) noexcept {
  TVR_DEBUG("coll node: fetching data (fetch_count=%d)", static_cast<int>(ctx->fetch_count));
  cursor_handle cursor(std::exchange(scratch->cursor, nullptr));
  const int fetched = cursor->ops->fetch(cursor.get(), ctx->fetch_count, scratch->vtable);
  if (fetched == 1) {
    TVR_DEBUG("coll node: no more data found");
    clear_status(cursor.get());
    return {};
  }
  if (fetched != 0) {
    TVR_ERROR("Error using the collection");
    return {fetched, true};
  }
  if (ctx->fetch_count != 0) scratch->cursor = cursor.release();
  return {};
}

bool read_batch(const zu_tvr_coll_data *data, zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx,
                const request &wanted) noexcept {
  outcome ended = open_cursor(data, scratch, ctx, wanted);
  if (ended.error == 0) ended = fetch(scratch, ctx);
  if (!ended.cursor_freed) {
    TVR_DEBUG("coll node: received %d instances", static_cast<int>(zu_do_vtable_get_len(scratch->vtable)));
  }
  if (ended.error == 0) return true;
  report(ctx, ended.error, "Error using the collection");
  return false;
}

bool sort_batch(const zu_tvr_coll_data *data, zu_tvr_coll_scratch_data *scratch,
                zu_tvr_walk_ctx *ctx) noexcept {
  auto sorted = coll_sort_by_location(ctx, data->orderby, scratch->vtable);
  if (!sorted) return false;
  drop_field(scratch->vtable);
  scratch->vtable = sorted.release();
  return true;
}

// What a batch that was read amounts to.
int32_t conclude(const zu_tvr_coll_data *data, zu_tvr_coll_scratch_data *scratch,
                 zu_tvr_walk_ctx *ctx) noexcept {
  const bool empty = zu_do_vtable_get_len(scratch->vtable) == 0;
  int32_t result = ZU_TVR_STEP_NOTHING;
  if (scratch->cursor != nullptr) {
    TVR_DEBUG("coll node: cursor not done, signaling to calling node");
    result = ZU_TVR_STEP_WALK;
  } else if (empty && (scratch->flags & TVR_COLL_FOR_CACHING) != 0) {
    TVR_DEBUG("received 0 instances for %s", zu_do_uri_get_uri_str(scratch->coll_uri));
    return cursor_cache_mark_requested(ctx, scratch->coll_uri, requester::collection_node);
  }
  if (data->location != 0 && !empty && !sort_batch(data, scratch, ctx)) return ZU_TVR_STEP_FAILED;
  return result;
}

int32_t execute_batch(zu_tvr_coll_data *data, zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx,
                      bool partial_query) noexcept {
  if (!resolve(data, scratch, ctx)) return ZU_TVR_STEP_FAILED;
  coll_drop_batch(scratch);
  // A collection that is served from the cache needs no table.
  const bool table_first = partial_query || debugging();
  if (table_first && !make_batch(scratch, ctx)) return ZU_TVR_STEP_FAILED;
  request wanted = {{}, ctx->flags};
  if (partial_query) {
    wanted.query = coll_build_query(ctx, data->query);
    if (!wanted.query) return ZU_TVR_STEP_FAILED;
  } else {
    const bool for_caching = uri_is_under_ref_many_subtree(ctx, scratch->coll_uri);
    if (for_caching && was_requested(scratch, ctx)) return ZU_TVR_STEP_NOTHING;
    wanted.flags = request_flags(scratch, ctx, for_caching);
  }
  if (!table_first && !make_batch(scratch, ctx)) return ZU_TVR_STEP_FAILED;
  if (!read_batch(data, scratch, ctx, wanted)) return ZU_TVR_STEP_FAILED;
  return conclude(data, scratch, ctx);
}

} // namespace

int32_t coll_node_execute(zu_tvr_coll_data *data, zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx,
                          uint8_t is_start_node) noexcept {
  const bool partial_query = coll_is_partial_query(data, ctx, is_start_node);
  const int32_t result = execute_batch(data, scratch, ctx, partial_query);
  // A cursor is never kept after a failure.
  if (result == ZU_TVR_STEP_FAILED) coll_close_cursor(scratch);
  return result;
}

} // namespace tvr
