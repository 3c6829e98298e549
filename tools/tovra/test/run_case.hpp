// One run of a case: made, compared with what is expected, and made again in other ways.
#pragma once

#include "case_file.hpp"

namespace tovra::test {

// Of the environment: a server where devices are put to be rendered from there. They stay.
inline constexpr const char *test_server = "ZU_TVR_TEST_REDIS";

struct how {
  std::set<std::string> vary; // names of variations
  bool update = false;
  bool colour = false;
  int seconds = 0; // a run may take
};

struct verdict {
  std::vector<std::string> faults; // lines; none: passed
  std::vector<std::string> notes;  // what was updated
  double seconds = 0;
};

verdict judge(const golden_case &of, const case_run &run, const how &asked);

} // namespace tovra::test
