// The records of a caching request: of this node's collection, or of a sibling's.
#include "coll_node.hpp"
#include "zu_tovra/coll_uri.h"
#include "zu_tovra/internal/report.hpp"

namespace tvr {

router::router(zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx) noexcept
    : scratch_(scratch), ctx_(ctx), relative_(!zu_do_uri_is_absolute(scratch->coll_uri)) {}

route router::operator()(zu_do_properties *record) noexcept {
  if ((scratch_->flags & TVR_COLL_FOR_CACHING) == 0) return route::own;
  int code = 0;
  zu_do_uri *instance = zu_do_properties_get_mr_uri(record, ZU_DO_NAME_URI, &code);
  if (instance == nullptr || code != 0) {
    TVR_ERROR("Failed to get uri from properties");
    return route::no_record;
  }
  coll_slices collection;
  if (debugging() || !coll_slices_of(instance, relative_, &collection)) return by_uris(record, instance);
  const char *own = zu_do_uri_get_uri_str(scratch_->coll_uri);
  if (collection.spells({own, zu_do_uri_get_len(scratch_->coll_uri)})) return route::own;
  return queue_under(collection, record, instance);
}

// A record of the collection that the record before this one belonged to needs no look-up.
route router::queue_under(const coll_slices &collection, zu_do_properties *record,
                          zu_do_uri *instance) noexcept {
  coll_text key;
  const char *key_text = key.write(collection);
  if (key_text == nullptr) return by_uris(record, instance);
  if (last_entry_ != nullptr && collection == last_) {
    return cursor_cache_append(ctx_, key_text, last_entry_, record) ? route::queued : route::refused;
  }
  last_entry_ = cursor_cache_insert(ctx_, key_text, record);
  last_ = collection;
  return last_entry_ != nullptr ? route::queued : route::refused;
}

// By the collection's URI, in the form of the node's.
route router::by_uris(zu_do_properties *record, zu_do_uri *instance) noexcept {
  last_entry_ = nullptr;
  TVR_DEBUG("current uri is (%s)", zu_do_uri_get_uri_str(instance));
  auto collection = ref<zu_do_uri>::adopt(generate_coll_uri_from_mr_uri(ctx_, instance));
  if (!collection) return route::no_record;
  TVR_DEBUG("new coll uri is %s ", zu_do_uri_get_uri_str(collection.get()));
  if (relative_) {
    collection = ref<zu_do_uri>::adopt(zu_do_uri_new_relative(zu_do_uri_get_uri_str(collection.get())));
    if (!collection) {
      TVR_ERROR("Failed to allocate coll uri");
      return route::no_record;
    }
    TVR_DEBUG("relative coll uri  (%s)", zu_do_uri_get_uri_str(collection.get()));
  } else {
    TVR_DEBUG("absolute coll uri (%s)", zu_do_uri_get_uri_str(collection.get()));
  }
  if (zu_do_uri_equals(collection.get(), scratch_->coll_uri)) {
    TVR_DEBUG("found a match");
    return route::own;
  }
  TVR_DEBUG("caching %s", zu_do_uri_get_uri_str(collection.get()));
  const bool queued = insert_props_into_hashmap(ctx_, collection.get(), record) == 0;
  return queued ? route::queued : route::refused;
}

} // namespace tvr
