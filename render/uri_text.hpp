// How URI templates are resolved to text: what parsing, resolving and looking up records share.
#pragma once

#include <string_view>

#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/uri.h"

namespace tvr {

// Segments of a template whose keys are filled from the caches, at most.
inline constexpr int most_dynamic_segments = 64;

// A text that a segment looks up, written behind the text resolved so far.
struct look_up {
  size_t kept;  // length of the text resolved so far, to which the buffer is cut back afterwards
  size_t start; // where the text of the look-up's URI starts
  size_t shown; // where the text of the look-up itself starts: without a slash that its URI adds
  bool possible;
};

// Writes the look-up of a segment behind the text resolved so far.
look_up write_look_up(const zu_tvr_dyn_uri *segment, bool relative, zu_do_strbuf *buffer) noexcept;

// True when a URI text ends a segment chain at the very root, after which no slash is added.
inline bool is_root(std::string_view uri) noexcept {
  return uri == "/" || uri == "//";
}

// Learns, once a template is parsed, which of its texts are those of their URIs whatever the key values.
void prepare_direct(zu_tvr_uri *uri) noexcept;

zu_do_uri *resolve_uri(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx) noexcept;
int32_t resolve_uri_keys(zu_tvr_dyn_uri *segment, uint8_t relative, zu_tvr_walk_ctx *ctx,
                         zu_do_strbuf *buffer) noexcept;

// What a template resolves to, in the walk's text buffer or the static URI's own text. No text: it does not
// resolve (traced as by `resolve`).
struct resolved_text {
  const char *text = nullptr;
  size_t length = 0;
  bool direct = false; // the text is that of its URI, which need not be made for a look-up
};
resolved_text resolve_to_text(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx) noexcept;

} // namespace tvr
