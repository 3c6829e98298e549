// Executing a collection node: which request it makes, and one batch of the answer.
//
// With a fetch count a collection is read in batches, so that a big one is never in memory as a whole. The
// walk engine calls execute once for each batch; between batches the cursor stays open in the scratch data.
#include <utility>

#include "coll_node.hpp"
#include "coll_text.hpp"
#include "cursors.hpp"
#include "zu_tovra/coll_uri.h"
#include "zu_tovra/internal/observed.hpp"
#include "zu_tovra/internal/report.hpp"

namespace tvr {

namespace {

// Added to the flags of every cursor that is opened.
constexpr uint64_t collection_read = 0x10;

bool resolve(zu_tvr_coll_data *data, zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx) noexcept {
  drop_field(scratch->coll_uri);
  scratch->coll_uri = data->coll_uri->resolve(data->coll_uri, ctx);
  if (scratch->coll_uri == nullptr) return fail(ctx, ZU_FAILED, "Failed to resolve collection URI");
  const char *coll_text = zu_do_uri_get_uri_str(scratch->coll_uri);
  TVR_DEBUG("coll node execute %s", coll_text);
  if (observed(ctx, ZU_TVR_EVENT_ASK)) observe_request(ctx, coll_text);
  return true;
}

// True when an earlier request has fetched the collection: the cache has an entry for it, with its instances
// or without any.
bool was_requested(zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx) noexcept {
  if (ctx->mr_cache_cursor == nullptr) return false;
  const char *coll_text = zu_do_uri_get_uri_str(scratch->coll_uri);
  if (cursor_cache_find(scratch, ctx) != nullptr) {
    TVR_DEBUG("coll_uri (%s) is in mr cache cursor", coll_text);
    return true;
  }
  TVR_DEBUG("Incoming coll URI is %s", coll_text);
  TVR_DEBUG("Cursor %s not found in cursor cache", coll_text);
  return false;
}

// Opens the cursor unless one is open from the batch before: 0, or an error code. `*freed` is set when a
// cursor came with the error; it is freed.
int32_t open_cursor(const zu_tvr_coll_data *data, zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx,
                    zu_do_nvlist *query, uint64_t flags, bool *freed) noexcept {
  if (scratch->cursor != nullptr) {
    TVR_DEBUG("coll node: cursor found, reusing");
    return 0;
  }
  if (ctx->coll_ifc == nullptr) TVR_DEBUG("coll node: allocating new collection interface");
  const int32_t no_interface = get_coll_ifc(ctx);
  if (no_interface != 0) return no_interface;
  const auto all_fields = ref<zu_do_nlist>::adopt(zu_do_nlist_new()); // no field asks for all
  if (all_fields == nullptr) {
    TVR_ERROR("Failed to allocate name list");
    return ZU_EXHAUSTED;
  }
  TVR_DEBUG("coll node: allocating new cursor for %s", zu_do_uri_get_uri_str(scratch->coll_uri));
  zu_cursor *opened = nullptr;
  const int error = ctx->coll_ifc->ops->open_cursor(ctx->coll_ifc, scratch->coll_uri, all_fields.get(), query,
                                                    data->orderby, flags | collection_read, &opened);
  cursor_handle cursor(opened);
  if (error == 0 && cursor) {
    scratch->cursor = cursor.release();
    return 0;
  }
  TVR_ERROR("Failed to get cursor");
  *freed = cursor != nullptr;
  return error != 0 ? error : ZU_FAILED;
}

// Fetches a batch: 0, or an error code; `*freed` as above. The cursor stays open when more rows may follow.
int32_t fetch(zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx, bool *freed) noexcept {
  TVR_DEBUG("coll node: fetching data (fetch_count=%d)", static_cast<int>(ctx->fetch_count));
  cursor_handle cursor(std::exchange(scratch->cursor, nullptr));
  const int fetched = cursor->ops->fetch(cursor.get(), ctx->fetch_count, scratch->vtable);
  if (fetched == 1) {
    TVR_DEBUG("coll node: no more data found");
    clear_status(cursor.get());
    return 0;
  }
  *freed = fetched != 0;
  if (fetched != 0) TVR_ERROR("Error using the collection");
  if (fetched == 0 && ctx->fetch_count != 0) scratch->cursor = cursor.release();
  return fetched;
}

bool read_batch(const zu_tvr_coll_data *data, zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx,
                zu_do_nvlist *query, uint64_t flags) noexcept {
  scratch->vtable = zu_do_vtable_new();
  if (scratch->vtable == nullptr) return fail(ctx, ZU_EXHAUSTED, "Failed to allocate vtable");
  bool freed = false;
  int32_t error = open_cursor(data, scratch, ctx, query, flags, &freed);
  if (error == 0) error = fetch(scratch, ctx, &freed);
  if (!freed) {
    TVR_DEBUG("coll node: received %d instances", static_cast<int>(zu_do_vtable_get_len(scratch->vtable)));
  }
  if (error != 0) {
    report(ctx, error, "Error using the collection", {zu_do_uri_get_uri_str(scratch->coll_uri)});
  }
  return error == 0;
}

bool sort_batch(const zu_tvr_coll_data *data, zu_tvr_coll_scratch_data *scratch,
                zu_tvr_walk_ctx *ctx) noexcept {
  auto sorted = coll_sort_by_location(ctx, data->orderby, scratch->vtable);
  if (!sorted) return false;
  drop_field(scratch->vtable);
  scratch->vtable = sorted.release();
  return true;
}

// The result of a batch that was read: WALK when more batches follow. A collection without instances is
// marked as requested, so that the next parent does not request it again.
int32_t conclude(const zu_tvr_coll_data *data, zu_tvr_coll_scratch_data *scratch,
                 zu_tvr_walk_ctx *ctx) noexcept {
  const bool empty = zu_do_vtable_get_len(scratch->vtable) == 0;
  int32_t result = ZU_TVR_STEP_NOTHING;
  if (scratch->cursor != nullptr) {
    TVR_DEBUG("coll node: cursor not done, signaling to calling node");
    result = ZU_TVR_STEP_WALK;
  } else if (empty && (scratch->flags & TVR_COLL_FOR_CACHING) != 0) {
    TVR_DEBUG("received 0 instances for %s", zu_do_uri_get_uri_str(scratch->coll_uri));
    const bool marked =
        cursor_cache_mark_requested(ctx, view_of(scratch->coll_uri), requester::collection_node);
    return marked ? ZU_TVR_STEP_NOTHING : ZU_TVR_STEP_FAILED;
  }
  if (data->location != 0 && !empty && !sort_batch(data, scratch, ctx)) return ZU_TVR_STEP_FAILED;
  return result;
}

int32_t execute_batch(zu_tvr_coll_data *data, zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx,
                      bool partial_query) noexcept {
  if (!resolve(data, scratch, ctx)) return ZU_TVR_STEP_FAILED;
  coll_drop_batch(scratch);
  ref<zu_do_nvlist> query;
  uint64_t flags = ctx->flags;
  if (partial_query) {
    query = coll_build_query(ctx, data->query);
    if (!query) return ZU_TVR_STEP_FAILED;
  } else if (uri_is_under_ref_many_subtree(ctx, scratch->coll_uri)) {
    // Under a list the same node runs once for each parent. The first run asks for the instances under all
    // parents, instead of one request for each.
    if (was_requested(scratch, ctx)) return ZU_TVR_STEP_NOTHING; // iterate reads from the cache
    TVR_DEBUG("coll node:Request zucore to return all instances for %s (for caching)",
              zu_do_uri_get_uri_str(scratch->coll_uri));
    scratch->flags |= TVR_COLL_FOR_CACHING;
    flags = scratch->flags;
  }
  if (!read_batch(data, scratch, ctx, query.get(), flags)) return ZU_TVR_STEP_FAILED;
  return conclude(data, scratch, ctx);
}

} // namespace

int32_t coll_node_execute(zu_tvr_coll_data *data, zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx,
                          uint8_t is_start_node) noexcept {
  TVR_ASSERT(data);
  TVR_ASSERT(scratch);
  TVR_ASSERT(ctx);
  const bool partial_query = coll_is_partial_query(data, ctx, is_start_node);
  const int32_t result = execute_batch(data, scratch, ctx, partial_query);
  // A cursor is never kept after a failure.
  if (result == ZU_TVR_STEP_FAILED) coll_close_cursor(scratch);
  return result;
}

} // namespace tvr
