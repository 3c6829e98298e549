// What the programs measure about themselves.
#pragma once

#include <time.h>

#include <cstdio>
#include <cstring>

namespace bench {

// The processor time of this program. It never waits, so this is its speed with the least influence of other
// programs.
inline long long nanoseconds() {
  timespec now = {};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return now.tv_sec * 1'000'000'000LL + now.tv_nsec;
}

// The peak memory of this program alone. getrusage would include that of the process from which it was
// forked.
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
