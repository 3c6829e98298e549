// The URI text of the collection that an instance belongs to.
#include "coll_text.hpp"

#include <cstring>

#include "zu_tovra/internal/report.hpp"
#include "zu_tovra/internal/shortcuts.hpp"

namespace tvr {

bool coll_text::read_off(zu_do_uri *instance) noexcept {
  if (shortcuts.uri_parts == nullptr) return false;
  zu_do_uri_parts parts;
  shortcuts.uri_parts(instance, &parts);
  // A URI with a query has its path as parent: such a URI is left to the platform.
  if (!parts.has_segment || parts.end != parts.length) return false;
  const size_t name = parts.name_end - parts.name;
  const size_t length = parts.parent + 1 + name;
  if (length >= sizeof buffer_) return false;
  std::memcpy(buffer_, parts.text, parts.parent);
  buffer_[parts.parent] = '?';
  std::memcpy(buffer_ + parts.parent + 1, parts.text + parts.name, name);
  buffer_[length] = '\0';
  text_ = {buffer_, length};
  // In relative form the location is cut off. If the instance is directly below the location, the parent is
  // then the root.
  const bool is_slice = parts.relative_ok && parts.parent > parts.relative;
  relative_ = is_slice ? parts.relative : parts.parent - 1;
  return true;
}

bool coll_text::take(zu_tvr_walk_ctx *ctx, zu_do_uri *instance) noexcept {
  if (!read_off(instance)) {
    uri_ = make_collection_uri(ctx, instance);
    if (!uri_) return false;
    text_ = view_of(uri_.get());
  }
  TVR_DEBUG("new collection uri: %s (for caching)", text_.data());
  return true;
}

bool coll_text::make_relative() noexcept {
  if (!uri_) {
    buffer_[relative_] = '/';
    text_.remove_prefix(relative_);
    return true;
  }
  uri_ = ref<zu_do_uri>::adopt(zu_do_uri_new_relative(text_.data()));
  if (!uri_) {
    TVR_ERROR("Failed to allocate coll uri");
    return false;
  }
  text_ = view_of(uri_.get());
  return true;
}

} // namespace tvr
