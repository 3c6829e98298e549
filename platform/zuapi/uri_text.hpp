// What the URI sources share: writing canonical text, and the lazily made segments.
#pragma once

#include "zuapi/objects.hpp"

namespace zuapi {

// Writes the canonical text of a scan: scan.length bytes and a NUL.
void uri_write_text(char *at, const uri_scan &scan);
// Writes one byte of a value in key form; gives the end.
inline char *put_key_byte(char *at, char byte) {
  if (byte_is(byte, byte_plain)) {
    *at++ = byte;
    return at;
  }
  const auto code = static_cast<uint8_t>(byte);
  for (const char c : {'%', hex_digits[code >> 4], hex_digits[code & 15]}) *at++ = c;
  return at;
}

void uri_segments_free(uri_segments *segments); // none is ignored

// The one segment of the absolute root of a relative URI.
inline constexpr std::string_view given_location = "locations;loc=0";

} // namespace zuapi
