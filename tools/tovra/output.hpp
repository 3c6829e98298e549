// Standard output as a render needs it, and lines for standard error.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unistd.h>

namespace tovra {

// Text on its way to standard output or a file: buffered, but written at once to a terminal. Every rendered
// line begins with its newline. That would put an empty line at the top of the text, so the first newline is
// left out and one is added at the end.
class output {
public:
  explicit output(int file = STDOUT_FILENO, std::string name = "standard output"); // borrows the file
  bool write(std::string_view text); // false: writing has failed, and no more is taken
  bool flush();
  bool finish(); // ends the text and flushes

  // Keeps all text back until it is released, for callers that may have to drop it and begin again.
  void hold() { held_ = true; }
  void drop();
  bool release(); // and flushes

  bool terminal() const { return terminal_; }
  uint64_t lines() const { return lines_; }
  uint64_t bytes() const { return bytes_; }

private:
  int file_;
  std::string name_;
  std::string buffer_;
  bool terminal_;
  bool held_ = false;
  bool first_ = true;
  bool any_ = false;
  bool broken_ = false;
  uint64_t lines_ = 0;
  uint64_t bytes_ = 0;
};

// Writes a whole text, and waits when the file is not ready. False with `errno` set after a failure.
bool write_all(int file, std::string_view text);

// A text with its control characters shown as \xHH: those of ASCII and of Latin-1 (as UTF-8), and bytes that
// are not UTF-8. Data is shown this way so that it cannot control the terminal.
std::string visible(std::string_view text);
std::string visible_lines(std::string_view text); // keeps the line ends
// Writes one line to standard error, made visible.
void say(std::string_view line);
void say_lines(std::string_view text, const std::string &before = ""); // one line each

// While it lives, keeps what its thread says, instead of writing it to standard error: for callers that
// report it in another way.
class kept_lines {
public:
  kept_lines();
  ~kept_lines();
  kept_lines(const kept_lines &) = delete;
  kept_lines &operator=(const kept_lines &) = delete;
  const std::string &text() const { return text_; } // without the end of the last line
  void take(std::string_view line);

private:
  std::string text_;
  kept_lines *before_;
};

enum class color { automatic, always, never };
// `automatic` colours a terminal, unless the environment has NO_COLOR or the terminal is a dumb one.
void set_color(color when);
bool is_colored(int file);
// The text in a colour (31 red, 33 yellow, ...), if output to the file is coloured.
std::string painted(int file, int code, std::string_view text);

// Shows a text on the last line of the terminal, until a message takes its place; an empty text removes it.
// May be called on any thread.
void show_status(std::string_view text);

} // namespace tovra
