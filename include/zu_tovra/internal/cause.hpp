// Why a step failed, for the diagnostic of the line or record. The operations of trees and property maps give
// only true or false, and hosts may replace them, so the cause is kept beside them, in a text of the thread.
#pragma once

#include <cstdio>

#include "zu_tovra/internal/report.hpp"

// Traces a failure, and keeps the words as the cause of what follows from it. The first cause is the nearest.
#define TVR_EXPLAIN(...)                                                         \
  do {                                                                           \
    TVR_ERROR(__VA_ARGS__);                                                      \
    if (tvr::last_cause[0] == '\0') {                                            \
      (void)std::snprintf(tvr::last_cause, sizeof tvr::last_cause, __VA_ARGS__); \
    }                                                                            \
  } while (0)

namespace tvr {

// Of the step at hand on this thread; empty when nothing was said.
inline thread_local char last_cause[256];

inline void forget_cause() noexcept {
  last_cause[0] = '\0';
}

} // namespace tvr
