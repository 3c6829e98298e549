// The URI text of the collection that an instance belongs to. It is needed for every row that was requested
// for all parents. When the platform says where the parts of a URI are, the text is put together from the
// instance's text without an allocation; else a URI is made.
#pragma once

#include <string_view>

#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/walk_ctx.h"

namespace tvr {

// The URI of the collection; null on failure (reported). Success is not traced here.
ref<zu_do_uri> make_collection_uri(zu_tvr_walk_ctx *ctx, zu_do_uri *instance) noexcept;
// True when the table has no entry under the text of a collection. Both results are traced.
bool need_to_request(ht_table *mr_cache_cursor, const char *coll_text) noexcept;

inline std::string_view view_of(zu_do_uri *uri) noexcept {
  const char *uri_text = zu_do_uri_get_uri_str(uri);
  return uri_text != nullptr ? std::string_view(uri_text, zu_do_uri_get_len(uri)) : std::string_view();
}

class coll_text {
public:
  coll_text() noexcept = default;
  coll_text(const coll_text &) = delete;
  coll_text &operator=(const coll_text &) = delete;

  // Takes the text in the instance's own form, absolute or relative; false on failure (reported).
  bool take(zu_tvr_walk_ctx *ctx, zu_do_uri *instance) noexcept;
  // Changes to the relative form; false on failure (traced).
  bool make_relative() noexcept;
  std::string_view get() const noexcept { return text_; } // NUL-terminated
  // The URI of the text that was taken; null on failure (reported).
  ref<zu_do_uri> take_uri(zu_tvr_walk_ctx *ctx, zu_do_uri *instance) noexcept {
    return uri_ ? std::move(uri_) : make_collection_uri(ctx, instance);
  }

private:
  bool read_off(zu_do_uri *instance) noexcept;

  ref<zu_do_uri> uri_; // holds the text if it is not in the buffer
  std::string_view text_;
  size_t relative_ = 0; // where the relative form of the text in the buffer starts
  char buffer_[512];
};

} // namespace tvr
