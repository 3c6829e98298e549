// Finds the cached record that a URI template names, and remembers it.
#pragma once

#include "uri_resolve.hpp"
#include "zu_tovra/internal/report.hpp"
#include "zu_tovra/internal/text_buffer.hpp"
#include "zu_tovra/internal/walk_memory.hpp"

namespace tvr {

// The record that a template named last; good while its mark stands.
struct named_record {
  const zu_tvr_uri_program *program = nullptr; // none: nothing is remembered
  zu_do_properties *record = nullptr;          // borrowed from the cache
  const char *uri = nullptr;                   // the text of its URI
  const char *pending = nullptr;               // its pending attributes, borrowed from it; or none
  cache_mark mark;
  text_buffer text; // of the URI of a dynamic template
};

} // namespace tvr

// What print nodes keep in a walk context. Lines of one node, and nodes with equal templates, ask for the
// same record while the records in scope stay as they are; and so do the lines in front of a list and behind
// it, whose records are one level deeper.
struct zu_tvr_render_memory {
  static constexpr uint32_t levels = 2;
  static uint32_t place_of(const zu_tvr_uri_program *program, const zu_tvr_stack *cache) noexcept {
    return program->number * levels + tvr::level_of(cache) % levels;
  }

  ~zu_tvr_render_memory();

  tvr::block<tvr::named_record *> named; // by program (the first is for those without a number) and level
  uint32_t named_count = 0;
  tvr::text_buffer line;
};

namespace tvr {

zu_tvr_render_memory *make_render_memory(zu_tvr_walk_ctx *ctx) noexcept;
// The walk's memory, made on first use; none when memory is exhausted.
inline zu_tvr_render_memory *render_memory(zu_tvr_walk_ctx *ctx) noexcept {
  return ctx->render != nullptr ? ctx->render : make_render_memory(ctx);
}

struct found_record {
  zu_do_properties *record =
      nullptr;               // borrowed from the cache; none: the URI does not resolve, or no record answers
  const char *uri = nullptr; // the text of its URI, borrowed until the template is resolved again; or none
  const char *pending = nullptr; // its pending attributes, borrowed from it; or none
  ref<zu_do_uri> held = {};      // what the text is borrowed from, if anything
};

found_record search_record(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx) noexcept;

// The record that a template names just now. Exhausted memory is reported: who asks would take it for a
// record that is not in scope.
inline found_record find_record(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx) noexcept {
  const zu_tvr_render_memory *memory = ctx->render;
  const uint32_t place = zu_tvr_render_memory::place_of(uri->program, ctx->props_cache);
  if (memory == nullptr || place >= memory->named_count || uri->resolve != resolve_uri)
    return search_record(uri, ctx);
  const named_record *named = memory->named.get()[place];
  if (named == nullptr || named->program != uri->program || !named->mark.stands(ctx->props_cache))
    return search_record(uri, ctx);
  if (tracing(7)) static_cast<void>(search_record(uri, ctx)); // again, for the traces of what is remembered
  return {.record = named->record, .uri = named->uri, .pending = named->pending};
}

} // namespace tvr
