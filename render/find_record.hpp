// Finds the cached record that a URI template names, and remembers it.
#pragma once

#include "uri_resolve.hpp"
#include "zu_tovra/internal/report.hpp"
#include "zu_tovra/internal/text_buffer.hpp"
#include "zu_tovra/internal/walk_memory.hpp"

namespace tvr {

// False for a template with an operation that a host has replaced. That operation must be called each time,
// and what templates of the same text share does not apply to it.
inline bool resolves_as_compiled(const zu_tvr_uri *uri) noexcept {
  for (; uri != nullptr && uri->is_dynamic != 0; uri = uri->data.dyn->parent) {
    if (uri->data.dyn->resolve_keys != resolve_uri_keys) return false;
  }
  return true;
}

const found_record &search_record(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx) noexcept;

// The record that a template names now; the result is valid until the next call for the template. Exhausted
// memory is reported here: the caller would take it for a record that is not in scope, and the line would
// silently be missing.
inline const found_record &find_record(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx) noexcept {
  if (uri->resolve != resolve_uri || !resolves_as_compiled(uri) || ctx->render == nullptr) {
    return search_record(uri, ctx);
  }
  const named_record *named = ctx->render->named.find(uri->program->number);
  if (named == nullptr || named->id != uri->program->id || !named->mark.stands(ctx->props_cache)) {
    return search_record(uri, ctx);
  }
  // At debug level it is searched again, so that the traces are the same as without the memory.
  return tracing(7) ? search_record(uri, ctx) : named->found;
}

} // namespace tvr
