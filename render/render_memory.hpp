// What the renderer keeps in a walk context: what templates named last, and the line being written.
//
// Lines of one node, and nodes with equal templates, ask for the same record while the records in scope stay
// as they are. What is remembered carries what it depends on, and is checked before it is used.
#pragma once

#include "zu_tovra/internal/uri_program.hpp"
#include "zu_tovra/internal/walk_memory.hpp"
#include "zu_tovra/walk_ctx.h"

namespace tvr {

// What a step of a template found last: good for the same text in front of it.
struct step_memory {
  uint64_t id = 0;     // of the step; 0: nothing is remembered
  uint64_t before = 0; // the version of the text in front of it
  uint64_t version = 0;
  remembered_look_up look_up;
  text_buffer piece; // what the step wrote
  bool canonical = false;
};

// The record that a template names.
struct found_record {
  zu_do_properties *record = nullptr; // borrowed from the cache; none: no URI, or no record answers to it
  const char *uri = nullptr;          // the URI's text, borrowed until the template is resolved again
  const char *pending = nullptr;      // its pending attributes, borrowed from it; or none
};

// What a template named last.
struct named_record {
  found_record found;
  uint64_t id = 0;      // of the template's program; 0: nothing is remembered
  uint64_t version = 0; // of its text
  cache_mark mark;      // while it stands, all of this is so
  remembered_look_up look_up;
  text_buffer text;    // of the URI of a dynamic template
  ref<zu_do_uri> held; // what holds the URI's text, if that does not
};

// Things by number, each made on first use; number 0 serves all that have none.
template <class T>
class numbered {
public:
  ~numbered() {
    for (uint32_t i = 0; i < count_; ++i) owned<T>(things_.get()[i]).reset();
  }
  T *find(uint32_t number) const noexcept { return number < count_ ? things_.get()[number] : nullptr; }
  // None when memory is exhausted.
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
  tvr::numbered<tvr::named_record> named; // by program
  tvr::numbered<tvr::step_memory> steps;
  tvr::ref<zu_do_name> pending_name; // of records' pending attributes
  uint64_t versions = 0;             // given so far
  tvr::text_buffer line;
  tvr::text_buffer spare; // for a URI that is being resolved
};

namespace tvr {

zu_tvr_render_memory *make_render_memory(zu_tvr_walk_ctx *ctx) noexcept;
// The walk's memory, made on first use; none when memory is exhausted.
inline zu_tvr_render_memory *render_memory(zu_tvr_walk_ctx *ctx) noexcept {
  return ctx->render != nullptr ? ctx->render : make_render_memory(ctx);
}

} // namespace tvr
