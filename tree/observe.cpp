// Reports the events of a walk to its observer.
//
// The observer is set per thread, because the records of a request are those of the framework and have no
// member for it. A walk context takes it when it is made.
#include <utility>

#include "zu_tovra/internal/observed.hpp"
#include "zu_tovra/internal/report.hpp"

namespace {

thread_local const zu_tvr_observer *observer_of_thread = nullptr;

// The URI of the innermost record in scope that has one: the record of a location has none.
const char *uri_in_scope(const zu_tvr_walk_ctx *ctx) noexcept {
  const zu_tvr_stack_entry *entry = ctx->props_cache != nullptr ? ctx->props_cache->top : nullptr;
  const char *uri = nullptr;
  for (; entry != nullptr && uri == nullptr; entry = entry->next) {
    uri = tvr::own_uri_text(static_cast<zu_do_properties *>(entry->item));
  }
  return uri;
}

} // namespace

namespace tvr {

void observe(const zu_tvr_walk_ctx *ctx, zu_tvr_event event) noexcept {
  event.node = ctx->node;
  ctx->observer->event(ctx->observer->user, &event);
}

void observe_request(const zu_tvr_walk_ctx *ctx, const char *uri) noexcept {
  zu_tvr_event event = event_of(ZU_TVR_EVENT_ASK);
  event.uri = uri;
  observe(ctx, event);
}

void observe_record(const zu_tvr_walk_ctx *ctx, zu_do_properties *record) noexcept {
  zu_tvr_event event = event_of(ZU_TVR_EVENT_RECORD);
  event.uri = own_uri_text(record);
  event.record = record;
  observe(ctx, event);
}

void observe_text(const zu_tvr_walk_ctx *ctx, const char *text) noexcept {
  zu_tvr_event event = event_of(ZU_TVR_EVENT_LINE);
  event.text = text;
  observe(ctx, event);
}

void observe_error(const zu_tvr_walk_ctx *ctx, int32_t code, const char *message, error_at at) noexcept {
  if (!observed(ctx, ZU_TVR_EVENT_ERROR)) return;
  zu_tvr_event event = event_of(ZU_TVR_EVENT_ERROR);
  event.uri = at.uri != nullptr ? at.uri : uri_in_scope(ctx);
  event.property = at.property;
  event.code = code;
  event.message = message;
  observe(ctx, event);
}

const char *own_uri_text(zu_do_properties *record) noexcept {
  int code = ZU_OK;
  zu_do_uri *uri = zu_do_properties_get_mr_uri(record, ZU_DO_NAME_URI, &code);
  return uri != nullptr && code == ZU_OK ? zu_do_uri_get_uri_str(uri) : nullptr;
}

const zu_tvr_observer *current_observer() noexcept {
  return observer_of_thread;
}

} // namespace tvr

const zu_tvr_observer *zu_tvr_observe(const zu_tvr_observer *observer) noexcept {
  return std::exchange(observer_of_thread, observer);
}
