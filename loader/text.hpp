// Text functions of the loader: blanks, growable buffers, substring copies, numbers, and reporting a refusal.
#pragma once

#include "zu_tovra/internal/own.hpp"

namespace tvr::loader {

// White space of the C locale, whatever locale the host runs under: a file must load the same everywhere.
constexpr bool is_blank(char c) noexcept {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

// Both stop at the text's end.
const char *skip_blanks(const char *at) noexcept;
const char *find_blank(const char *at) noexcept;
// The first of the characters in `stops` outside double quotes, or the text's end.
const char *find_outside_quotes(const char *at, const char *stops) noexcept;

// All three always return false, so that a refusal is one line: `return refuse(...)`.
// Stores a new error object; one that an inner step has stored is replaced.
bool set_error(zu_do_error **error, int32_t code, const char *message) noexcept;
// Traces a refusal, the message followed by the detail (or null), and stores it as an error object. At most
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

// Makes the buffer with room for `size` bytes. False when memory is exhausted; its text is then null.
[[nodiscard]] bool make_buffer(growable &buffer, size_t size) noexcept;
// Makes room for at least `needed` bytes; a buffer that has to grow gets twice as many, so that it seldom
// grows. On failure (stored in `error`) the buffer is unchanged.
[[nodiscard]] bool grow(growable &buffer, size_t needed, zu_do_error **error) noexcept;
// Replaces the buffer's text by `length` bytes of `source`.
[[nodiscard]] bool store(growable &buffer, const char *source, size_t length, zu_do_error **error) noexcept;

// Copies the characters from `start` up to, not including, `end`. An empty range is refused.
[[nodiscard]] bool copy_range(text *copy, const char *start, const char *end, zu_do_error **error) noexcept;

// The decimal number of a text, as strtol reads it, cut to 32 bits. An `end` of null means the text's end;
// only then may the text be empty.
[[nodiscard]] bool to_int32(const char *start, const char *end, int32_t *number,
                            zu_do_error **error) noexcept;

} // namespace tvr::loader
