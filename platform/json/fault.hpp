// Where a JSON text is refused: the first fault in its syntax.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace zu_json {

// Containers inside one another, the outermost included.
inline constexpr uint32_t deepest = 64;

// Thrown while a text is read; caught where the reading starts.
struct refusal {
  size_t offset; // of the byte it is about
  std::string message;
};

// Where a text that is refused stops to be one JSON document in UTF-8, when that is not behind what was
// found. The reader's parser reads only what it is asked for, not always in the order of the text, and does
// not always know where; so another one, which does, reads the text once something is wrong.
refusal first_fault(std::string_view text, const refusal &found);

} // namespace zu_json
