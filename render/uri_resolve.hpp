// Compiling URI templates, and resolving them over the records and groups in scope.
#pragma once

#include "render_memory.hpp"

namespace tvr {

// Gives a parsed template its program; false when memory is exhausted.
bool compile_uri(zu_tvr_uri *uri, const char *text, zu_tvr_uri_programs *programs) noexcept;
void drop_uri_program(zu_tvr_uri_program *program) noexcept;

// ---- Over the caches of a walk ----

// One resolution over the records and groups in scope. Failures are traced, never reported: a record that is
// not in scope is mostly no failure for the caller.
class cache_source {
public:
  // `as_compiled`: the text is that of the program alone, without a text of the caller before it.
  cache_source(zu_tvr_walk_ctx *ctx, bool relative, bool as_compiled) noexcept;

  int32_t take(const uri_step &step, text_buffer &out) noexcept;

  bool canonical() const noexcept { return canonical_; } // every value is written in a URI without a change
  bool exhausted() const noexcept { return exhausted_; } // it failed because memory is exhausted
  bool silent() const noexcept { return silent_; }       // all look-ups were by text and traced no error
  uint32_t consulted() const noexcept { return consulted_; } // entries of the cache that were compared
  uint64_t version() const noexcept { return version_; }     // of the text that was written

  void fail_exhausted() noexcept { exhausted_ = true; }
  void note(const cache_answer &answer) noexcept;
  // Called when an operation of a host wrote the text so far: then nothing may be remembered.
  void distrust() noexcept {
    canonical_ = silent_ = false;
    version_ = next_version();
  }

private:
  uint64_t next_version() noexcept { return memory_ != nullptr ? ++memory_->versions : UINT64_MAX; }
  bool take_again(const step_memory &memory, const uri_step &step, const looked_up &wanted,
                  text_buffer &out) noexcept;
  zu_do_properties *find_by_uri(const uri_step &step, const step_look_up &wanted, bool is_uri) noexcept;
  int32_t append_key(zu_do_name *key, zu_do_properties *record, text_buffer &out) noexcept;
  int32_t append_value(zu_do_value *value, text_buffer &out) noexcept;
  [[gnu::cold]] int32_t append_through_buffer(zu_do_value *value, text_buffer &out) noexcept;

  zu_tvr_walk_ctx *ctx_;
  zu_tvr_render_memory *memory_; // or null
  bool relative_;
  bool canonical_;
  bool exhausted_ = false;
  bool silent_ = true;
  uint32_t consulted_ = 0;
  uint64_t version_ = 0;
};

// Writes the text that a dynamic template resolves to: 0, or the status of the step that failed.
int32_t resolve_text(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx, text_buffer &out, cache_source &source) noexcept;

// The operations of the public records.
zu_do_uri *resolve_uri(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx) noexcept;
int32_t resolve_uri_keys(zu_tvr_dyn_uri *segment, uint8_t relative, zu_tvr_walk_ctx *ctx,
                         zu_do_strbuf *buffer) noexcept;

} // namespace tvr
