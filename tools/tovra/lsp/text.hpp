// A text as the protocol counts it: lines from 0, and in a line units of UTF-16.
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

// Bytes of a text.
struct span {
  size_t begin = 0;
  size_t end = 0;
};

class text {
public:
  explicit text(std::string bytes);

  const std::string &bytes() const { return bytes_; }
  // What is beyond a line is its end, and what is beyond the text is that of the text.
  size_t offset_of(position at) const;
  position position_of(size_t offset) const;
  range range_of(span bytes) const { return {position_of(bytes.begin), position_of(bytes.end)}; }
  void replace(const range &where, std::string_view with);

  // The lines as the loader counts them: from 1, ended by LF alone. The span is without the line's end.
  span loader_line(int number) const;
  int loader_line_at(size_t offset) const;

private:
  void find_lines();

  std::string bytes_;
  std::vector<size_t> starts_;        // of lines, which end with LF, CR LF or CR
  std::vector<size_t> loader_starts_; // of lines that end with LF
};

// One change of whole lines that makes a text of another; none when they are the same.
struct change {
  range where;
  std::string with;
};
std::optional<change> change_between(const text &before, const std::string &after);

} // namespace tovra::lsp
