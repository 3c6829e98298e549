// A YAML document as JSON, for what reads JSON: its scalars by the core schema, `!Name value` as an object
// with that one member, aliases as what they stand for.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "infra/text.hpp"

namespace zu_yaml {

// Thrown for a text that is no such document.
struct refusal {
  infra::place at;
  std::string message;
};

struct document {
  std::string json; // every token stands on the line on which it stands in the YAML text

  // Where the token stands in the YAML text that is at or before an offset in the JSON text.
  infra::place place_of(size_t offset) const;

  struct token {
    size_t offset;
    infra::place at;
  };
  std::vector<token> tokens;
};

// The text must hold one document. Throws refusal or std::bad_alloc.
document read_document(std::string_view text);

} // namespace zu_yaml
