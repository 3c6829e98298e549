// The get-one node's cached read. Below a list the node runs once for each
// parent. The first run fetches the instances under all parents in one
// request, keeps its own, and puts the others into the cache for later runs.
#include <cstring>
#include <utility>

#include "coll_text.hpp"
#include "crudx_node.hpp"
#include "cursors.hpp"
#include "failed.hpp"
#include "record_caches.hpp"
#include "zu_tovra/coll_uri.h"
#include "zu_tovra/internal/shortcuts.hpp"

namespace tvr {

namespace {

// Added to the flags of a request for a whole collection.
constexpr uint64_t fetch_for_caching = 0x10000000;

// ---- The rows of the collection ----

struct rows_reader {
  zu_tvr_walk_ctx *ctx;
  zu_do_uri *wanted;
  zu_do_ntlist *columns;
  ref<zu_do_nlist> names; // of the columns, made for the first row

  bool keep(zu_do_vlist *row, ref<zu_do_properties> *found) noexcept;
  ref<zu_do_properties> make_record(zu_do_vlist *row) noexcept;
};

// The record of a row; null on failure (reported).
ref<zu_do_properties> rows_reader::make_record(zu_do_vlist *row) noexcept {
  if (!names) names = ref<zu_do_nlist>::adopt(zu_do_nlist_new_from_ntlist(columns));
  if (!names) {
    fail(ctx, ZU_EXHAUSTED, "Failed to create nlist from ntlist");
    return {};
  }
  auto record = ref<zu_do_properties>::adopt(zu_do_properties_new_from_vlist(names.get(), row));
  if (!record) {
    TVR_ERROR("Failed to create props from vlist");
    report(ctx, ZU_EXHAUSTED, "Failed to get props from vlist");
  }
  return record;
}

// The relative form of a URI's text: a part of that text, or else in `*parsed`. Null on failure (traced).
const char *relative_text(zu_do_uri *uri, ref<zu_do_uri> *parsed) noexcept {
  zu_do_uri_parts parts = {};
  if (shortcuts.uri_parts != nullptr) shortcuts.uri_parts(uri, &parts);
  if (parts.relative_ok) return parts.text + parts.relative;
  *parsed = ref<zu_do_uri>::adopt(zu_do_uri_new_relative(zu_do_uri_get_uri_str(uri)));
  if (!*parsed) TVR_ERROR("Failed to convert current uri to relative uri");
  return zu_do_uri_get_uri_str(parsed->get());
}

// Keeps the row's record: in `*found` if it is the wanted one, else in the cache. False on failure.
bool rows_reader::keep(zu_do_vlist *row, ref<zu_do_properties> *found) noexcept {
  auto record = make_record(row);
  if (!record) return false;
  int code = 0;
  zu_do_uri *uri = zu_do_properties_get_mr_uri(record.get(), ZU_DO_NAME_URI, &code);
  if (uri == nullptr || code != 0) return fail(ctx, ZU_FAILED, "Failed to get uri from properties");
  ref<zu_do_uri> parsed;
  const bool absolute = zu_do_uri_is_absolute(wanted);
  const char *uri_text = absolute ? zu_do_uri_get_uri_str(uri) : relative_text(uri, &parsed);
  if (uri_text == nullptr) return false;
  if (absolute) {
    TVR_DEBUG("absoute current uri (%s)", uri_text);
  } else {
    TVR_DEBUG("relative current uri (%s)", uri_text);
  }
  if (std::strcmp(uri_text, zu_do_uri_get_uri_str(wanted)) != 0) {
    TVR_DEBUG("caching %s", uri_text);
    return mr_cache_put(ctx, uri_text, std::move(record));
  }
  TVR_DEBUG("Match found for %s", uri_text);
  *found = std::move(record);
  return absolute || crudx_set_uri(ctx, found->get(), wanted);
}

int32_t fetch_one_instance_cache_rest(zu_tvr_walk_ctx *ctx, zu_do_uri *uri, zu_do_vtable *rows,
                                      ref<zu_do_properties> *record) noexcept {
  TVR_DEBUG("fetch_one_instance_cache_rest (%s)", zu_do_uri_get_uri_str(uri));
  rows_reader reader = {ctx, uri, zu_do_vtable_get_ntlist(rows), {}};
  bool good = true;
  zu_do_iter it = {};
  zu_do_vtable_iter(rows, &it);
  while (good && zu_do_vtable_has_next(rows, &it)) {
    good = reader.keep(zu_do_vtable_row_get_vlist(rows, zu_do_vtable_get_next(rows, &it)), record);
  }
  if (*record) return good ? ZU_TVR_STEP_WALK : ZU_TVR_STEP_FAILED;
  TVR_INFO("Properties were not found (res = %d)\n", 0); // also when the rows could not all be read
  return ZU_TVR_STEP_NOTHING;
}

// ---- The request ----

cursor_handle open_collection(zu_tvr_walk_ctx *ctx, zu_do_uri *collection, zu_do_nlist *all_fields) noexcept {
  zu_cursor *opened = nullptr;
  const int error = ctx->coll_ifc->ops->open_cursor(ctx->coll_ifc, collection, all_fields, nullptr, nullptr,
                                                    ctx->flags | fetch_for_caching, &opened);
  cursor_handle cursor(opened);
  if (error == 0 && cursor) return cursor;
  fail(ctx, ZU_EXHAUSTED, "Failed to get cursor");
  return nullptr;
}

// The first batch; false when it is an error (traced, not reported).
bool fetch_batch(zu_tvr_walk_ctx *ctx, zu_cursor *cursor, zu_do_vtable *rows) noexcept {
  const int fetched = cursor->ops->fetch(cursor, ctx->fetch_count, rows);
  if (fetched == 1) {
    TVR_DEBUG("crudx node: no more data found (for caching)");
    clear_status(cursor);
    return true;
  }
  if (fetched != 0 && ctx->fetch_count == 0) {
    TVR_INFO("crudx node: get_next error (err = %d)\n", fetched);
    return false;
  }
  TVR_DEBUG("crudx node: received %d instances (for caching)", static_cast<int>(zu_do_vtable_get_len(rows)));
  return true;
}

int32_t retrieve_coll_props(zu_tvr_walk_ctx *ctx, zu_do_uri *uri, zu_do_uri *collection,
                            ref<zu_do_properties> *record) noexcept {
  TVR_DEBUG("retrieve_coll_props uri %s, coll_uri %s", zu_do_uri_get_uri_str(uri),
            zu_do_uri_get_uri_str(collection));
  if (get_coll_ifc(ctx) != 0) {
    report(ctx, ZU_FAILED, "Failed to get collection interface");
    return ZU_TVR_STEP_FAILED;
  }
  const auto all_fields = ref<zu_do_nlist>::adopt(zu_do_nlist_new());
  if (!all_fields) return failed_step(ctx, ZU_EXHAUSTED, "Failed to allocate name list");
  const auto rows = ref<zu_do_vtable>::adopt(zu_do_vtable_new());
  if (!rows) return failed_step(ctx, ZU_EXHAUSTED, "Failed to allocate vtable");
  const cursor_handle cursor = open_collection(ctx, collection, all_fields.get());
  if (!cursor || !fetch_batch(ctx, cursor.get(), rows.get())) return ZU_TVR_STEP_FAILED;
  return fetch_one_instance_cache_rest(ctx, uri, rows.get(), record);
}

// Fetches the collection and marks it as requested.
int32_t request_collection(zu_tvr_walk_ctx *ctx, zu_do_uri *uri, zu_do_uri *collection,
                           ref<zu_do_properties> *record) noexcept {
  const char *coll_text = zu_do_uri_get_uri_str(collection);
  const int32_t step = retrieve_coll_props(ctx, uri, collection, record);
  if (step == ZU_TVR_STEP_FAILED) {
    TVR_ERROR("crudx node: Failed to get the properties for the collection uri (%s", coll_text);
    return step;
  }
  if (!cursor_cache_mark_requested(ctx, coll_text, requester::get_one_node)) return ZU_TVR_STEP_FAILED;
  TVR_DEBUG("crudx node: Inserted %s into mr cache cursors hashmap", coll_text);
  TVR_INFO("get mr_properties (%s) -> (%d)", zu_do_uri_get_uri_str(uri), step);
  return step;
}

} // namespace

int32_t crudx_read_cached(zu_tvr_walk_ctx *ctx, zu_do_uri *uri, ref<zu_do_properties> *record) noexcept {
  const char *uri_text = zu_do_uri_get_uri_str(uri);
  if (ctx->mr_cache != nullptr) {
    *record = mr_cache_take(ctx, uri_text);
    if (*record) {
      TVR_DEBUG("mr %s is in mr cache", uri_text);
      const bool good = zu_do_uri_is_absolute(uri) || crudx_set_uri(ctx, record->get(), uri);
      return good ? ZU_TVR_STEP_WALK : ZU_TVR_STEP_FAILED;
    }
    TVR_DEBUG("mr %s is not in mr cache", uri_text);
  }
  TVR_DEBUG("crudx node: allocating new cursor for %s (for caching)", uri_text);
  coll_text collection;
  if (!collection.take(ctx, uri)) return ZU_TVR_STEP_FAILED;
  if (ctx->mr_cache_cursor == nullptr) {
    if (!cursor_cache_make(ctx)) {
      TVR_ERROR("crudx node: Unable to create mr cache cursors hashmap");
      return ZU_TVR_STEP_FAILED;
    }
  } else if (need_to_request(ctx->mr_cache_cursor, collection.get().data())) {
    TVR_DEBUG("crudx node: cursor for %s has not been requested yet", collection.get().data());
  } else {
    TVR_DEBUG("crudx node: cache miss - stop");
    return ZU_TVR_STEP_NOTHING;
  }
  const auto made = collection.take_uri(ctx, uri);
  return made ? request_collection(ctx, uri, made.get(), record) : ZU_TVR_STEP_FAILED;
}

} // namespace tvr
