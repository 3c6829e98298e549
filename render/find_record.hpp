// Finds the cached record that a URI template names, and remembers it.
#pragma once

#include "uri_resolve.hpp"
#include "zu_tovra/internal/report.hpp"
#include "zu_tovra/internal/text_buffer.hpp"
#include "zu_tovra/internal/walk_memory.hpp"

namespace tvr {

// Whether a template resolves as the library does it: what a host put in the place of an operation is called,
// and what templates of the same text share is not for it.
inline bool resolves_as_compiled(const zu_tvr_uri *uri) noexcept {
  for (; uri != nullptr && uri->is_dynamic != 0; uri = uri->data.dyn->parent) {
    if (uri->data.dyn->resolve_keys != resolve_uri_keys) return false;
  }
  return true;
}

const found_record &search_record(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx) noexcept;

// The record that a template names just now, good until the template is asked again. Exhausted memory is
// reported: who asks would take it for a record that is not in scope.
inline const found_record &find_record(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx) noexcept {
  if (uri->resolve != resolve_uri || !resolves_as_compiled(uri) || ctx->render == nullptr) {
    return search_record(uri, ctx);
  }
  const named_record *named = ctx->render->named.find(uri->program->number);
  if (named == nullptr || named->id != uri->program->id || !named->mark.stands(ctx->props_cache)) {
    return search_record(uri, ctx);
  }
  // Again, for the traces of what is remembered.
  return tracing(7) ? search_record(uri, ctx) : named->found;
}

} // namespace tvr
