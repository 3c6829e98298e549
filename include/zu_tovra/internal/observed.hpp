// Telling the observer of a walk what happens in it. Without one a step costs a comparison.
#pragma once

#include "zu_tovra/observe.h"
#include "zu_tovra/walk_ctx.h"

namespace tvr {

// Whether an observer wants to be told of such events: ZU_TVR_EVENT_*.
inline bool observed(const zu_tvr_walk_ctx *ctx, int32_t kind) noexcept {
  return (ctx->observed & 1u << kind) != 0;
}

inline zu_tvr_event event_of(int32_t kind) noexcept {
  zu_tvr_event event{};
  event.kind = kind;
  return event;
}

// For events that are observed. The first gives the event its node; the URI of the second may be none; that
// of a record is read from it.
[[gnu::cold]] void observe(const zu_tvr_walk_ctx *ctx, zu_tvr_event event) noexcept;
[[gnu::cold]] void observe_request(const zu_tvr_walk_ctx *ctx, const char *uri) noexcept;
[[gnu::cold]] void observe_record(const zu_tvr_walk_ctx *ctx, zu_do_properties *record) noexcept;
[[gnu::cold]] void observe_text(const zu_tvr_walk_ctx *ctx, const char *text) noexcept;

// A record's own URI, or none.
const char *own_uri_text(zu_do_properties *record) noexcept;

// The observer for walks that this thread begins, or none.
const zu_tvr_observer *current_observer() noexcept;

} // namespace tvr
