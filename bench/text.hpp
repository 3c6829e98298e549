// A text that grows and is written in place: the floor renders into it, and the library's lines are put into
// it too.
#pragma once

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace bench {

class text {
public:
  text() = default;
  ~text() { std::free(begin_); }
  text(const text &) = delete;
  text &operator=(const text &) = delete;

  void clear() { end_ = begin_; }
  std::string_view view() const { return {begin_, static_cast<size_t>(end_ - begin_)}; }

  void add(std::string_view part) {
    make_room(part.size());
    std::memcpy(end_, part.data(), part.size());
    end_ += part.size();
  }

  // Adds a line: literals (which include the indentation), values and numbers, then the line end.
  template <class... Part>
  void line(const Part &...part) {
    make_room((most(part) + ... + 1));
    ((end_ = put(end_, part)), ...);
    *end_++ = '\n';
  }
  // Adds a line that ends with a list of numbers, separated by blanks.
  template <size_t N, class Numbers>
  void list(const char (&literal)[N], const Numbers &numbers) {
    make_room(N + numbers.size() * 21);
    end_ = put(end_, literal);
    for (const int64_t number : numbers) *(end_ = put(end_, number))++ = ' ';
    end_[-1] = '\n';
  }

private:
  static constexpr size_t first_size = 64 * 1024;

  void make_room(size_t bytes) {
    if (static_cast<size_t>(limit_ - end_) < bytes) grow(bytes);
  }
  [[gnu::noinline]] void grow(size_t bytes) {
    const size_t used = view().size();
    size_t size = begin_ == nullptr ? first_size : 2 * static_cast<size_t>(limit_ - begin_);
    while (size - used < bytes) size *= 2;
    begin_ = static_cast<char *>(std::realloc(begin_, size));
    if (begin_ == nullptr) std::abort();
    end_ = begin_ + used;
    limit_ = begin_ + size;
  }

  template <size_t N>
  static constexpr size_t most(const char (&)[N]) {
    return N - 1;
  }
  static size_t most(std::string_view value) { return 2 * value.size() + 2; }
  static constexpr size_t most(int64_t) { return 20; }

  template <size_t N>
  static char *put(char *to, const char (&literal)[N]) {
    std::memcpy(to, literal, N - 1);
    return to + N - 1;
  }
  static char *put(char *to, int64_t number) { return std::to_chars(to, to + 20, number).ptr; }

  // A value as the CLI writes it: in double quotes when it contains a blank or begins with '!'.
  static char *put(char *to, std::string_view value) {
    bool quoted = value.starts_with('!'), marks = false;
    for (const char byte : value) {
      quoted |= byte == ' ' || byte == '\t';
      marks |= byte == '"';
    }
    if (quoted || marks) return put_marked(to, value, quoted, marks);
    std::memcpy(to, value.data(), value.size());
    return to + value.size();
  }
  static char *put_marked(char *to, std::string_view value, bool quoted, bool marks) {
    if (quoted) *to++ = '"';
    if (marks) {
      for (const char byte : value) {
        if (byte == '"') *to++ = '\\';
        *to++ = byte;
      }
    } else {
      std::memcpy(to, value.data(), value.size());
      to += value.size();
    }
    if (quoted) *to++ = '"';
    return to;
  }

  char *begin_ = nullptr;
  char *end_ = nullptr;
  char *limit_ = nullptr;
};

} // namespace bench
