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

// Of a condition that is parsed again, to say what is wrong with it.
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

bool check_condition(const print_job &job, bool *holds) noexcept {
  const zu_tvr_print_data *data = job.data;
  const zu_tvr_walk_ctx *ctx = job.ctx;
  *holds = true;
  if (data->cond == nullptr) return true;
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
                               data->cond_op, job.conditions.get(), holds)) {
    if (!*holds && observed(ctx, ZU_TVR_EVENT_WITHHELD)) observe_false_condition(job);
    return true;
  }
  TVR_ERROR("Failed to resolve condition");
  return false;
}

// The node's record may have been kept by who was given it: then it is theirs.
bool condition_properties::start(const zu_tvr_line_plan *plan, zu_tvr_line_memory *memory) noexcept {
  plan_ = plan;
  if (shortcuts.new_positions == nullptr || memory == nullptr) {
    fresh_ = ref<zu_do_properties>::adopt(zu_do_properties_new());
    record_ = fresh_.get();
    return record_ != nullptr;
  }
  if (!memory->conditions || !shortcuts.reset(memory->conditions.get())) {
    memory->conditions = ref<zu_do_properties>::adopt(
        shortcuts.new_positions(plan->condition_names.get(), plan->condition_count));
  }
  record_ = memory->conditions.get();
  by_position_ = true;
  return record_ != nullptr;
}

bool condition_properties::set_by_name(uint32_t position, zu_do_value *value) noexcept {
  zu_do_name *name = plan_->condition_names.get()[position];
  return value != nullptr && zu_do_properties_set_value_n(record_, name, value) == 0;
}

bool condition_properties::set_null(uint32_t position) noexcept {
  const auto null = ref<zu_do_value>::adopt(zu_do_value_new_null());
  return set(position, null.get());
}

bool condition_properties::set_number(uint32_t position, int32_t number) noexcept {
  if (record_ == nullptr || position == no_condition) return true;
  if (by_position_) return shortcuts.set_int_at(record_, position, number) == 0;
  const auto value = ref<zu_do_value>::adopt(zu_do_value_new_int(number));
  return set_by_name(position, value.get());
}

} // namespace tvr
