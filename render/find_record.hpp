// Finds the cached record that a URI template names, and remembers it.
#pragma once

#include "uri_resolve.hpp"
#include "zu_tovra/internal/text_buffer.hpp"
#include "zu_tovra/internal/walk_memory.hpp"

// What print nodes keep in a walk context. Lines of one node, and nodes with equal templates, ask for the
// same record while the records in scope stay as they are.
struct zu_tvr_render_memory {
  // The last record that a template named; good while its mark stands.
  struct named_record {
    const zu_tvr_uri_program *program; // none: nothing is remembered
    zu_do_strbuf *text;                // owned: the resolved text of a dynamic template
    zu_do_properties *record;          // borrowed from the cache
    const char *pending;               // its pending attributes, borrowed from it; or none
    tvr::cache_mark mark;
  };

  ~zu_tvr_render_memory();

  tvr::block<named_record> named; // by the programs' numbers; the first is for those without
  uint32_t named_count = 0;
  tvr::text_buffer line;
};

namespace tvr {

// The walk's memory, made on first use; none when memory is exhausted.
zu_tvr_render_memory *render_memory(zu_tvr_walk_ctx *ctx) noexcept;

struct found_record {
  zu_do_properties *record =
      nullptr;               // borrowed from the cache; none: the URI does not resolve, or no record answers
  const char *uri = nullptr; // the text of its URI, borrowed until the template is resolved again; or none
  const char *pending = nullptr; // its pending attributes, borrowed from it; or none
  ref<zu_do_uri> held = {};      // what the text is borrowed from, if anything
};

// The record that a template names just now. Exhausted memory is reported: who asks would take it for a
// record that is not in scope.
found_record find_record(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx) noexcept;

} // namespace tvr
