// For a failed step of an operation: it is traced and reported where it is found.
#pragma once

#include "zu_tovra/internal/report.hpp"

namespace tvr {

inline int32_t failed_step(zu_tvr_walk_ctx *ctx, int32_t code, const char *message) noexcept {
  fail(ctx, code, message);
  return ZU_TVR_STEP_FAILED;
}

} // namespace tvr
