// The data file of each workload, written to standard output.
#pragma once

#include "edge.hpp"
#include "router.hpp"

namespace bench {

void write(const router &router);

// The text as a key in a URI. Of all characters that need encoding, the names here have only the slash.
inline std::string key(const std::string &text) {
  std::string coded;
  for (const char byte : text) byte == '/' ? coded += "%2F" : coded += byte;
  return coded;
}

} // namespace bench

namespace bench::edge {

void write(const device &device);

} // namespace bench::edge
