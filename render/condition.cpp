// The condition of a print node: its parsing, its check, and the properties it is checked with.
#include "observe_line.hpp"
#include "zu_tovra/entry.h"
#include "zu_tovra/internal/report.hpp"
#include "zu_tovra/internal/shortcuts.hpp"

namespace tvr {
namespace {

constexpr char command_name[] = "TOVRA";

int print_condition_error(void *, int32_t code, const char *message) {
  TVR_ERROR("Error %i: %s", code, message != nullptr ? message : "*null*");
  return 0;
}

// Reports the errors of a condition that is parsed again at
// its check: only then there is a walk to report them to.
int report_parse_error(void *walk_ctx, int32_t code, const char *message) {
  auto *ctx = static_cast<zu_tvr_walk_ctx *>(walk_ctx);
  const int result = ctx->error_cb(ctx->cb_ctx, code, message);
  observe_error(ctx, code, message, {});
  return result;
}

} // namespace

void make_condition(zu_tvr_print_data *data) noexcept {
  zu_cond_list *list = nullptr;
  auto *context = reinterpret_cast<void *>(uintptr_t{1});
  if (parse_cond_expr_no_trailing(context, print_condition_error, command_name, data->cond, &list)) {
    data->cond_op = zu_cli_cmd_op_new(1, print_condition_error, 17, 0, "", "", list, 1, 1, 0, 0);
  } else {
    TVR_ERROR("Failed to parse condition");
  }
  if (data->cond_op != nullptr) return;
  TVR_ERROR("Failed to construct command operation");
  zu_cond_list_free(list);
}

bool resolve_condition(const print_job &job, bool *holds) noexcept {
  const zu_tvr_print_data *data = job.data;
  const zu_tvr_walk_ctx *ctx = job.ctx;
  if (data->cond_op == nullptr) {
    zu_cond_list *list = nullptr;
    if (parse_cond_expr_no_trailing(job.ctx, report_parse_error, command_name, data->cond, &list)) {
      TVR_ERROR("Failed to construct command with cond operation");
      zu_cond_list_free(list);
    } else {
      TVR_ERROR("Failed to parse condition");
    }
    return false;
  }
  const zu_tvr_cond_args *args = ctx->cond_args;
  if (args != nullptr &&
      zu_cli_exec_resolve_cond(args->cli_context, args->results, zu_cli_cmd_get_name(args->cmd),
                               data->cond_op, job.conditions, holds)) {
    if (!*holds && observed(ctx, ZU_TVR_EVENT_WITHHELD)) observe_false_condition(job);
    return true;
  }
  TVR_ERROR("Failed to resolve condition");
  return false;
}

// The record of the last line is filled again. A new one is made when there is none yet, or when a condition
// check has kept a reference on it: the old record is then no longer ours to change.
bool fill_conditions(print_job &job) noexcept {
  ref<zu_do_properties> &made = job.memory->conditions;
  zu_do_value *const *values = job.memory->condition_values.get();
  const uint32_t count = job.plan->condition_count;
  const bool by_position = shortcuts.new_positions != nullptr;
  job.conditions = made.get();
  if (by_position && shortcuts.fill(job.conditions, values, count)) return true;
  made = ref<zu_do_properties>::adopt(
      by_position ? shortcuts.new_positions(job.plan->condition_names.get(), count) : zu_do_properties_new());
  job.conditions = made.get();
  if (job.conditions == nullptr) {
    TVR_ERROR("Failed to allocate condition properties");
    return false;
  }
  bool set = !by_position || shortcuts.fill(job.conditions, values, count);
  for (uint32_t i = 0; set && !by_position && i < count; ++i) {
    set = values[i] == nullptr || set_condition(job, i, values[i]);
  }
  return set || fail(job.ctx, ZU_EXHAUSTED, "Failed to set condition property");
}

bool set_condition(const print_job &job, uint32_t position, zu_do_value *value) noexcept {
  if (position == no_condition) return true;
  if (shortcuts.new_positions != nullptr) return shortcuts.set_at(job.conditions, position, value) == 0;
  zu_do_name *name = job.plan->condition_names.get()[position];
  return value != nullptr && zu_do_properties_set_value_n(job.conditions, name, value) == 0;
}

bool set_condition(const print_job &job, uint32_t position, int32_t number) noexcept {
  if (position == no_condition) return true;
  if (shortcuts.new_positions != nullptr) return shortcuts.set_int_at(job.conditions, position, number) == 0;
  const auto value = ref<zu_do_value>::adopt(zu_do_value_new_int(number));
  return set_condition(job, position, value.get());
}

} // namespace tvr
