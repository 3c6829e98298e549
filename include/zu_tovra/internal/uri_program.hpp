// A URI template compiled to flat pieces, and the one loop that writes its text.
//
// A template is resolved for every record; its public form, a chain of segments, would be parsed again each
// time. In the compiled form each "$", "!" or "#" is a step: a record is looked up, then the text before the
// key's value, the value and the text after it are written. A source object says where the records come from.
//
// "Canonical" means: the written text is already the text of its URI, byte for byte. Then a look-up can
// compare texts, and no URI object has to be made.
#pragma once

#include <atomic>
#include <string_view>

#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/internal/records_cache.hpp"
#include "zu_tovra/internal/text_buffer.hpp"
#include "zu_tovra/uri.h"

struct zu_tvr_uri_programs; // the programs of a tree: equal templates share one

namespace tvr {

// A number that is given once in this process. Memory keeps ids instead of addresses, because the address of
// a deleted object may be used again.
inline uint64_t next_id() noexcept {
  static std::atomic<uint64_t> last{0};
  return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

// The largest number of steps in a template.
inline constexpr int most_dynamic_segments = 64;
// Longer texts are left to the URI's own constructor, which has a limit.
inline constexpr size_t longest_canonical = 60000;

struct uri_step {
  uint64_t id;              // of the text up to the key's value: steps with equal beginnings share one
  uint32_t number;          // of that text among the steps of a tree, from 1; 0 outside a tree
  uint32_t where;           // DYN_KEY_*
  zu_do_nlist *keys;        // one reference
  zu_do_name *key;          // the property whose value is written; borrowed from the list
  std::string_view look_up; // "?name" or "/name": the text so far and this are looked up
  std::string_view head;    // "/name;key="
  std::string_view tail;
  bool canonical; // the text that is looked up is canonical, for all values
};

} // namespace tvr

struct zu_tvr_uri_program {
  uint32_t references;
  uint64_t id;     // of next_id
  uint32_t number; // in its set, from 1; 0 outside a set
  bool relative;
  bool canonical;         // the resolved text is canonical, for all values
  bool has_start;         // false: the URI of a static parent gives no text
  std::string_view start; // the text before the first step; of a static template the whole text
  uint32_t step_count;
  tvr::uri_step *steps; // owned
  char *pieces;         // owned: the template's text and the texts of the steps
};

namespace tvr {

// The URI that a step looks up, given the text so far.
struct step_look_up {
  looked_up uri;         // the URI's text, when the step is canonical
  std::string_view from; // the part of the text so far that messages show before `look_up`
  bool possible;         // false: an absolute text without a location has no path, so no record matches
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

// Writes the steps from `at` up to, not including, `to`;
// afterwards `at` is the step where it ended. The source has
//   int32_t take(step, out): writes the step's head and its key's value; 0, or the status that ends the loop.
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
// The lines of a record mostly repeat one URI. Equal templates of a tree share one program, so that a walk
// that has found the record for one line has found it for the others.

// A new empty set, or null when memory is exhausted.
[[nodiscard]] zu_tvr_uri_programs *uri_programs_new() noexcept;
// The templates may outlive the set: each holds a reference on its program. Null is ignored.
void uri_programs_delete(zu_tvr_uri_programs *programs) noexcept;

// As zu_tvr_uri_new, with a program of the set. Without a set (null) the template has a program of its own.
[[nodiscard]] zu_tvr_uri *uri_new_shared(const char *text, zu_tvr_uri_programs *programs) noexcept;

} // namespace tvr
