// The results of a test run, in the format that build servers read.
#pragma once

#include <string>
#include <vector>

#include "run_case.hpp"

namespace tovra::test {

struct result {
  std::string folder, name;
  verdict found;
};

std::string as_junit(const std::vector<result> &results);

} // namespace tovra::test
