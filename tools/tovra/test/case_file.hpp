// A case: a folder with a file `args`, a run of this program a line, and what each is expected to give.
#pragma once

#include <filesystem>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace tovra::test {

struct case_run {
  std::string name;
  int status = 0; // expected
  std::vector<std::string> arguments;
  std::string command_line; // the same as written
};

struct golden_case {
  std::filesystem::path folder;
  std::set<std::string> without; // variations that may change what a render gives
  std::vector<case_run> runs;

  std::filesystem::path expected(const case_run &run, const char *ending) const {
    return folder / "expected" / (run.name + ending);
  }
};

// A file of a case that cannot be used; what() begins with its place.
struct bad_case : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Throws bad_case.
golden_case read_case(const std::filesystem::path &folder);

// What may be varied, in the order in which it is.
const std::vector<std::string> &variation_names();

} // namespace tovra::test
