// Standard output as a render needs it, and lines for standard error.
#include "output.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

#include "commands.hpp"

namespace tovra {

namespace {

constexpr size_t buffer_size = size_t{64} * 1024;
constexpr const char *unwritable = "tovra: standard output cannot be written";

bool write_all(int file, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(file, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    text.remove_prefix(static_cast<size_t>(written));
  }
  return true;
}

} // namespace

output::output() : terminal_(isatty(STDOUT_FILENO) == 1) {
  buffer_.reserve(buffer_size);
}

bool output::write(std::string_view text) {
  if (broken_) return false;
  if (text.empty()) return true;
  any_ = true;
  if (first_ && text.front() == '\n') text.remove_prefix(1);
  first_ = false;
  lines_ += static_cast<uint64_t>(std::count(text.begin(), text.end(), '\n'));
  bytes_ += text.size();
  buffer_.append(text);
  return buffer_.size() < buffer_size && !terminal_ ? true : flush();
}

bool output::flush() {
  if (!broken_ && !write_all(STDOUT_FILENO, buffer_)) {
    broken_ = true;
    // A reader that has seen enough is no failure worth a word.
    if (errno == EPIPE) std::_Exit(failed);
    say(unwritable);
  }
  buffer_.clear();
  return !broken_;
}

bool output::finish() {
  return (!any_ || write("\n")) && flush();
}

int finish_printing(int status) {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
  if (errno != EPIPE) say(unwritable);
  return failed;
}

std::string visible(std::string_view text) {
  static constexpr char digits[] = "0123456789ABCDEF";
  std::string shown;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte < 0x20 || byte == 0x7f) {
      shown += {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
    } else {
      shown += character;
    }
  }
  return shown;
}

void say(std::string_view line) {
  write_all(STDERR_FILENO, visible(line) + '\n');
}

} // namespace tovra
