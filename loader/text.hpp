// Text work of the loader: blanks, growable buffers, substring copies, numbers, and how a refusal is
// reported.
#pragma once

#include "zu_tovra/internal/own.hpp"

namespace tvr::loader {

// The POSIX white space of the C locale, whatever locale the host runs under.
constexpr bool is_blank(char c) noexcept {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

// Both stop at the text's end.
const char *skip_blanks(const char *at) noexcept;
const char *find_blank(const char *at) noexcept;
// The first of the characters `stops` that stands outside double quotes, or the text's end.
const char *find_outside_quotes(const char *at, const char *stops) noexcept;

// All three are always false, so that a refusal is one line.
// Stores a new error object, in place of one that an inner step has left there.
bool set_error(zu_do_error **error, int32_t code, const char *message) noexcept;
// Traces a refusal, the message followed by the detail (or none), and stores it as an error object. At most
// 255 characters of a message with a detail are kept.
bool refuse(zu_do_error **error, const char *message, const char *detail = nullptr,
            int32_t code = ZU_FAILED) noexcept;
inline bool exhausted(zu_do_error **error, const char *message) noexcept {
  return refuse(error, message, nullptr, ZU_EXHAUSTED);
}

// A text buffer with room for `size` bytes.
struct growable {
  text chars;
  size_t size = 0;
};

inline constexpr size_t first_buffer_size = 100;

// False when memory is exhausted; the buffer is then none.
[[nodiscard]] bool make_buffer(growable &buffer, size_t size) noexcept;
// Room for at least `needed` bytes, twice as many when it has to grow. On failure the buffer is as it was.
[[nodiscard]] bool grow(growable &buffer, size_t needed, zu_do_error **error) noexcept;
// Replaces the buffer's text by `length` bytes from `source`.
[[nodiscard]] bool store(growable &buffer, const char *source, size_t length, zu_do_error **error) noexcept;

// A copy of the characters from `start` to before `end`, of which there must be at least one.
[[nodiscard]] bool copy_range(text *copy, const char *start, const char *end, zu_do_error **error) noexcept;

// The decimal number of a text, as strtol reads it, in 32 bits; without an `end` to the text's end, which may
// then be empty.
[[nodiscard]] bool to_int32(const char *start, const char *end, int32_t *number,
                            zu_do_error **error) noexcept;

} // namespace tvr::loader
