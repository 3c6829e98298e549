// A URI template compiled to flat pieces, and the one loop that writes its text.
//
// Each "$", "!" or "#" of a template is a step: a record is looked up, then the text in front of the key's
// value, the value and the text behind it are written. Where records come from is the loop's source.
#pragma once

#include <atomic>
#include <string_view>

#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/internal/records_cache.hpp"
#include "zu_tovra/internal/text_buffer.hpp"
#include "zu_tovra/uri.h"

struct zu_tvr_uri_programs; // the programs of a tree: equal templates share one

namespace tvr {

// A number that nothing else has in this process.
inline uint64_t next_id() noexcept {
  static std::atomic<uint64_t> last{0};
  return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

// Steps of a template, at most.
inline constexpr int most_dynamic_segments = 64;
// Longer texts are left to the URI's own constructor, which has a limit.
inline constexpr size_t longest_canonical = 60000;

struct uri_step {
  uint64_t id;              // of the text up to the key's value, ever: steps of equal beginnings share one
  uint32_t number;          // of that text among those of a tree, from 1; 0 outside of one
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
  uint64_t id;     // ever
  uint32_t number; // in its set, from 1; 0 outside of one
  bool relative;
  bool canonical;         // the resolved text is that of its URI, whatever the values
  bool has_start;         // false: the URI of a static parent gives no text
  std::string_view start; // before the first step: a static parent's text; all of a static template's
  uint32_t step_count;
  tvr::uri_step *steps; // owned
  char *pieces;         // owned: the template's text, and those of the steps
};

namespace tvr {

// What a step looks up behind the text so far.
struct step_look_up {
  looked_up uri;         // the text of its URI, when the step is canonical
  std::string_view from; // the part of the text so far that messages show before `look_up`
  bool possible;         // false: without a location there is no path behind it, and nothing answers
};
[[gnu::always_inline]] inline step_look_up look_up_of(const uri_step &step, std::string_view so_far,
                                                      bool relative) noexcept {
  if (step.where == DYN_KEY_QUERY) {
    return {{so_far.empty() ? std::string_view("/") : so_far, step.look_up}, so_far, true};
  }
  if (relative) return {{so_far, step.look_up}, so_far, true};
  const size_t slash = so_far.starts_with("//") ? so_far.find('/', 2) : std::string_view::npos;
  if (slash == std::string_view::npos) return {{}, {}, false};
  return {{so_far.substr(slash), step.look_up}, so_far.substr(slash + 1), true};
}

// Writes the steps from `at` up to, not including, `to`; `at` is then the step that ended it. The source has
//   int32_t take(step, out): writes the step's head and its key's value; 0, or the status that ends it.
template <class Source>
int32_t run_uri_program(const zu_tvr_uri_program &program, uint32_t &at, uint32_t to, text_buffer &out,
                        Source &source) noexcept {
  if (at == 0) out.add(program.start);
  for (; at < to; ++at) {
    const int32_t status = source.take(program.steps[at], out);
    if (status != 0) return status;
    if (const std::string_view tail = program.steps[at].tail; !tail.empty()) out.add(tail);
  }
  return 0;
}

// The text after which no slash is added.
inline bool is_root(std::string_view uri) noexcept {
  return uri == "/" || uri == "//";
}

// ---- The programs of a tree ----
// A walk remembers for all templates that share a program what one of them named.

// None when memory is exhausted.
[[nodiscard]] zu_tvr_uri_programs *uri_programs_new() noexcept;
// Its templates may outlive it; none is ignored.
void uri_programs_delete(zu_tvr_uri_programs *programs) noexcept;

// As zu_tvr_uri_new, with a program of the set, which may be none: then the template has its own.
[[nodiscard]] zu_tvr_uri *uri_new_shared(const char *text, zu_tvr_uri_programs *programs) noexcept;

} // namespace tvr
