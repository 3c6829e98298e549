// What unit tests share: the traces of a stretch of code, and the area counters around it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace test {

// Collects every trace up to a level while it lives, as "L message".
class trace_log {
public:
  explicit trace_log(int level = 4);
  ~trace_log();
  trace_log(const trace_log &) = delete;
  trace_log &operator=(const trace_log &) = delete;

  const std::vector<std::string> &lines() const { return lines_; }
  bool has(std::string_view message) const; // a message that is exactly this, of any level
  int count(std::string_view part) const;   // messages that hold this part
  std::string text() const;                 // all lines, one a row, for a failure message
  void clear() { lines_.clear(); }

private:
  static void take(void *self, int level, const char *message);
  std::vector<std::string> lines_;
};

// The live blocks and bytes of the library's and the data objects' areas must be the same at the end of its
// life as at its start; a difference fails the running test.
class balanced_memory {
public:
  balanced_memory();
  ~balanced_memory();
  balanced_memory(const balanced_memory &) = delete;
  balanced_memory &operator=(const balanced_memory &) = delete;

private:
  int64_t blocks_[2];
  int64_t bytes_[2];
};

} // namespace test
