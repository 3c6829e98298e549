// Makes one run of a case, compares it with the expected results, and repeats it in other ways.
#pragma once

#include "case_file.hpp"

namespace tovra::test {

// The environment variable with a server to which devices are written, to be rendered from there. They are
// not removed.
inline constexpr const char *test_server = "ZU_TVR_TEST_REDIS";

struct how {
  std::set<std::string> vary; // names of variations
  bool update = false;
  bool colour = false;
  int seconds = 0; // that a run may take
};

struct verdict {
  std::vector<std::string> faults; // lines; empty: passed
  std::vector<std::string> notes;  // about updated files
  double seconds = 0;
};

verdict judge(const golden_case &of, const case_run &run, const how &asked);

} // namespace tovra::test
