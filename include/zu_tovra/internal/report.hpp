// Traces, and the one place where a failure of a walk is traced and reported.
#pragma once

#include "infra/infra.h"
#include "qtrace/qtrace.h"
#include "zu_tovra/trace.h"
#include "zu_tovra/walk_ctx.h"

// Messages are literal texts, so that a message seen in a trace is found in the code by searching for it.
#define TVR_ERROR(...) qtrace_wrapper(g_zu_tovra_trace_module_id, 3, 0, "(ERR): " __VA_ARGS__)
#define TVR_WARN(...) qtrace_wrapper(g_zu_tovra_trace_module_id, 4, 0, "(warn): " __VA_ARGS__)
#define TVR_INFO(...) qtrace_wrapper(g_zu_tovra_trace_module_id, 6, 0, "(info): " __VA_ARGS__)
#define TVR_DEBUG(...) qtrace_wrapper(g_zu_tovra_trace_module_id, 7, 0, "(debug): " __VA_ARGS__)

// A missing mandatory argument ends the process with the argument's name.
#define TVR_ASSERT_NAMED(given, name)   \
  do {                                  \
    if (!(given)) zu_assert_fail(name); \
  } while (0)
#define TVR_ASSERT(argument) TVR_ASSERT_NAMED(argument, #argument)

namespace tvr {

// Decides only whether a trace is written and its text is built, never what is rendered.
inline bool tracing(int level) noexcept {
  return qtrace_module_test(g_zu_tovra_trace_module_id, level);
}

// Where a step failed, for an observer: the record or collection that it was reading (null: the innermost
// record in scope), and the property that is the reason, or null.
struct error_at {
  const char *uri = nullptr;
  const char *property = nullptr;
};
[[gnu::cold]] void observe_error(const zu_tvr_walk_ctx *ctx, int32_t code, const char *message,
                                 error_at at) noexcept;

// Both always return false, so that a failing step is one line: `return fail(...)`.
// Reports a failure that has been traced.
inline bool report(zu_tvr_walk_ctx *ctx, int32_t code, const char *message, error_at at = {}) noexcept {
  ctx->error_cb(ctx->cb_ctx, code, message);
  if (ctx->observed != 0) observe_error(ctx, code, message, at);
  return false;
}
// Traces a failure and reports it with the same words.
inline bool fail(zu_tvr_walk_ctx *ctx, int32_t code, const char *message, error_at at = {}) noexcept {
  TVR_ERROR("%s", message);
  return report(ctx, code, message, at);
}

// Returns its first argument, and traces the message when that is null or false.
template <class Result>
[[nodiscard]] Result or_error(Result result, const char *message) noexcept {
  if (!result) TVR_ERROR("%s", message);
  return result;
}

} // namespace tvr
