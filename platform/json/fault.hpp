// Finds the place where a JSON text is refused: the first fault in its syntax.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace zu_json {

// The largest depth of nested containers, the outermost included.
inline constexpr uint32_t deepest = 64;

// Thrown while a text is read; caught where the reading starts.
struct refusal {
  size_t offset; // of the byte it is about
  std::string message;
};

// The place from which a refused text is no JSON document in UTF-8, or `found` if that comes first in the
// text. The reader's parser reads only the values that it is asked for, not always in the order of the text,
// and does not always know the place of a fault. So another parser, which does, reads the text again when
// something is wrong.
refusal first_fault(std::string_view text, const refusal &found);

} // namespace zu_json
