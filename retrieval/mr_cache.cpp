// The single instances that a get-one node fetched with the one it wanted.
#include <utility>

#include "record_caches.hpp"
#include "zu_tovra/internal/report.hpp"

namespace tvr {

int32_t mr_cache_put(zu_tvr_walk_ctx *ctx, const char *uri_text, ref<zu_do_properties> record) noexcept {
  if (ctx->mr_cache == nullptr) ctx->mr_cache = htMake(0);
  if (ctx->mr_cache == nullptr) {
    TVR_ERROR("Unable to create mr cache hashmap");
    return -1;
  }
  text key = copy_text(uri_text);
  if (!key || htAdd(ctx->mr_cache, key.get(), record.get()) != 0) {
    TVR_ERROR("Unable to insert into mr cache hashmap");
    return -1;
  }
  static_cast<void>(key.release());
  static_cast<void>(record.release());
  return 0;
}

ref<zu_do_properties> mr_cache_take(zu_tvr_walk_ctx *ctx, const char *uri_text) noexcept {
  if (ctx->mr_cache == nullptr) return {};
  auto *record = static_cast<zu_do_properties *>(htFind(ctx->mr_cache, uri_text));
  char *key = nullptr;
  if (record == nullptr || htRemove2(ctx->mr_cache, uri_text, &key) == 0) return {};
  qfree_named(key);
  return ref<zu_do_properties>::adopt(record);
}

} // namespace tvr
