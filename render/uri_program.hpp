// A URI template compiled to flat pieces, and the one loop that writes its text.
//
// Each "$", "!" or "#" of a template is a step: a record is looked up, then the text in front of the key's
// value, the value and the text behind it are written. Where records come from is the loop's source.
#pragma once

#include <string_view>

#include "zu_tovra/internal/records_cache.hpp"
#include "zu_tovra/internal/uri_programs.hpp"
#include "zu_tovra/walk_ctx.h"

namespace tvr {

// Steps of a template, at most.
inline constexpr int most_dynamic_segments = 64;
// Longer texts are left to the URI's own constructor, which has a limit.
inline constexpr size_t longest_canonical = 60000;

struct uri_step {
  uint32_t where;           // DYN_KEY_*
  zu_do_nlist *keys;        // one reference
  zu_do_name *key;          // whose value is written; borrowed from the list
  std::string_view look_up; // "?name" or "/name": what is looked up behind the text so far
  std::string_view head;    // "/name;key="
  std::string_view tail;
  bool canonical; // the text that is looked up is that of its URI, whatever the values before it
};

} // namespace tvr

struct zu_tvr_uri_program {
  uint32_t references;
  uint32_t number; // in its set, from 1; 0 outside of one
  bool relative;
  bool by_collection;     // the record it names is found by its collection's URI
  bool canonical;         // the resolved text is that of its URI, whatever the values
  bool has_start;         // false: the URI of a static parent gives no text
  std::string_view start; // before the first step: a static parent's text; all of a static template's
  uint32_t step_count;
  tvr::uri_step *steps; // owned
  char *pieces;         // owned: the template's text, and those of the steps
};

namespace tvr {

// Gives the template, whose segments are linked, its program; false when memory is exhausted.
bool compile_uri(zu_tvr_uri *uri, const char *text, zu_tvr_uri_programs *programs) noexcept;
void drop_uri_program(zu_tvr_uri_program *program) noexcept;

// What a step looks up behind the text so far.
struct step_look_up {
  looked_up uri;         // the text of its URI, when the step is canonical
  std::string_view from; // the part of the text so far that messages show before `look_up`
  bool possible;         // false: without a location there is no path behind it, and nothing answers
};
step_look_up look_up_of(const uri_step &step, std::string_view so_far, bool relative) noexcept;

// Writes the steps from `at` up to, not including, `to`; `at` is then the step that ended it. The source has
//   int32_t take(step, buffer): writes the step's head and its key's value; 0, or the status that ends it.
template <class Source>
int32_t run_uri_program(const zu_tvr_uri_program &program, uint32_t &at, uint32_t to, zu_do_strbuf *buffer,
                        Source &source) noexcept {
  if (at == 0) zu_do_strbuf_add_bytes(buffer, program.start.data(), program.start.size());
  for (; at < to; ++at) {
    const int32_t status = source.take(program.steps[at], buffer);
    if (status != 0) return status;
    const std::string_view tail = program.steps[at].tail;
    zu_do_strbuf_add_bytes(buffer, tail.data(), tail.size());
  }
  return 0;
}

// The text after which no slash is added.
inline bool is_root(std::string_view uri) noexcept {
  return uri == "/" || uri == "//";
}

inline std::string_view text_of(zu_do_strbuf *buffer) noexcept {
  const char *written = zu_do_strbuf_to_string(buffer);
  return written != nullptr ? std::string_view(written, zu_do_strbuf_get_len(buffer)) : std::string_view();
}

// ---- Over the caches of a walk ----

// One resolution over the records and groups in scope. What it meets is traced, never reported.
class cache_source {
public:
  cache_source(zu_tvr_walk_ctx *ctx, bool relative, bool canonical) noexcept
      : ctx_(ctx), relative_(relative), canonical_(canonical) {}

  int32_t take(const uri_step &step, zu_do_strbuf *buffer) noexcept;

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
  int32_t append_value(zu_do_value *value, zu_do_strbuf *buffer) noexcept;

  zu_tvr_walk_ctx *ctx_;
  bool relative_;
  bool canonical_;
  bool exhausted_ = false;
  bool silent_ = true;
  uint32_t consulted_ = 0;
};

// Runs the program up to a segment, its own step included: 0, or the status.
int32_t run_segment(zu_tvr_dyn_uri *segment, cache_source &source, uint8_t relative, zu_tvr_walk_ctx *ctx,
                    zu_do_strbuf *buffer) noexcept;

// The operations of the public records.
zu_do_uri *resolve_uri(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx) noexcept;
int32_t resolve_uri_keys(zu_tvr_dyn_uri *segment, uint8_t relative, zu_tvr_walk_ctx *ctx,
                         zu_do_strbuf *buffer) noexcept;

} // namespace tvr
