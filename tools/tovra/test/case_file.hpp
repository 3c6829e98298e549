// A case: a folder with a file `args`. Each of its lines is a run of this program with an expected result.
#pragma once

#include <filesystem>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace tovra::test {

struct case_run {
  std::string name;
  int status = 0; // the expected one
  std::vector<std::string> arguments;
  std::string command_line; // the arguments as they are written in the file
};

struct golden_case {
  std::filesystem::path folder;
  std::set<std::string> without; // variations that may change the result of a render
  std::vector<case_run> runs;

  std::filesystem::path expected(const case_run &run, const char *ending) const {
    return folder / "expected" / (run.name + ending);
  }
};

// Thrown for a file of a case that cannot be used; what() begins with the place.
struct bad_case : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Throws bad_case.
golden_case read_case(const std::filesystem::path &folder);

// All variations, in the order in which they are made.
const std::vector<std::string> &variation_names();

} // namespace tovra::test
