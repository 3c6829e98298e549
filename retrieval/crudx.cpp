// The get-one node: its data record, its walk, and the direct read.
#include "zu_tovra/crudx.h"

#include <utility>

#include "crudx_node.hpp"
#include "zu_tovra/coll_uri.h"
#include "zu_tovra/internal/report.hpp"

namespace tvr {

namespace {

// Added to the flags of every single read.
constexpr uint64_t direct_read = 0x110;

// The instance URI, read back from a value that is made of it. While not debugging it is the URI itself.
class instance_uri {
public:
  bool wrap(zu_tvr_walk_ctx *ctx, zu_do_uri *resolved) noexcept {
    uri_ = resolved;
    if (!debugging()) return true;
    value_ = ref<zu_do_value>::adopt(zu_do_value_new_mr_uri(resolved));
    if (!value_) {
      fail(ctx, ZU_EXHAUSTED, "Failed to allocate MR URI value");
      return false;
    }
    int code = 0;
    uri_ = zu_do_value_get_mr_uri(value_.get(), &code);
    if (uri_ != nullptr && code == 0) return true;
    TVR_ERROR("Error building uri from value (rc=%d)", code);
    report(ctx, code != 0 ? code : ZU_FAILED, "Error building uri from value");
    return false;
  }
  zu_do_uri *get() const noexcept { return uri_; }

private:
  ref<zu_do_value> value_;
  zu_do_uri *uri_ = nullptr; // borrowed
};

int32_t push(zu_tvr_walk_ctx *ctx, zu_do_properties *record) noexcept {
  const bool pushed = zu_tvr_push_props_to_cache(ctx, record, 0, 0) > 0;
  TVR_DEBUG("pushed props to cache: %d", pushed ? 1 : 0);
  return pushed ? ZU_TVR_STEP_WALK : ZU_TVR_STEP_FAILED;
}

int32_t crudx_node_walk(zu_tvr_crudx_data *data, zu_tvr_walk_ctx *ctx) noexcept {
  TVR_ASSERT(data);
  TVR_ASSERT(ctx);
  const auto resolved = ref<zu_do_uri>::adopt(data->uri->resolve(data->uri, ctx));
  if (!resolved) {
    fail(ctx, ZU_NOT_FOUND, "Failed to resolve URI in get node");
    return ZU_TVR_STEP_FAILED;
  }
  instance_uri uri;
  if (!uri.wrap(ctx, resolved.get())) return ZU_TVR_STEP_FAILED;
  TVR_DEBUG("get mr_properties (%s)", zu_do_uri_get_uri_str(uri.get()));
  const bool cached = uri_is_under_ref_many_subtree(ctx, uri.get());
  const auto got = cached ? crudx_read_cached(ctx, uri.get()) : crudx_read_direct(ctx, uri.get());
  return got.step == ZU_TVR_STEP_WALK ? push(ctx, got.record.get()) : got.step;
}

bool get_crudx_ifc(zu_tvr_walk_ctx *ctx) noexcept {
  if (ctx->crudx_ifc != nullptr) return true;
  const int error = ctx->data_ifc->ops->get_crudx_ifc(ctx->data_ifc, &ctx->crudx_ifc);
  if (error == 0) return true;
  ctx->crudx_ifc = nullptr;
  fail(ctx, error, "Error getting the crudx interface");
  return false;
}

int32_t get(zu_tvr_walk_ctx *ctx, zu_do_uri *uri, zu_do_properties *record) noexcept {
  zu_crudx_ifc *crudx = ctx->crudx_ifc;
  TVR_DEBUG("crudx node: retrieving props from %s", zu_do_uri_get_uri_str(uri));
  const int code = crudx->ops->get(crudx, uri, ctx->config_name, ctx->flags | direct_read, record);
  if (code == ZU_OK) return ZU_TVR_STEP_WALK;
  if (code == ZU_NOT_FOUND) {
    zu_status *status = crudx->ops->status(crudx);
    status->ops->clear(status);
    return ZU_TVR_STEP_NOTHING;
  }
  TVR_ERROR("Failed to get properties for %s)", zu_do_uri_get_uri_str(uri));
  report(ctx, code, "Failed to get properties");
  return ZU_TVR_STEP_FAILED;
}

int32_t read_into(zu_tvr_walk_ctx *ctx, zu_do_uri *uri, zu_do_properties *record) noexcept {
  if (record == nullptr) {
    fail(ctx, 0, "Failed to allocate props");
    return ZU_TVR_STEP_FAILED;
  }
  if (!get_crudx_ifc(ctx) || !crudx_set_uri(ctx, record, uri)) return ZU_TVR_STEP_FAILED;
  return get(ctx, uri, record);
}

} // namespace

bool crudx_set_uri(zu_tvr_walk_ctx *ctx, zu_do_properties *record, zu_do_uri *uri) noexcept {
  const int code = zu_do_properties_set_mr_uri(record, ZU_DO_NAME_URI, uri);
  if (code == 0) return true;
  TVR_ERROR("Failed to add URI to props (rc=%d)", code);
  report(ctx, code, "Failed to add URI to props");
  return false;
}

get_one_result crudx_read_direct(zu_tvr_walk_ctx *ctx, zu_do_uri *uri) noexcept {
  get_one_result got = {ZU_TVR_STEP_NOTHING, ref<zu_do_properties>::adopt(zu_do_properties_new())};
  got.step = read_into(ctx, uri, got.record.get());
  TVR_INFO("get mr_properties (%s) -> (%d)", zu_do_uri_get_uri_str(uri), got.step);
  return got;
}

} // namespace tvr

zu_tvr_crudx_data *zu_tvr_crudx_data_new(zu_tvr_uri *uri) noexcept {
  TVR_ASSERT(uri);
  auto data = tvr::make_zeroed<zu_tvr_crudx_data>();
  if (!data) {
    TVR_ERROR("Failed to allocate tovra node");
    return nullptr;
  }
  data->uri = uri;
  data->walk = tvr::crudx_node_walk;
  return data.release();
}

void zu_tvr_crudx_data_delete(zu_tvr_crudx_data *data) noexcept {
  if (data == nullptr) return;
  const tvr::block<zu_tvr_crudx_data> record(data);
  zu_tvr_uri_delete(data->uri);
}

void zu_tvr_crudx_data_print(FILE *stream, uint32_t indentation, zu_tvr_crudx_data *data) noexcept {
  if (data->uri->is_dynamic == 0) zu_do_print_uri(stream, indentation, data->uri->data.uri);
  std::fputc('\n', stream);
}
