// The text of the collection that holds an instance, read off the instance's own text without making a URI.
#include "coll_slices.hpp"

#include <cstring>

namespace tvr {

bool coll_slices::spells(std::string_view text) const noexcept {
  return text.size() == parent.size() + 1 + name.size() && text.starts_with(parent) &&
         text[parent.size()] == '?' && text.ends_with(name);
}

bool coll_slices_of(zu_do_uri *instance, bool relative, coll_slices *slices) noexcept {
  zu_do_uri_parts parts;
  zu_do_uri_get_parts(instance, &parts);
  // The parent of a URI with a query is its path, so that one is left to the platform; so are texts that
  // the question mark could make too long for a URI.
  constexpr uint32_t longest = 32768;
  if (!parts.has_segment || parts.end != parts.length || parts.length > longest) return false;
  const std::string_view text(parts.text, parts.length);
  slices->parent = text.substr(0, parts.parent);
  slices->name = text.substr(parts.name, parts.name_end - parts.name);
  if (relative && text.starts_with("//")) {
    // What is left of the parent without its location is the root when the instance stands right below it.
    const bool below_location = parts.parent > 2 && parts.relative_ok && parts.parent > parts.relative;
    slices->parent = below_location ? text.substr(parts.relative, parts.parent - parts.relative) : "/";
  }
  return true;
}

const char *coll_text::write(const coll_slices &slices) noexcept {
  const size_t parent = slices.parent.size();
  const size_t name = slices.name.size();
  if (parent + name + 2 > sizeof buffer_) return nullptr;
  std::memcpy(buffer_, slices.parent.data(), parent);
  buffer_[parent] = '?';
  std::memcpy(buffer_ + parent + 1, slices.name.data(), name);
  buffer_[parent + 1 + name] = '\0';
  return buffer_;
}

} // namespace tvr
