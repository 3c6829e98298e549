// Compiling URI templates, and resolving them over the records and groups in scope.
#pragma once

#include "zu_tovra/internal/uri_program.hpp"
#include "zu_tovra/walk_ctx.h"

namespace tvr {

// Gives the template, whose segments are linked, its program; false when memory is exhausted.
bool compile_uri(zu_tvr_uri *uri, const char *text, zu_tvr_uri_programs *programs) noexcept;
void drop_uri_program(zu_tvr_uri_program *program) noexcept;

// ---- Over the caches of a walk ----

// One resolution over the records and groups in scope. What it meets is traced, never reported.
class cache_source {
public:
  cache_source(zu_tvr_walk_ctx *ctx, bool relative, bool canonical) noexcept
      : ctx_(ctx), relative_(relative), canonical_(canonical) {}

  int32_t take(const uri_step &step, text_buffer &out) noexcept;

  bool canonical() const noexcept { return canonical_; } // every value stands in a URI as it is
  bool exhausted() const noexcept { return exhausted_; } // memory, and not the template, is why it failed
  bool silent() const noexcept { return silent_; } // the texts of the records cache decided, without an error
  uint32_t consulted() const noexcept { return consulted_; } // entries of the records cache

  void fail_exhausted() noexcept { exhausted_ = true; }
  void note(const cache_answer &answer) noexcept;
  // The text so far is not the program's own; nothing is to be remembered.
  void distrust() noexcept { canonical_ = silent_ = false; }
  // Something other than the texts of the records cache decides.
  void note_foreign() noexcept { silent_ = false; }

private:
  zu_do_properties *find(const uri_step &step, std::string_view so_far) noexcept;
  bool find_by_uri(const uri_step &step, const step_look_up &wanted, bool is_uri,
                   zu_do_properties **record) noexcept;
  int32_t append_value(zu_do_value *value, text_buffer &out) noexcept;

  zu_tvr_walk_ctx *ctx_;
  bool relative_;
  bool canonical_;
  bool exhausted_ = false;
  bool silent_ = true;
  uint32_t consulted_ = 0;
};

// Writes what a dynamic template resolves to: 0, or the status.
int32_t resolve_text(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx, text_buffer &out, cache_source &source) noexcept;

// The operations of the public records.
zu_do_uri *resolve_uri(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx) noexcept;
int32_t resolve_uri_keys(zu_tvr_dyn_uri *segment, uint8_t relative, zu_tvr_walk_ctx *ctx,
                         zu_do_strbuf *buffer) noexcept;

} // namespace tvr
