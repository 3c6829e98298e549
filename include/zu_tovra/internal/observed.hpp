// Reports the events of a walk to its observer. Nothing is stored for this: an event is put together when it
// is reported, so that a step without an observer costs one comparison.
#pragma once

#include "zu_tovra/observe.h"
#include "zu_tovra/walk_ctx.h"

namespace tvr {

// Whether there is an observer that wants events of this kind: ZU_TVR_EVENT_*.
inline bool observed(const zu_tvr_walk_ctx *ctx, int32_t kind) noexcept {
  return (ctx->observed & 1u << kind) != 0;
}

inline zu_tvr_event event_of(int32_t kind) noexcept {
  zu_tvr_event event{};
  event.kind = kind;
  return event;
}

// Only for kinds that are observed. `observe` fills in the node that is being walked; the URI of a request
// may be null; the URI of a record is read from the record.
[[gnu::cold]] void observe(const zu_tvr_walk_ctx *ctx, zu_tvr_event event) noexcept;
[[gnu::cold]] void observe_request(const zu_tvr_walk_ctx *ctx, const char *uri) noexcept;
[[gnu::cold]] void observe_record(const zu_tvr_walk_ctx *ctx, zu_do_properties *record) noexcept;
[[gnu::cold]] void observe_text(const zu_tvr_walk_ctx *ctx, const char *text) noexcept;

// A record's own URI, or null.
const char *own_uri_text(zu_do_properties *record) noexcept;

// The observer for walks that this thread begins, or null.
const zu_tvr_observer *current_observer() noexcept;

} // namespace tvr
