// Decides whether a whole collection is fetched for caching, and makes its URI.
#include "zu_tovra/coll_uri.h"

#include "coll_text.hpp"
#include "zu_tovra/internal/report.hpp"
#include "zu_tovra/internal/shortcuts.hpp"

namespace tvr {

namespace {

// In relative form, a segment after the first carries keys.
bool keyed_below_first(zu_do_uri *uri) noexcept {
  if (shortcuts.uri_parts != nullptr) {
    zu_do_uri_parts parts;
    shortcuts.uri_parts(uri, &parts);
    return parts.keyed_below_first;
  }
  const auto relative = ref<zu_do_uri>::adopt(zu_do_uri_new_relative(zu_do_uri_get_uri_str(uri)));
  const size_t count = zu_do_uri_get_segment_count(relative.get());
  for (size_t at = 1; at < count; ++at) {
    zu_do_uri_segment *segment = zu_do_uri_get_segment(relative.get(), at);
    if (segment == nullptr) return false;
    if (zu_do_uri_segment_get_keys(segment) != nullptr) return true;
  }
  return false;
}

} // namespace

ref<zu_do_uri> make_collection_uri(zu_tvr_walk_ctx *ctx, zu_do_uri *instance) noexcept {
  zu_do_uri *parent = zu_do_uri_get_parent_uri(instance);
  zu_do_uri_segment *last = zu_do_uri_get_segment_last(instance);
  if (parent == nullptr || last == nullptr) {
    fail(ctx, ZU_FAILED, "Failed to get parent uri or last segment in uri");
    return {};
  }
  const char *name = zu_do_uri_segment_get_name(last);
  if (name == nullptr) {
    TVR_ERROR("Failed to get the ref name");
    report(ctx, ZU_FAILED, "Failed to get the ref name from mr_uri");
    return {};
  }
  auto collection = ref<zu_do_uri>::adopt(zu_do_uri_new_coll(parent, name));
  if (!collection) fail(ctx, ZU_FAILED, "Failed to create collection uri");
  return collection;
}

bool need_to_request(ht_table *mr_cache_cursor, const char *coll_text) noexcept {
  TVR_DEBUG("Incoming coll URI is %s", coll_text);
  if (htFind(mr_cache_cursor, coll_text) != nullptr) {
    TVR_DEBUG("Cursor %s found in cursor cache", coll_text);
    return false;
  }
  TVR_DEBUG("Cursor %s not found in cursor cache", coll_text);
  return true;
}

} // namespace tvr

bool uri_is_under_ref_many_subtree(zu_tvr_walk_ctx *ctx, zu_do_uri *uri) noexcept {
  if (ctx == nullptr || uri == nullptr) {
    TVR_ERROR("Incorrect parameters");
    if (ctx != nullptr) tvr::report(ctx, ZU_FAILED, "Incorrect parameters");
    return false;
  }
  const char *text = zu_do_uri_get_uri_str(uri);
  if (text == nullptr) {
    tvr::fail(ctx, ZU_FAILED, "Failed to read string value from URI");
    return false;
  }
  TVR_DEBUG("In uri is_under_ref_many_subtree: %s", text);
  if (zu_do_uri_is_coll_uri(uri) && zu_do_uri_get_coll_type(uri) != 1) return false;
  return tvr::keyed_below_first(uri);
}

zu_do_uri *generate_coll_uri_from_mr_uri(zu_tvr_walk_ctx *ctx, zu_do_uri *uri) noexcept {
  TVR_ASSERT(ctx);
  TVR_ASSERT(uri);
  auto collection = tvr::make_collection_uri(ctx, uri);
  if (collection) TVR_DEBUG("new collection uri: %s (for caching)", zu_do_uri_get_uri_str(collection.get()));
  return collection.release();
}

bool need_to_request_collection(ht_table *mr_cache_cursor, zu_do_uri *uri) noexcept {
  TVR_ASSERT(mr_cache_cursor);
  TVR_ASSERT(uri);
  return tvr::need_to_request(mr_cache_cursor, zu_do_uri_get_uri_str(uri));
}
