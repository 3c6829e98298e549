// A growing text that is written piece by piece, without a call for each.
#pragma once

#include <charconv>
#include <cstring>
#include <string_view>

#include "zu_tovra/internal/own.hpp"

namespace tvr {

// Most pieces are short: copied without a call.
inline void copy_piece(char *to, const char *from, size_t size) noexcept {
  const auto copy_ends = [&](auto word) {
    std::memcpy(&word, from, sizeof word);
    auto last = word;
    std::memcpy(&last, from + size - sizeof word, sizeof word);
    std::memcpy(to, &word, sizeof word);
    std::memcpy(to + size - sizeof word, &last, sizeof word);
  };
  if (size > 16) {
    std::memcpy(to, from, size);
  } else if (size >= 8) {
    copy_ends(uint64_t{});
  } else if (size >= 4) {
    copy_ends(uint32_t{});
  } else {
    for (size_t i = 0; i < size; ++i) to[i] = from[i];
  }
}

// A buffer that could not grow stays failed until it is cleared: it gives no text, so that a text is never
// half a text.
class text_buffer {
public:
  text_buffer() noexcept = default;

  void clear() noexcept {
    length_ = 0;
    failed_ = false;
  }
  void add(std::string_view piece) noexcept {
    if (char *at = extend(piece.size())) copy_piece(at, piece.data(), piece.size());
  }
  void add(char character) noexcept {
    if (char *at = extend(1)) *at = character;
  }
  void add_number(int64_t number) noexcept {
    char digits[24];
    add({digits, static_cast<size_t>(std::to_chars(digits, digits + sizeof digits, number).ptr - digits)});
  }
  // A newline character, if wanted, and blanks.
  void start_line(bool newline, size_t blanks) noexcept {
    char *at = extend(blanks + (newline ? 1 : 0));
    if (at == nullptr) return;
    if (newline) *at++ = '\n';
    while (blanks > 0) at[--blanks] = ' ';
  }
  // Puts a piece in front of all.
  void insert(std::string_view piece) noexcept {
    const size_t length = length_;
    if (extend(piece.size()) == nullptr) return;
    std::memmove(block_.get() + piece.size(), block_.get(), length);
    std::memcpy(block_.get(), piece.data(), piece.size());
  }
  // Drops `front` bytes at the start, and what then stands behind `length` bytes.
  void cut(size_t front, size_t length) noexcept {
    if (failed_) return;
    if (front > 0) std::memmove(block_.get(), block_.get() + front, length);
    length_ = length;
  }

  size_t size() const noexcept { return length_; }
  std::string_view view() const noexcept { return {block_.get(), length_}; }
  bool failed() const noexcept { return failed_; }
  // The text, NUL-terminated, borrowed until it is written to; none for a failed buffer.
  const char *c_str() noexcept {
    if (block_ == nullptr && !reserve(0)) return nullptr;
    if (failed_) return nullptr;
    block_.get()[length_] = '\0';
    return block_.get();
  }
  // The same, handed over; none for a failed buffer.
  [[nodiscard]] text release() noexcept {
    if (c_str() == nullptr) return nullptr;
    room_ = length_ = 0;
    return std::move(block_);
  }

private:
  // Where `count` more bytes go, or none.
  char *extend(size_t count) noexcept {
    if (count > room_ - length_ && !reserve(count)) return nullptr;
    char *at = block_.get() + length_;
    length_ += count;
    return failed_ ? nullptr : at;
  }

  // Room for `count` more bytes and a NUL.
  [[gnu::noinline]] bool reserve(size_t count) noexcept {
    if (!failed_ && count < SIZE_MAX / 4 - length_) {
      const size_t wanted = length_ + count;
      const size_t room = wanted < room_ * 2 ? room_ * 2 : wanted < 250 ? 250 : wanted;
      if (resize(block_, room + 1)) {
        room_ = room;
        return true;
      }
    }
    failed_ = true;
    return false;
  }

  text block_; // room_ + 1 bytes
  size_t length_ = 0;
  size_t room_ = 0;
  bool failed_ = false;
};

} // namespace tvr
