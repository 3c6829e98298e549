// Standard output as a render needs it, and lines for standard error.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tovra {

// Text on its way to standard output: buffered, a line at a time on a terminal. The newline that a rendered
// line begins with would leave an empty line at the top, so the first one is left out and one ends the text.
class output {
public:
  output();
  bool write(std::string_view text); // false: standard output took it no longer
  bool flush();
  bool finish(); // ends the text and flushes

  uint64_t lines() const { return lines_; }
  uint64_t bytes() const { return bytes_; }

private:
  std::string buffer_;
  bool terminal_;
  bool first_ = true;
  bool any_ = false;
  bool broken_ = false;
  uint64_t lines_ = 0;
  uint64_t bytes_ = 0;
};

// The exit status of a command that has printed to `stdout`: that of failure when not all of it was taken.
int finish_printing(int status);

// A text with its control bytes shown as \xHH.
std::string visible(std::string_view text);
// Writes one line to standard error, made visible.
void say(std::string_view line);

} // namespace tovra
