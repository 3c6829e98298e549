// The condition of a print node: its parsing, its check, and the properties it is checked with.
#include "print_job.hpp"
#include "zu_tovra/entry.h"
#include "zu_tovra/internal/report.hpp"

namespace tvr {
namespace {

constexpr char command_name[] = "TOVRA";

int print_condition_error(void *, int32_t code, const char *message) {
  TVR_ERROR("Error %i: %s", code, message != nullptr ? message : "*null*");
  return 0;
}

// Sets a condition property with one of the record's setters by name text or by name.
template <class Set>
condition_set set_named(const print_job &job, int32_t index, Set set) noexcept {
  if (job.conditions == nullptr) return condition_set::done;
  ref<zu_do_name> made;
  zu_do_name *name = condition_name(job, index, made);
  if (name == nullptr) return condition_set::no_name;
  return set(name) == 0 ? condition_set::done : condition_set::not_set;
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

bool check_condition(zu_tvr_print_data *data, zu_tvr_walk_ctx *ctx, zu_do_properties *conditions,
                     bool &holds) noexcept {
  holds = true;
  if (data->cond == nullptr) return true;
  if (data->cond_op == nullptr) {
    zu_cond_list *list = nullptr;
    if (parse_cond_expr_no_trailing(ctx->cb_ctx, ctx->error_cb, command_name, data->cond, &list)) {
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
                               data->cond_op, conditions, &holds)) {
    return true;
  }
  TVR_ERROR("Failed to resolve condition");
  return false;
}

zu_do_name *condition_name(const print_job &job, int32_t index, ref<zu_do_name> &made) noexcept {
  if (index >= 0 && static_cast<uint32_t>(index) < job.prepared->cond_name_count) {
    return job.prepared->cond_names[index];
  }
  char *formatted = nullptr;
  const int written = zu_printf(&formatted, "%s%d", "tvr", index);
  const text holder(formatted);
  if (written >= 0) made = ref<zu_do_name>::adopt(zu_do_name_new(formatted));
  return made.get();
}

condition_set set_condition(const print_job &job, int32_t index, zu_do_value *value) noexcept {
  return set_named(job, index, [&](zu_do_name *name) {
    return zu_do_properties_set_value_n(job.conditions, name, value);
  });
}

condition_set set_condition_null(const print_job &job, int32_t index) noexcept {
  return set_named(job, index, [&](zu_do_name *name) {
    return zu_do_properties_set_null(job.conditions, zu_do_name_get_strname(name));
  });
}

condition_set set_condition_number(const print_job &job, int32_t index, int32_t number) noexcept {
  return set_named(job, index, [&](zu_do_name *name) {
    return zu_do_properties_set_int(job.conditions, zu_do_name_get_strname(name), number);
  });
}

} // namespace tvr
