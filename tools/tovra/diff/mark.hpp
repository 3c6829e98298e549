// A line of a difference, coloured by its mark.
#pragma once

#include <string>
#include <string_view>

#include "text_diff.hpp"

namespace tovra::diff {

inline std::string marked(std::string_view mark, std::string_view line, style style) {
  const char *colour = mark[0] == '-'   ? "\033[31m"
                       : mark[0] == '+' ? "\033[32m"
                       : mark[0] == '@' ? "\033[36m"
                                        : "";
  const bool coloured = style.colour && *colour != '\0';
  std::string told = coloured ? colour : "";
  told.append(mark).append(line);
  return told.append(coloured ? "\033[m\n" : "\n");
}

} // namespace tovra::diff
