// A text as lines, and the lines that two texts have in common.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace tovra::diff {

struct line {
  std::string_view text; // without its line feed
  int64_t above = -1;    // index of the line of its section, or -1
};

std::vector<line> read_lines(std::string_view text);

struct side {
  std::vector<line> lines;
  std::vector<int64_t> partner; // index of the same line on the other side, or -1
  std::vector<int64_t> section; // index of the nearest section line above that has a partner, or -1
};

struct two_sides {
  side old_side, new_side;
};

two_sides compare(std::string_view old_text, std::string_view new_text);

} // namespace tovra::diff
