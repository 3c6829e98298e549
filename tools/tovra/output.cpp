// Standard output as a render needs it, and lines for standard error.
#include "output.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <poll.h>

#include "commands.hpp"

namespace tovra {

namespace {

constexpr size_t buffer_size = size_t{64} * 1024;

color chosen = color::automatic;
std::mutex saying;
bool status_shown = false;
thread_local kept_lines *keeping = nullptr;

void clear_status() {
  if (status_shown) write_all(STDERR_FILENO, "\r\x1b[K");
  status_shown = false;
}

// The length in bytes of the UTF-8 character at the beginning of a text; 0 when there is none, or when it is
// one that controls a terminal.
size_t shown_length(std::string_view text) {
  const auto at = [text](size_t i) -> unsigned { return static_cast<unsigned char>(text[i]); };
  const unsigned lead = at(0);
  if (lead < 0x80) return lead < 0x20 || lead == 0x7f ? 0 : 1;
  const size_t length = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
  if (lead < 0xc2 || lead > 0xf4 || text.size() < length) return 0;
  for (size_t i = 1; i < length; ++i) {
    if ((at(i) & 0xc0) != 0x80) return 0;
  }
  return lead == 0xc2 && at(1) < 0xa0 ? 0 : length;
}

// Colours the word at the beginning of a line that says how severe the message is.
std::string painted_line(std::string line) {
  const size_t end = line.find(": ");
  const std::string_view word = std::string_view(line).substr(0, end == line.npos ? 0 : end + 1);
  const bool bad = word == "tovra:" || word.starts_with("error ");
  if (!bad && word != "warning:") return line;
  return painted(STDERR_FILENO, bad ? 31 : 33, word) + line.substr(word.size());
}

} // namespace

bool write_all(int file, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(file, text.data(), text.size());
    if (written >= 0) {
      text.remove_prefix(static_cast<size_t>(written));
    } else if (errno == EAGAIN) {
      pollfd until = {file, POLLOUT, 0};
      poll(&until, 1, -1);
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

output::output(int file, std::string name)
    : file_(file), name_(std::move(name)), terminal_(isatty(file) == 1) {
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
  if (held_) return true;
  if (!broken_ && !write_all(file_, buffer_)) {
    broken_ = true;
    // The reader has closed the pipe, as `head` does: the program ends without a message.
    if (errno == EPIPE) std::_Exit(failed);
    say("tovra: " + name_ + " cannot be written");
  }
  buffer_.clear();
  return !broken_;
}

void output::drop() {
  buffer_.clear();
  first_ = true;
  any_ = false;
  lines_ = bytes_ = 0;
}

bool output::release() {
  held_ = false;
  return flush();
}

bool output::finish() {
  return (!any_ || write("\n")) && flush();
}

std::string visible(std::string_view text) {
  static constexpr char digits[] = "0123456789ABCDEF";
  std::string shown;
  const auto escape = [&shown](char character) {
    const auto byte = static_cast<unsigned char>(character);
    shown += {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
  };
  size_t from = 0; // start of the part that is shown unchanged
  for (size_t at = 0, length = 0; at < text.size(); at += std::max<size_t>(length, 1)) {
    length = shown_length(text.substr(at));
    if (length != 0) continue;
    shown += text.substr(from, at - from);
    escape(text[at]);
    from = at + 1;
  }
  return shown.append(text.substr(from));
}

std::string visible_lines(std::string_view text) {
  std::string shown;
  for (size_t end; (end = text.find('\n')) != text.npos; text.remove_prefix(end + 1)) {
    shown += visible(text.substr(0, end)) + "\n";
  }
  return shown + visible(text);
}

kept_lines::kept_lines() : before_(keeping) {
  keeping = this;
}

kept_lines::~kept_lines() {
  keeping = before_;
}

void kept_lines::take(std::string_view line) {
  text_.append(text_.empty() ? "" : "\n").append(line);
}

void say(std::string_view line) {
  if (keeping != nullptr) return keeping->take(visible(line));
  const std::string text = painted_line(visible(line)) + '\n';
  const std::lock_guard alone(saying);
  clear_status();
  write_all(STDERR_FILENO, text);
}

void say_lines(std::string_view text, const std::string &before) {
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size());
    say(before + std::string(text.substr(0, end)));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

void set_color(color when) {
  chosen = when;
}

bool is_colored(int file) {
  if (chosen != color::automatic) return chosen == color::always;
  const char *refused = std::getenv("NO_COLOR");
  const char *terminal = std::getenv("TERM");
  return isatty(file) == 1 && (refused == nullptr || *refused == '\0') &&
         (terminal == nullptr || std::strcmp(terminal, "dumb") != 0);
}

std::string painted(int file, int code, std::string_view text) {
  if (!is_colored(file)) return std::string(text);
  return "\x1b[" + std::to_string(code) + "m" + std::string(text) + "\x1b[0m";
}

void show_status(std::string_view text) {
  const std::lock_guard alone(saying);
  clear_status();
  if (text.empty()) return;
  write_all(STDERR_FILENO, visible(text));
  status_shown = true;
}

} // namespace tovra
