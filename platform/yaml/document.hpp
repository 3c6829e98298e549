// Converts a YAML document to JSON, so that one reader serves both: scalars follow the core schema, `!Name
// value` becomes an object with that one member, and an alias a copy of its anchor's node.
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
  std::string json; // every token is on the same line as in the YAML text

  // The place in the YAML text of the token at or before an offset in the JSON text.
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
