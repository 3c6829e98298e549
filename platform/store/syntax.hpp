// Where a data file is refused: the first fault in its syntax, and lines and columns.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace store {

// Containers inside one another, the file's own object included.
inline constexpr uint32_t deepest = 64;

// Thrown while a file is read; caught where the reading starts.
struct refusal {
  size_t offset; // of the byte it is about
  std::string message;
};

// A name from the file as it is shown in a message: in quotes, control bytes escaped, long ones cut.
std::string in_quotes(std::string_view text);

// The first place where a text is not one JSON document in UTF-8 of at most `deepest` levels. A plain scan
// that is only made when something is wrong: the parser that reads files does not always know where.
std::optional<refusal> find_syntax_fault(std::string_view text);

struct place {
  size_t line;   // from 1
  size_t column; // from 1, in bytes
};
place place_of(std::string_view text, size_t offset);

} // namespace store
