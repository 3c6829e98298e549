// The renderer's memory in a walk context: the records that templates named last, and the line buffer.
//
// While the records in scope stay the same, all lines with equal templates ask for the same record. So the
// result is remembered, which saves resolving the template and looking up the record for each line. It is
// remembered with all that it depends on, and that is checked before each use: a record that was popped or
// changed must never be shown.
#pragma once

#include "zu_tovra/internal/uri_program.hpp"
#include "zu_tovra/internal/walk_memory.hpp"
#include "zu_tovra/walk_ctx.h"

namespace tvr {

// The last result of a template's step. It applies only after the same text.
struct step_memory {
  uint64_t id = 0;      // of the step; 0: nothing is remembered
  uint64_t before = 0;  // the version of the text before the step
  uint64_t version = 0; // the version of the text after it; a version is given to one text only
  remembered_look_up look_up;
  text_buffer piece; // the text that the step wrote
  bool canonical = false;
};

// The record that a template names, and its URI.
struct found_record {
  zu_do_properties *record = nullptr; // borrowed from the cache; null: no URI, or no record matches it
  const char *uri = nullptr;          // the URI's text, borrowed until the template is resolved again
  const char *pending = nullptr;      // its pending attributes, borrowed from it; or null
};

// The record that a template named last.
struct named_record {
  found_record found;
  uint64_t id = 0;      // of the template's program; 0: nothing is remembered
  uint64_t version = 0; // of its text
  cache_mark mark;      // while it stands, `found` is right
  remembered_look_up look_up;
  text_buffer text;    // the URI's text, of a dynamic template
  ref<zu_do_uri> held; // or the URI that holds its text
};

// Objects by number, each made at first use. Programs and steps outside a tree have number 0 and share one
// object, which then serves the last of them: its id shows which.
template <class T>
class numbered {
public:
  ~numbered() {
    for (uint32_t i = 0; i < count_; ++i) owned<T>(things_.get()[i]).reset();
  }
  T *find(uint32_t number) const noexcept { return number < count_ ? things_.get()[number] : nullptr; }
  // The object with a number; null when memory is exhausted.
  T *get(uint32_t number) noexcept {
    if (number >= count_ && !grow(number + 1)) return nullptr;
    T *&thing = things_.get()[number];
    if (thing == nullptr) thing = make_owned<T>().release();
    return thing;
  }

private:
  bool grow(uint32_t least) noexcept {
    const uint32_t count = least < 2 * count_ ? 2 * count_ : least < 32 ? 32 : least;
    if (!resize(things_, count)) return false;
    for (; count_ < count; ++count_) things_.get()[count_] = nullptr;
    return true;
  }

  block<T *> things_;
  uint32_t count_ = 0;
};

} // namespace tvr

struct zu_tvr_render_memory {
  tvr::numbered<tvr::named_record> named; // by the numbers of programs
  tvr::numbered<tvr::step_memory> steps;
  tvr::ref<zu_do_name> pending_name; // the name of the property with a record's pending attributes
  uint64_t versions = 0;             // the last version that was given to a text
  tvr::text_buffer line;
  tvr::text_buffer spare; // for the text of a URI that is being resolved
};

namespace tvr {

zu_tvr_render_memory *make_render_memory(zu_tvr_walk_ctx *ctx) noexcept;
// The walk's memory, made at first use; null when memory is exhausted.
inline zu_tvr_render_memory *render_memory(zu_tvr_walk_ctx *ctx) noexcept {
  return ctx->render != nullptr ? ctx->render : make_render_memory(ctx);
}

} // namespace tvr
