// The get-one node: its data record, its walk, and the direct read. A record below a list is read through the
// cache instead (crudx_cached.cpp).
#include "zu_tovra/crudx.h"

#include "crudx_node.hpp"
#include "cursors.hpp"
#include "failed.hpp"
#include "zu_tovra/coll_uri.h"
#include "zu_tovra/internal/observed.hpp"

namespace tvr {

namespace {

// Added to the flags of every single read.
constexpr uint64_t direct_read = 0x110;

int32_t push(zu_tvr_walk_ctx *ctx, zu_do_properties *record) noexcept {
  const bool pushed = zu_tvr_push_props_to_cache(ctx, record, 0, 0) > 0;
  TVR_DEBUG("pushed props to cache: %d", pushed ? 1 : 0);
  return pushed ? ZU_TVR_STEP_WALK : ZU_TVR_STEP_FAILED;
}

int32_t crudx_node_walk(zu_tvr_crudx_data *data, zu_tvr_walk_ctx *ctx) noexcept {
  TVR_ASSERT(data);
  TVR_ASSERT(ctx);
  const auto uri = ref<zu_do_uri>::adopt(data->uri->resolve(data->uri, ctx));
  if (!uri) return failed_step(ctx, ZU_NOT_FOUND, "Failed to resolve URI in get node");
  const char *uri_text = zu_do_uri_get_uri_str(uri.get());
  TVR_DEBUG("get mr_properties (%s)", uri_text);
  if (observed(ctx, ZU_TVR_EVENT_ASK)) observe_request(ctx, uri_text);
  ref<zu_do_properties> record;
  const bool cached = uri_is_under_ref_many_subtree(ctx, uri.get());
  const int32_t step =
      cached ? crudx_read_cached(ctx, uri.get(), &record) : crudx_read_direct(ctx, uri.get(), &record);
  return step == ZU_TVR_STEP_WALK ? push(ctx, record.get()) : step;
}

bool get_crudx_ifc(zu_tvr_walk_ctx *ctx) noexcept {
  if (ctx->crudx_ifc != nullptr) return true;
  const int error = ctx->data_ifc->ops->get_crudx_ifc(ctx->data_ifc, &ctx->crudx_ifc);
  if (error == 0 && ctx->crudx_ifc != nullptr) return true;
  ctx->crudx_ifc = nullptr;
  return fail(ctx, error != 0 ? error : ZU_FAILED, "Error getting the crudx interface");
}

int32_t read_into(zu_tvr_walk_ctx *ctx, zu_do_uri *uri, zu_do_properties *record) noexcept {
  if (record == nullptr) return failed_step(ctx, 0, "Failed to allocate props");
  if (!get_crudx_ifc(ctx) || !crudx_set_uri(ctx, record, uri)) return ZU_TVR_STEP_FAILED;
  zu_crudx_ifc *crudx = ctx->crudx_ifc;
  TVR_DEBUG("crudx node: retrieving props from %s", zu_do_uri_get_uri_str(uri));
  const int code = crudx->ops->get(crudx, uri, ctx->config_name, ctx->flags | direct_read, record);
  if (code == ZU_OK) return ZU_TVR_STEP_WALK;
  if (code == ZU_NOT_FOUND) {
    clear_status(crudx);
    return ZU_TVR_STEP_NOTHING;
  }
  TVR_ERROR("Failed to get properties for %s)", zu_do_uri_get_uri_str(uri));
  report(ctx, code, "Failed to get properties", {zu_do_uri_get_uri_str(uri)});
  return ZU_TVR_STEP_FAILED;
}

} // namespace

bool crudx_set_uri(zu_tvr_walk_ctx *ctx, zu_do_properties *record, zu_do_uri *uri) noexcept {
  const int code = zu_do_properties_set_mr_uri(record, ZU_DO_NAME_URI, uri);
  if (code == 0) return true;
  TVR_ERROR("Failed to add URI to props (rc=%d)", code);
  report(ctx, code, "Failed to add URI to props");
  return false;
}

int32_t crudx_read_direct(zu_tvr_walk_ctx *ctx, zu_do_uri *uri, ref<zu_do_properties> *record) noexcept {
  *record = ref<zu_do_properties>::adopt(zu_do_properties_new());
  const int32_t step = read_into(ctx, uri, record->get());
  TVR_INFO("get mr_properties (%s) -> (%d)", zu_do_uri_get_uri_str(uri), step);
  return step;
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
  TVR_ASSERT(stream);
  TVR_ASSERT(data);
  if (data->uri->is_dynamic == 0) zu_do_print_uri(stream, indentation, data->uri->data.uri);
  std::fputc('\n', stream);
}
