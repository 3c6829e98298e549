// Small functions for texts.
#pragma once

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <string>
#include <string_view>

namespace infra {

// The white space of the C locale. It includes CR, because a
// template line of a file with CR LF line ends keeps its CR.
inline bool is_blank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

inline std::string_view trimmed(std::string_view text) {
  while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
  while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
  return text;
}

// The start of a text, at most `longest` bytes, that does not end within a character.
inline std::string_view start_of(std::string_view text, size_t longest) {
  size_t length = std::min(text.size(), longest);
  const auto inside = [text](size_t at) { return (static_cast<unsigned char>(text[at]) & 0xc0) == 0x80; };
  while (length < text.size() && length > 0 && inside(length)) --length;
  return text.substr(0, length);
}

// A place in a text.
struct place {
  size_t line;   // from 1
  size_t column; // from 1, in bytes
};

// A control byte as shown on a terminal, where it could move the cursor: `\xHH`, four bytes.
inline constexpr char hex_digits[] = "0123456789ABCDEF";
inline bool is_control(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}
inline char *put_escaped(char *at, char c) {
  const auto byte = static_cast<unsigned char>(c);
  for (const char shown : {'\\', 'x', hex_digits[byte >> 4], hex_digits[byte & 15]}) *at++ = shown;
  return at;
}

// Appends a text as a string of JSON.
void put_quoted(std::string &json, std::string_view text);

// A new formatted text, charged to the library's area: its length, or a negative result and null in `*text`.
int print_new(char **text, const char *format, va_list arguments) __attribute__((format(printf, 2, 0)));

} // namespace infra
