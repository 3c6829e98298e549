// Standard output as a render needs it, and lines for standard error.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unistd.h>

namespace tovra {

// Text on its way to standard output or a file: buffered, a line at a time on a terminal. The newline that a
// rendered line begins with would leave an empty line at the top, so the first one is left out and one ends
// the text.
class output {
public:
  explicit output(int file = STDOUT_FILENO, std::string name = "standard output"); // borrows the file
  bool write(std::string_view text); // false: it is taken no longer
  bool flush();
  bool finish(); // ends the text and flushes

  // Keeps all text back until it is released, for who may have to drop it and begin again.
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

// Writes all of a text, waiting where the file does not: false with `errno` set when it is not taken.
bool write_all(int file, std::string_view text);

// A text with its control characters shown as \xHH: those of ASCII, those of Latin-1 (as UTF-8), and bytes
// that are no UTF-8.
std::string visible(std::string_view text);
std::string visible_lines(std::string_view text); // the ends of its lines stay
// Writes one line to standard error, made visible.
void say(std::string_view line);
void say_lines(std::string_view text, const std::string &before = ""); // a line each

// What its thread says while it lives, for who tells it in another way: it does not go to standard error.
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
// Automatic colours a terminal, unless the environment has NO_COLOR or a dumb terminal.
void set_color(color when);
bool is_colored(int file);
// A text in a colour of the terminal (31 red, 33 yellow, ...) for a file that takes colours.
std::string painted(int file, int code, std::string_view text);

// What stands on the last line of the terminal while nothing else is said; empty: nothing. Any thread.
void show_status(std::string_view text);

} // namespace tovra
