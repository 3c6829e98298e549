// What messages about a data file show: names from it, lines and columns.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace store {

// A name from the file as it is shown in a message: in quotes, control bytes escaped, long ones cut.
std::string in_quotes(std::string_view text);

struct place {
  size_t line;   // from 1
  size_t column; // from 1, in bytes
};
place place_of(std::string_view text, size_t offset);

} // namespace store
