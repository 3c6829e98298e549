// Commands, condition operations and the other small objects of a request.
#include <cstdarg>
#include <cstring>

#include "cli_exec/cond_tree.hpp"
#include "cli_exec/results.hpp"
#include "infra/text.hpp"
#include "qmalloc/qmalloc.h"
#include "svcs/svcs.h"

// The name follows the record in the same block.
struct zu_cli_cmd {
  void *context;
  zu_cli_error_fn error;

  char *name() { return reinterpret_cast<char *>(this + 1); }
};

zu_cli_cmd *zu_cli_cmd_new(void *context, zu_cli_error_fn error, const char *name) {
  if (name == nullptr) return nullptr;
  const size_t size = std::strlen(name) + 1;
  auto *command = static_cast<zu_cli_cmd *>(qmalloc_named(ZU_DO_AREA, sizeof(zu_cli_cmd) + size));
  if (command == nullptr) return nullptr;
  command->context = context;
  command->error = error;
  std::memcpy(command->name(), name, size);
  return command;
}

void zu_cli_cmd_deref(zu_cli_cmd *command) {
  qfree_named(command);
}

const char *zu_cli_cmd_get_name(zu_cli_cmd *command) {
  return command != nullptr ? command->name() : nullptr;
}

int zu_printf(char **text, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int length = infra::print_new(text, format, arguments);
  va_end(arguments);
  return length;
}

int zu_exec_str_to_location_scheme(const char *text, uint32_t *scheme) {
  static constexpr struct {
    const char *name;
    uint32_t number;
  } schemes[] = {{"DEFAULT", TARVO_SCHEME_DEFAULT}, {"SLOT", TARVO_SCHEME_SLOT}, {"PORT", TARVO_SCHEME_PORT}};
  if (text == nullptr) return ZU_FAILED;
  for (const auto &known : schemes) {
    if (std::strcmp(known.name, text) != 0) continue;
    *scheme = known.number;
    return ZU_OK;
  }
  return ZU_NOT_FOUND;
}

// The arguments beside the conditions are for other commands of the framework; here they are only stored.
struct zu_cli_cmd_op {
  zu_cond_list *conditions;
  uintptr_t context;
  zu_cli_error_fn error;
  const char *texts[2];
  int kind;
  int numbers[5];
};

zu_cli_cmd_op *zu_cli_cmd_op_new(uintptr_t context, zu_cli_error_fn error, int kind, int a, const char *text1,
                                 const char *text2, zu_cond_list *conditions, int b, int c, int d, int e) {
  auto *op = static_cast<zu_cli_cmd_op *>(qmalloc_named(ZU_DO_AREA, sizeof(zu_cli_cmd_op)));
  if (op == nullptr) return nullptr;
  *op = {conditions, context, error, {text1, text2}, kind, {a, b, c, d, e}};
  return op;
}

void zu_cli_cmd_op_free(zu_cli_cmd_op *op) {
  if (op == nullptr) return;
  zu_cond_list_free(op->conditions);
  qfree_named(op);
}

bool zu_cli_exec_resolve_cond(zu_cli_context *, zu_results_array *results, const char *, zu_cli_cmd_op *op,
                              zu_do_properties *properties, bool *holds) {
  if (op == nullptr || op->conditions == nullptr) {
    *holds = true;
    return true;
  }
  if (zu_cond::evaluate(*op->conditions, properties, holds)) return true;
  zu_results::report(results, ZU_EXHAUSTED, "condition: memory exhausted");
  return false;
}
