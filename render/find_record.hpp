// Finds the cached record that a URI template names, and remembers it.
#pragma once

#include "uri_resolve.hpp"
#include "zu_tovra/internal/report.hpp"
#include "zu_tovra/internal/text_buffer.hpp"
#include "zu_tovra/internal/walk_memory.hpp"

namespace tvr {

struct found_record {
  zu_do_properties *record = nullptr; // borrowed from the cache; none: no URI, or no record answers to it
  const char *uri = nullptr;          // the URI's text, borrowed until the template is resolved again
  const char *pending = nullptr;      // its pending attributes, borrowed from it; or none
  ref<zu_do_uri> held = {};           // what the text is borrowed from, if anything
};

found_record search_record(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx) noexcept;

// The record that a template names just now. Exhausted memory is reported: who asks would take it for a
// record that is not in scope.
inline found_record find_record(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx) noexcept {
  if (uri->resolve != resolve_uri || ctx->render == nullptr) return search_record(uri, ctx);
  const named_record *named = ctx->render->named.find(uri->program->number);
  if (named == nullptr || named->id != uri->program->id || !named->mark.stands(ctx->props_cache)) {
    return search_record(uri, ctx);
  }
  if (tracing(7)) { // again, for the traces of what is remembered
    found_record told = search_record(uri, ctx);
    if (told.record == nullptr) return told; // memory ran out
  }
  return {.record = named->record, .uri = named->uri, .pending = named->pending};
}

} // namespace tvr
