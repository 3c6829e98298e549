// Finds the cached record that a URI item of a print node names.
#pragma once

#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/uri.h"
#include "zu_tovra/walk_ctx.h"

namespace tvr {

// The record that a template names just now, and how its URI reads.
class record_finder {
public:
  record_finder(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx) noexcept : template_(uri), ctx_(ctx) {}

  // The record, borrowed from the cache; none when the URI does not resolve or no record answers to it.
  zu_do_properties *find() noexcept;
  // The text of the URI of a record that was found, or none; borrowed until the next resolution.
  const char *uri_text() noexcept;

private:
  zu_do_properties *find_plainly() noexcept;
  zu_do_properties *find_quickly() noexcept;
  zu_do_properties *look_up(zu_do_uri *uri) noexcept;
  bool by_collection() const noexcept { return template_->kind != URI_KIND_OBJECT; }

  zu_tvr_uri *template_;
  zu_tvr_walk_ctx *ctx_;
  ref<zu_do_uri> uri_;         // goes before the text, which may not be that of the URI
  const char *text_ = nullptr; // of the quick steps; none when the record was remembered
};

} // namespace tvr
