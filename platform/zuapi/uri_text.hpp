// What the URI sources share: writing canonical text, and the lazily made segments.
#pragma once

#include "zuapi/layout.hpp"

namespace zuapi {

// Writes the canonical text of a scan: scan.length bytes and a NUL.
void uri_write_text(char *at, const uri_scan &scan);
// Writes one byte of a value in key form; gives the end.
char *put_key_byte(char *at, char byte);

void uri_segments_free(uri_segments *segments); // none is ignored

// The one segment of the absolute root of a relative URI.
inline constexpr std::string_view given_location = "locations;loc=0";

} // namespace zuapi
