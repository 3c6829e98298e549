// Work on several threads.
#pragma once

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

namespace tovra {

inline unsigned processors() {
  return std::max(1U, std::thread::hardware_concurrency());
}

// Calls `work` with every number below `count`, on at most `threads` threads. Each thread takes the next
// number when it is free, because some devices take much longer than others.
template <class Work>
void in_parallel(size_t count, unsigned threads, Work &&work) {
  std::atomic<size_t> next = 0;
  const auto take = [&] {
    for (size_t at = next++; at < count; at = next++) work(at);
  };
  std::vector<std::thread> others;
  for (size_t i = 1; i < std::min<size_t>(threads, count); ++i) others.emplace_back(take);
  take();
  for (auto &other : others) other.join();
}

} // namespace tovra
