// What the programs measure of themselves.
#pragma once

#include <time.h>

#include <cstdio>
#include <cstring>

namespace bench {

// Processor time of this program: nothing in it waits, and what else the machine does counts least this way.
inline long long nanoseconds() {
  timespec now = {};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return now.tv_sec * 1'000'000'000LL + now.tv_nsec;
}

// Peak memory of this program alone: what getrusage tells holds that of the process it was forked from too.
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
