// Reports a line to the observer: written, or withheld and why.
#pragma once

#include "print_job.hpp"
#include "zu_tovra/internal/observed.hpp"
#include "zu_tovra/internal/report.hpp"

namespace tvr {

// Only for a walk that is observed, and after the values of the line have been gathered.
[[gnu::cold]] void observe_line(const print_job &job, const char *line) noexcept;
[[gnu::cold]] void observe_false_condition(const print_job &job) noexcept;

// The place of a failed step: the property that fills a slot, and its record.
[[gnu::cold]] error_at place_of(const print_job &job, uint32_t slot) noexcept;

// Reports to the observer, if there is one, why a line is not written.
inline void observe_withheld(const zu_tvr_walk_ctx *ctx, int32_t reason, error_at at = {}) noexcept {
  if (!observed(ctx, ZU_TVR_EVENT_WITHHELD)) return;
  zu_tvr_event event = event_of(ZU_TVR_EVENT_WITHHELD);
  event.reason = reason;
  event.uri = at.uri;
  event.property = at.property;
  observe(ctx, event);
}

} // namespace tvr
