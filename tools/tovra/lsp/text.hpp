// A text with the protocol's positions: lines from 0, and in a line units of UTF-16.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tovra::lsp {

struct position {
  size_t line = 0;
  size_t character = 0;
  auto operator<=>(const position &) const = default;
};

struct range {
  position start;
  position end;
};

// A part of a text, in bytes.
struct span {
  size_t begin = 0;
  size_t end = 0;
};

class text {
public:
  explicit text(std::string bytes);

  const std::string &bytes() const { return bytes_; }
  // A position beyond the end of a line is the end of the line; one beyond the text is its end.
  size_t offset_of(position at) const;
  position position_of(size_t offset) const;
  range range_of(span bytes) const { return {position_of(bytes.begin), position_of(bytes.end)}; }
  void replace(const range &where, std::string_view with);

  // A line as the loader counts: from 1, and only LF ends a line. The span does not contain the line end.
  span loader_line(int number) const;
  int loader_line_at(size_t offset) const;

private:
  void find_lines();

  std::string bytes_;
  std::vector<size_t> starts_;        // of lines that end with LF, CR LF or CR
  std::vector<size_t> loader_starts_; // of lines that end with LF
};

// The change of whole lines that makes one text from the other; nullopt when they are equal.
struct change {
  range where;
  std::string with;
};
std::optional<change> change_between(const text &before, const std::string &after);

} // namespace tovra::lsp
