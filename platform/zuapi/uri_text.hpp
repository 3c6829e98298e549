// Common parts of the URI sources: writing canonical text, and the segments, which are made on demand.
#pragma once

#include "zuapi/objects.hpp"

namespace zuapi {

// Writes the canonical text of a scan: scan.length bytes and a NUL.
void uri_write_text(char *at, const uri_scan &scan);
// Writes one byte of a value in key form; returns the end.
inline char *put_key_byte(char *at, char byte) {
  if (byte_is(byte, byte_plain)) {
    *at++ = byte;
    return at;
  }
  const auto code = static_cast<uint8_t>(byte);
  for (const char c : {'%', hex_digits[code >> 4], hex_digits[code & 15]}) *at++ = c;
  return at;
}

void uri_segments_free(uri_segments *segments); // null is ignored

// The one segment of the absolute root of a relative URI.
inline constexpr std::string_view given_location = "locations;loc=0";

} // namespace zuapi
