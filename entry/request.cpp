// The record of a render request: its callbacks, and the clean-up after the output.
#include "request.hpp"

#include "zu_tovra/internal/report.hpp"

namespace tvr {

int tovra_report_error(void *context, int32_t code, const char *err_msg) noexcept {
  auto *external_ctx = static_cast<::external_ctx *>(context);
  TVR_ASSERT(external_ctx);
  TVR_ASSERT(err_msg);
  zu_result_ifc *results = external_ctx->cli_context->result_ifc;
  return results->ops->set_error(results, code, err_msg);
}

bool tovra_send_output(void *context, const char *output_text) noexcept {
  auto *external_ctx = static_cast<::external_ctx *>(context);
  TVR_ASSERT(external_ctx);
  TVR_ASSERT(output_text);
  TVR_INFO("TOVRA render request returning: %s", output_text);
  zu_tovra_context *tovra_context = external_ctx->tovra_context;
  return tovra_context->output_fn(tovra_context, external_ctx->cli_context, output_text);
}

void request_delete(external_ctx *request) noexcept {
  const block<external_ctx> record(request);
  zu_data_ifc *data = request->config_data_ifc;
  if (data == nullptr) return;
  const int rc = data->ops->free(data);
  if (rc != 0) TVR_ERROR("Failed to delete data_ifc (rc=%d)", rc);
}

} // namespace tvr

void tovra_cleanup_hook(zu_tovra_context *cleanup_context) noexcept {
  TVR_ASSERT(cleanup_context);
  const tvr::request_handle request(static_cast<external_ctx *>(cleanup_context->cleanup_ctx));
  if (request == nullptr) return;
  cleanup_context->cleanup_ctx = nullptr; // a second call finds nothing to free
  zu_tvr_walk_ctx *walk_ctx = request->walk_ctx;
  if (walk_ctx == nullptr) return;
  if (walk_ctx->cond_args != nullptr) zu_tvr_cond_args_delete(walk_ctx->cond_args);
  zu_tvr_walk_ctx_delete(walk_ctx);
}
