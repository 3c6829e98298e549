// The condition arguments of a request, which the framework needs for every condition.
#include "request.hpp"
#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/internal/report.hpp"

zu_tvr_cond_args *zu_tvr_cond_args_new(external_ctx *context) noexcept {
  using namespace tvr;
  TVR_ASSERT_NAMED(context, "external_ctx");
  condition_arguments cond_args(make_zeroed<zu_tvr_cond_args>().release());
  if (!or_error(cond_args != nullptr, "Failed to allocate condition arguments")) return nullptr;
  cond_args->cli_context = context->cli_context;
  cond_args->results = zu_results_array_new(context->cli_context->result_ifc);
  if (!or_error(cond_args->results != nullptr, "Failed to construct results array")) return nullptr;
  cond_args->cmd = zu_cli_cmd_new(context, tovra_report_error, "TOVRA");
  if (!or_error(cond_args->cmd != nullptr, "Failed to construct command")) return nullptr;
  cond_args->user_io = make_room<zu_cli_user_io>(1).release();
  if (!or_error(cond_args->user_io != nullptr, "Failed to allocate user IO")) return nullptr;
  return cond_args.release();
}

void zu_tvr_cond_args_delete(zu_tvr_cond_args *cond_args) noexcept {
  TVR_ASSERT(cond_args);
  if (cond_args->results != nullptr) zu_results_array_free(cond_args->results);
  if (cond_args->cmd != nullptr) zu_cli_cmd_deref(cond_args->cmd);
  const tvr::block<zu_cli_user_io> user_io(cond_args->user_io);
  const tvr::block<zu_tvr_cond_args> record(cond_args);
}
