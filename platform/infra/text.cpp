// Formatted texts, and texts as strings of JSON.
#include "infra/text.hpp"

#include <cstdio>
#include <cstring>

#include "qmalloc/qmalloc.h"

namespace infra {

void put_quoted(std::string &json, std::string_view text) {
  json += '"';
  for (const char c : text) {
    if (is_control(c)) {
      const auto byte = static_cast<unsigned char>(c);
      json.append("\\u00").append({hex_digits[byte >> 4], hex_digits[byte & 15]});
    } else {
      if (c == '"' || c == '\\') json += '\\';
      json += c;
    }
  }
  json += '"';
}

int print_new(char **text, const char *format, va_list arguments) {
  constexpr uint32_t callers_area = 0x2800000u;
  char small[256];
  va_list again;
  va_copy(again, arguments);
  const int length = vsnprintf(small, sizeof small, format, arguments);
  const size_t size = static_cast<size_t>(length) + 1;
  *text = length < 0 ? nullptr : static_cast<char *>(qmalloc_named(callers_area, size));
  if (*text != nullptr && size <= sizeof small) memcpy(*text, small, size);
  if (*text != nullptr && size > sizeof small) vsnprintf(*text, size, format, again);
  va_end(again);
  return *text == nullptr ? -1 : length;
}

} // namespace infra
