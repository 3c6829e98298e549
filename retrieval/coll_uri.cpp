// When a whole collection is fetched for caching, and under which URI.
#include "zu_tovra/coll_uri.h"

#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/internal/report.hpp"

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
  // Read off the text, without making the relative form: for want of memory a list's rows would come twice.
  zu_do_uri_parts parts;
  zu_do_uri_get_parts(uri, &parts);
  return parts.keyed_below_first;
}

zu_do_uri *generate_coll_uri_from_mr_uri(zu_tvr_walk_ctx *ctx, zu_do_uri *uri) noexcept {
  zu_do_uri *parent = zu_do_uri_get_parent_uri(uri);
  zu_do_uri_segment *last = zu_do_uri_get_segment_last(uri);
  if (parent == nullptr || last == nullptr) {
    tvr::fail(ctx, ZU_FAILED, "Failed to get parent uri or last segment in uri");
    return nullptr;
  }
  const char *name = zu_do_uri_segment_get_name(last);
  if (name == nullptr) {
    TVR_ERROR("Failed to get the ref name");
    tvr::report(ctx, ZU_FAILED, "Failed to get the ref name from mr_uri");
    return nullptr;
  }
  zu_do_uri *collection = zu_do_uri_new_coll(parent, name);
  if (collection == nullptr) {
    tvr::fail(ctx, ZU_FAILED, "Failed to create collection uri");
    return nullptr;
  }
  TVR_DEBUG("new collection uri: %s (for caching)", zu_do_uri_get_uri_str(collection));
  return collection;
}

bool need_to_request_collection(ht_table *mr_cache_cursor, zu_do_uri *uri) noexcept {
  const char *text = zu_do_uri_get_uri_str(uri);
  TVR_DEBUG("Incoming coll URI is %s", text);
  if (htFind(mr_cache_cursor, text) != nullptr) {
    TVR_DEBUG("Cursor %s found in cursor cache", text);
    return false;
  }
  TVR_DEBUG("Cursor %s not found in cursor cache", text);
  return true;
}
