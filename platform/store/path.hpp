// Paths: the names of a URI's segments, without keys and location.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "zuapi/frozen.hpp"

namespace store {

// Writes the path of a URI's text (with its leading slash, without a query) to `out`, which has room for
// text.size() bytes: its length. "//locations;loc=1/sys/ifc;name=e0" gives "/sys/ifc", and a location record
// itself, "//locations;loc=1", gives "//locations".
size_t path_of(std::string_view text, bool absolute, char *out);
std::string path_text(std::string_view text, bool absolute); // the same as a text of its own

// Whether a record's URI has the key values that a request gives; their paths are equal already. `asked` and
// `stored` both start at the '/' of a segment. Keys that the request leaves out do not matter.
bool keys_match(std::string_view asked, std::string_view stored);

// Whether two texts of one path have the same key names in the same places. As above.
bool same_key_names(std::string_view a, std::string_view b);

// The location segment of an absolute text as "/name;key=value", and what follows it ("/...", or nothing).
struct location_split {
  std::string_view location;
  std::string_view rest;
};
location_split split_location(std::string_view text);

// The two halves of a URI's text without a query: of "//locations;loc=1/sys" they are "//locations;loc=1" and
// "/sys", of a location itself, "//locations;loc=1", "/" and "/locations;loc=1"; a relative text has no first
// half.
struct uri_halves {
  uri_halves(std::string_view text, bool absolute) : relative(text) {
    if (!absolute) return;
    const std::string_view rest = split_location(text).rest;
    location = text.substr(0, rest.empty() ? 1 : text.size() - rest.size());
    relative = text.substr(location.size());
  }
  std::string_view location;
  std::string_view relative;
};

// The first half of a relative text: all but its last segment, "/" when there is no other.
inline std::string_view parent_of(std::string_view relative) {
  const size_t last = relative.rfind('/');
  return relative.substr(0, last == 0 ? 1 : last);
}

} // namespace store
