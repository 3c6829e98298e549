// The get-one node's cached read: one request for a whole collection, the other instances kept for later.
#include <cstring>
#include <utility>

#include "coll_slices.hpp"
#include "crudx_node.hpp"
#include "cursors.hpp"
#include "record_caches.hpp"
#include "zu_tovra/coll_uri.h"
#include "zu_tovra/internal/report.hpp"

namespace tvr {

namespace {

// Added to the flags of a request for a whole collection.
constexpr uint64_t fetch_for_caching = 0x10000000;

// ---- The rows of the collection ----

// A row's record, and the text of its instance in the form of the wanted URI.
struct instance {
  ref<zu_do_properties> record;
  ref<zu_do_uri> parsed; // by the plain steps; else none
  const char *text = nullptr;
};

// How the rows are looked at.
struct row_reader {
  zu_tvr_walk_ctx *ctx;
  zu_do_uri *wanted;
  bool absolute; // the wanted URI
  zu_do_ntlist *columns;
  bool plain; // the rows cannot be seen as views

  bool matches(const instance &row) const noexcept;
  bool read(zu_do_vlist *row, instance *out) const noexcept;
  bool read_view(zu_do_vlist *row, instance *out) const noexcept;
  bool read_plain(zu_do_vlist *row, instance *out) const noexcept;
  bool parse(zu_do_uri *found, instance *out) const noexcept;
};

// Views name their properties by unqualified names, the records of the plain steps by whole ones.
bool names_are_whole(zu_do_ntlist *columns) noexcept {
  zu_do_iter it = {};
  zu_do_ntlist_iter(columns, &it);
  while (zu_do_ntlist_has_next(columns, &it)) {
    zu_do_name *name = zu_do_ntcolumn_get_name(zu_do_ntlist_get_next(columns, &it));
    if (name == nullptr || zu_do_name_get_unqualified(name) != zu_do_name_get_strname(name)) return false;
  }
  return true;
}

bool row_reader::matches(const instance &row) const noexcept {
  if (row.parsed) return zu_do_uri_equals(row.parsed.get(), wanted);
  return std::strcmp(row.text, zu_do_uri_get_uri_str(wanted)) == 0;
}

bool row_reader::read(zu_do_vlist *row, instance *out) const noexcept {
  if (!plain && !debugging() && read_view(row, out)) return true;
  *out = {};
  return read_plain(row, out);
}

// The text is a slice of the row's own URI. False when only the plain steps can tell.
bool row_reader::read_view(zu_do_vlist *row, instance *out) const noexcept {
  out->record = ref<zu_do_properties>::adopt(zu_do_properties_new_from_row(columns, row));
  int code = 0;
  zu_do_uri *found = zu_do_properties_get_mr_uri(out->record.get(), ZU_DO_NAME_URI, &code);
  if (found == nullptr || code != 0) return false;
  zu_do_uri_parts parts;
  zu_do_uri_get_parts(found, &parts);
  if (!absolute && (!parts.relative_ok || parts.text[parts.relative] != '/')) return false;
  out->text = absolute ? parts.text : parts.text + parts.relative;
  return true;
}

bool row_reader::read_plain(zu_do_vlist *row, instance *out) const noexcept {
  const auto names = ref<zu_do_nlist>::adopt(zu_do_nlist_new_from_ntlist(columns));
  if (!names) {
    fail(ctx, ZU_EXHAUSTED, "Failed to create nlist from ntlist");
    return false;
  }
  out->record = ref<zu_do_properties>::adopt(zu_do_properties_new_from_vlist(names.get(), row));
  if (!out->record) {
    TVR_ERROR("Failed to create props from vlist");
    report(ctx, ZU_EXHAUSTED, "Failed to get props from vlist");
    return false;
  }
  int code = 0;
  zu_do_uri *found = zu_do_properties_get_mr_uri(out->record.get(), ZU_DO_NAME_URI, &code);
  if (found == nullptr || code != 0) {
    fail(ctx, ZU_FAILED, "Failed to get uri from properties");
    return false;
  }
  return parse(found, out);
}

bool row_reader::parse(zu_do_uri *found, instance *out) const noexcept {
  const char *found_text = zu_do_uri_get_uri_str(found);
  out->parsed =
      ref<zu_do_uri>::adopt(absolute ? zu_do_uri_new(found_text) : zu_do_uri_new_relative(found_text));
  out->text = zu_do_uri_get_uri_str(out->parsed.get());
  if (!out->parsed && absolute) {
    TVR_ERROR("Failed to create absolute uri from current uri");
  } else if (!out->parsed) {
    TVR_ERROR("Failed to convert current uri to relative uri");
  } else if (absolute) {
    TVR_DEBUG("absoute current uri (%s)", out->text);
  } else {
    TVR_DEBUG("relative current uri (%s)", out->text);
  }
  return static_cast<bool>(out->parsed);
}

// Keeps the row's record: as the wanted one, or in the cache.
bool keep(const row_reader &reader, instance row, ref<zu_do_properties> *wanted) noexcept {
  if (!reader.matches(row)) {
    TVR_DEBUG("caching %s", row.text);
    return mr_cache_put(reader.ctx, row.text, std::move(row.record)) == 0;
  }
  TVR_DEBUG("Match found for %s", row.text);
  *wanted = std::move(row.record);
  return reader.absolute || crudx_set_uri(reader.ctx, wanted->get(), reader.wanted);
}

get_one_result fetch_one_instance_cache_rest(zu_tvr_walk_ctx *ctx, zu_do_uri *uri,
                                             zu_do_vtable *rows) noexcept {
  TVR_DEBUG("fetch_one_instance_cache_rest (%s)", zu_do_uri_get_uri_str(uri));
  zu_do_ntlist *columns = zu_do_vtable_get_ntlist(rows);
  const row_reader reader = {ctx, uri, zu_do_uri_is_absolute(uri), columns, !names_are_whole(columns)};
  get_one_result got = {ZU_TVR_STEP_WALK, {}};
  zu_do_iter it = {};
  zu_do_vtable_iter(rows, &it);
  while (got.step == ZU_TVR_STEP_WALK && zu_do_vtable_has_next(rows, &it)) {
    zu_do_vlist *row = zu_do_vtable_row_get_vlist(rows, zu_do_vtable_get_next(rows, &it));
    instance found;
    if (!reader.read(row, &found) || !keep(reader, std::move(found), &got.record)) {
      got.step = ZU_TVR_STEP_FAILED;
    }
  }
  if (!got.record) {
    got.step = ZU_TVR_STEP_NOTHING; // also when the rows could not all be read
    TVR_INFO("Properties were not found (res = %d)\n", got.step);
  }
  return got;
}

// ---- The request ----

bool get_coll_ifc(zu_tvr_walk_ctx *ctx) noexcept {
  if (ctx->coll_ifc != nullptr) return true;
  if (ctx->data_ifc->ops->get_coll_ifc(ctx->data_ifc, &ctx->coll_ifc) == 0) return true;
  ctx->coll_ifc = nullptr;
  fail(ctx, ZU_FAILED, "Failed to get collection interface");
  return false;
}

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

get_one_result retrieve_coll_props(zu_tvr_walk_ctx *ctx, zu_do_uri *uri, zu_do_uri *collection) noexcept {
  TVR_DEBUG("retrieve_coll_props uri %s, coll_uri %s", zu_do_uri_get_uri_str(uri),
            zu_do_uri_get_uri_str(collection));
  if (!get_coll_ifc(ctx)) return {ZU_TVR_STEP_FAILED, {}};
  const auto all_fields = ref<zu_do_nlist>::adopt(zu_do_nlist_new());
  if (!all_fields) {
    fail(ctx, ZU_EXHAUSTED, "Failed to allocate name list");
    return {ZU_TVR_STEP_FAILED, {}};
  }
  const auto rows = ref<zu_do_vtable>::adopt(zu_do_vtable_new());
  if (!rows) {
    fail(ctx, ZU_EXHAUSTED, "Failed to allocate vtable");
    return {ZU_TVR_STEP_FAILED, {}};
  }
  const cursor_handle cursor = open_collection(ctx, collection, all_fields.get());
  if (!cursor || !fetch_batch(ctx, cursor.get(), rows.get())) return {ZU_TVR_STEP_FAILED, {}};
  return fetch_one_instance_cache_rest(ctx, uri, rows.get());
}

// ---- The read ----

get_one_result take_from_cache(zu_tvr_walk_ctx *ctx, zu_do_uri *uri) noexcept {
  if (ctx->mr_cache == nullptr) return {ZU_TVR_STEP_NOTHING, {}};
  const char *uri_text = zu_do_uri_get_uri_str(uri);
  get_one_result got = {ZU_TVR_STEP_WALK, mr_cache_take(ctx, uri_text)};
  if (!got.record) {
    TVR_DEBUG("mr %s is not in mr cache", uri_text);
    return {ZU_TVR_STEP_NOTHING, {}};
  }
  TVR_DEBUG("mr %s is in mr cache", uri_text);
  if (!zu_do_uri_is_absolute(uri) && !crudx_set_uri(ctx, got.record.get(), uri))
    got.step = ZU_TVR_STEP_FAILED;
  return got;
}

// True when a look-up by the collection's text, without its URI, tells that the collection was requested.
bool was_requested(zu_tvr_walk_ctx *ctx, zu_do_uri *uri) noexcept {
  coll_slices collection;
  if (debugging() || ctx->mr_cache_cursor == nullptr || !coll_slices_of(uri, false, &collection))
    return false;
  coll_text key;
  const char *key_text = key.write(collection);
  return key_text != nullptr && htFind(ctx->mr_cache_cursor, key_text) != nullptr;
}

// Fetches the collection, unless an earlier node of the walk did.
get_one_result read_collection(zu_tvr_walk_ctx *ctx, zu_do_uri *uri, zu_do_uri *collection) noexcept {
  if (ctx->mr_cache_cursor == nullptr) {
    ctx->mr_cache_cursor = htMake(0);
    if (ctx->mr_cache_cursor == nullptr) {
      TVR_ERROR("crudx node: Unable to create mr cache cursors hashmap");
      return {ZU_TVR_STEP_FAILED, {}};
    }
  } else if (!need_to_request_collection(ctx->mr_cache_cursor, collection)) {
    TVR_DEBUG("crudx node: cache miss - stop");
    return {ZU_TVR_STEP_NOTHING, {}};
  } else {
    TVR_DEBUG("crudx node: cursor for %s has not been requested yet", zu_do_uri_get_uri_str(collection));
  }
  auto got = retrieve_coll_props(ctx, uri, collection);
  if (got.step == ZU_TVR_STEP_FAILED) {
    TVR_ERROR("crudx node: Failed to get the properties for the collection uri (%s",
              zu_do_uri_get_uri_str(collection));
  } else if (cursor_cache_mark_requested(ctx, collection, requester::get_one_node) != 0) {
    got.step = ZU_TVR_STEP_FAILED;
  } else {
    TVR_INFO("get mr_properties (%s) -> (%d)", zu_do_uri_get_uri_str(uri), got.step);
  }
  return got;
}

} // namespace

get_one_result crudx_read_cached(zu_tvr_walk_ctx *ctx, zu_do_uri *uri) noexcept {
  auto cached = take_from_cache(ctx, uri);
  if (cached.step != ZU_TVR_STEP_NOTHING) return cached;
  if (was_requested(ctx, uri)) return {ZU_TVR_STEP_NOTHING, {}};
  TVR_DEBUG("crudx node: allocating new cursor for %s (for caching)", zu_do_uri_get_uri_str(uri));
  const auto collection = ref<zu_do_uri>::adopt(generate_coll_uri_from_mr_uri(ctx, uri));
  if (!collection) return {ZU_TVR_STEP_FAILED, {}};
  return read_collection(ctx, uri, collection.get());
}

} // namespace tvr
