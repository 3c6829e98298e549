// The text of the collection that holds an instance, read off the instance's own text without making a URI.
#pragma once

#include <string_view>

#include "zuapi/zuapi.h"

namespace tvr {

// The collection's text is `parent`, "?", `name`. Both are borrowed from the instance's URI.
struct coll_slices {
  std::string_view parent;
  std::string_view name;

  bool operator==(const coll_slices &other) const noexcept = default;
  bool spells(std::string_view text) const noexcept;
};

// False when the text cannot be read off: the caller takes the plain steps. `relative`: of the collection's
// relative form.
bool coll_slices_of(zu_do_uri *instance, bool relative, coll_slices *slices) noexcept;

// A collection's text, NUL-terminated, in a buffer of its own.
class coll_text {
public:
  // None when it has no room: the caller takes the plain steps.
  const char *write(const coll_slices &slices) noexcept;

private:
  char buffer_[512];
};

} // namespace tvr
