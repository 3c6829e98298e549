// Traces, and the one place where a failure of a walk is traced and reported.
#pragma once

#include "infra/infra.h"
#include "qtrace/qtrace.h"
#include "zu_tovra/trace.h"
#include "zu_tovra/walk_ctx.h"

// Messages are literal, so that a message that is read in a trace is found by searching for it.
#define TVR_ERROR(...) qtrace_wrapper(g_zu_tovra_trace_module_id, 3, 0, "(ERR): " __VA_ARGS__)
#define TVR_WARN(...) qtrace_wrapper(g_zu_tovra_trace_module_id, 4, 0, "(warn): " __VA_ARGS__)
#define TVR_INFO(...) qtrace_wrapper(g_zu_tovra_trace_module_id, 6, 0, "(info): " __VA_ARGS__)
#define TVR_DEBUG(...) qtrace_wrapper(g_zu_tovra_trace_module_id, 7, 0, "(debug): " __VA_ARGS__)

// A mandatory argument that is missing ends the process, naming the argument.
#define TVR_ASSERT_NAMED(given, name)   \
  do {                                  \
    if (!(given)) zu_assert_fail(name); \
  } while (0)
#define TVR_ASSERT(argument) TVR_ASSERT_NAMED(argument, #argument)

namespace tvr {

// Decides only whether a trace is written, or the text of one is built.
inline bool tracing(int level) noexcept {
  return qtrace_module_test(g_zu_tovra_trace_module_id, level);
}

// Where a step failed, for an observer: the record or collection that it was at (none: the innermost record
// in scope), and the property, where it is one.
struct error_at {
  const char *uri = nullptr;
  const char *property = nullptr;
};
[[gnu::cold]] void observe_error(const zu_tvr_walk_ctx *ctx, int32_t code, const char *message,
                                 error_at at) noexcept;

// Both are always false, so that a step that fails is one line.
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

// Gives back what a step made, or whether it was done, and traces the message when that is null or false.
template <class Result>
[[nodiscard]] Result or_error(Result result, const char *message) noexcept {
  if (!result) TVR_ERROR("%s", message);
  return result;
}

} // namespace tvr
