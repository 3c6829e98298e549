// Why a step failed, for the diagnostic of the line or record. The operations of trees and property maps
// return only true or false, and hosts may replace them. So the cause cannot be a result: it is kept in a
// text of the thread.
#pragma once

#include <cstdio>

#include "zu_tovra/internal/report.hpp"

// Traces a failure, and keeps the message as the cause of the failures that follow from it. The first message
// stays: it is the nearest to the fault.
#define TVR_EXPLAIN(...)                                                         \
  do {                                                                           \
    TVR_ERROR(__VA_ARGS__);                                                      \
    if (tvr::last_cause[0] == '\0') {                                            \
      (void)std::snprintf(tvr::last_cause, sizeof tvr::last_cause, __VA_ARGS__); \
    }                                                                            \
  } while (0)

namespace tvr {

// The cause of the current step's failure on this thread; empty when no step has given one.
inline thread_local char last_cause[256];

inline void forget_cause() noexcept {
  last_cause[0] = '\0';
}

} // namespace tvr
