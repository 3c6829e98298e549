// A growing text that is written piece by piece. All lines and resolved URIs are written through it, so
// adding a short piece is inlined: no call, no allocation.
#pragma once

#include <algorithm>
#include <charconv>
#include <cstring>
#include <string_view>

#include "zu_tovra/internal/own.hpp"

namespace tvr {

inline constexpr size_t short_piece = 32;

// Most pieces are short. They are copied without a call: in two words that may overlap.
[[gnu::always_inline]] inline void copy_short_piece(char *to, const char *from, size_t size) noexcept {
  struct two_words {
    uint64_t first, second;
  };
  const auto copy_ends = [&](auto word) {
    auto last = word;
    std::memcpy(&word, from, sizeof word);
    std::memcpy(&last, from + size - sizeof word, sizeof word);
    std::memcpy(to, &word, sizeof word);
    std::memcpy(to + size - sizeof word, &last, sizeof word);
  };
  if (size >= sizeof(two_words)) {
    copy_ends(two_words{});
  } else if (size >= sizeof(uint64_t)) {
    copy_ends(uint64_t{});
  } else if (size >= sizeof(uint32_t)) {
    copy_ends(uint32_t{});
  } else if (size > 0) {
    to[0] = from[0];
    to[size / 2] = from[size / 2];
    to[size - 1] = from[size - 1];
  }
}

// How many bytes may be read behind a padded piece, and are written behind the text: then a short piece is
// copied as one block of this size, whatever its length.
inline constexpr size_t piece_padding = 16;

// A buffer that could not grow stays failed until it is cleared, and gives no text: a line with a missing
// piece would look like a correct line.
class text_buffer {
public:
  text_buffer() noexcept = default;

  void clear() noexcept {
    at_ = block_.get();
    failed_ = false;
  }
  [[gnu::always_inline]] void add(std::string_view piece) noexcept {
    if (piece.size() > std::min(room(), short_piece)) return add_long(piece);
    copy_short_piece(std::exchange(at_, at_ + piece.size()), piece.data(), piece.size());
  }
  // Adds a piece behind which `piece_padding` bytes may be read.
  void add_padded(std::string_view piece) noexcept {
    if (piece.size() >= room()) return add_long(piece);
    char *to = std::exchange(at_, at_ + piece.size());
    std::memcpy(to, piece.data(), piece_padding);
    if (piece.size() > piece_padding) std::memcpy(to, piece.data(), piece.size());
  }
  void add(char character) noexcept {
    if (room() == 0 && !reserve(1)) return;
    *at_++ = character;
  }
  void add_number(int64_t number) noexcept {
    char digits[24];
    add({digits, static_cast<size_t>(std::to_chars(digits, digits + sizeof digits, number).ptr - digits)});
  }
  // Drops the text and starts a line: a newline character,
  // if wanted, and blanks. False when memory is exhausted.
  bool start_line(bool newline, size_t blanks) noexcept {
    clear();
    const size_t count = blanks + (newline ? 1 : 0);
    if (count >= room() && !reserve(count)) return false;
    std::memcpy(at_, newline ? "\n       " : "        ", 8);
    if (count > 8) std::memset(at_ + 8, ' ', count - 8);
    at_ += count;
    return true;
  }
  // Inserts a piece before the text.
  void insert(std::string_view piece) noexcept {
    const size_t length = size();
    add(piece);
    if (failed_) return;
    std::memmove(block_.get() + piece.size(), block_.get(), length);
    std::memcpy(block_.get(), piece.data(), piece.size());
  }
  // Drops `front` bytes at the start, and then all bytes after the first `length`.
  void cut(size_t front, size_t length) noexcept {
    if (failed_) return;
    if (front > 0) std::memmove(block_.get(), block_.get() + front, length);
    at_ = block_.get() + length;
  }

  void swap(text_buffer &other) noexcept {
    block_.swap(other.block_);
    std::swap(at_, other.at_);
    std::swap(end_, other.end_);
    std::swap(failed_, other.failed_);
  }

  size_t size() const noexcept { return static_cast<size_t>(at_ - block_.get()); }
  std::string_view view() const noexcept { return {block_.get(), size()}; } // empty for a failed buffer
  bool failed() const noexcept { return failed_; }
  // The text, NUL-terminated, borrowed until it is written to; null for a failed buffer.
  const char *c_str() noexcept {
    if (block_ == nullptr && !reserve(0)) return nullptr;
    *at_ = '\0';
    return block_.get();
  }
  // The text, owned by the caller, and the buffer is empty; null for a failed buffer.
  [[nodiscard]] text release() noexcept {
    if (c_str() == nullptr) return nullptr;
    at_ = end_ = nullptr;
    return std::move(block_);
  }

private:
  size_t room() const noexcept { return static_cast<size_t>(end_ - at_); }

  [[gnu::noinline]] void add_long(std::string_view piece) noexcept {
    if (piece.empty() || (piece.size() > room() && !reserve(piece.size()))) return;
    std::memcpy(at_, piece.data(), piece.size());
    at_ += piece.size();
  }

  // Room for `count` more bytes.
  [[gnu::noinline]] bool reserve(size_t count) noexcept {
    const size_t length = size(), room = static_cast<size_t>(end_ - block_.get());
    if (!failed_ && count < SIZE_MAX / 4 - length) {
      const size_t wanted = std::max({length + count, room * 2, size_t{250}});
      if (resize(block_, wanted + piece_padding)) {
        at_ = block_.get() + length;
        end_ = block_.get() + wanted;
        return true;
      }
    }
    block_.reset();
    at_ = end_ = nullptr;
    failed_ = true;
    return false;
  }

  text block_; // ends piece_padding bytes behind `end_`
  char *at_ = nullptr;
  char *end_ = nullptr;
  bool failed_ = false;
};

} // namespace tvr
