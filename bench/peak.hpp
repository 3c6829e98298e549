// The peak memory of this program alone: what getrusage tells holds that of the process it was forked from
// too.
#pragma once

#include <cstdio>
#include <cstring>

namespace bench {

inline long peak_kib() {
  long peak = 0;
  std::FILE *status = std::fopen("/proc/self/status", "r");
  if (status == nullptr) return peak;
  char line[256];
  while (std::fgets(line, sizeof line, status) != nullptr && std::sscanf(line, "VmHWM: %ld", &peak) != 1) {
  }
  std::fclose(status);
  return peak;
}

} // namespace bench
