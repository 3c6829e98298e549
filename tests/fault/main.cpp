// tovra_fault [--all] [--seed N] [SCENARIO [N]]: makes loads and renders fail at every place, or at one.
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

#include "driver.hpp"
#include "zu_tovra/zu_tovra.h"

namespace {

int usage() {
  std::cerr
      << "tovra_fault ROOT [--all] [--seed N] [SCENARIO [N]]\n"
         "  SCENARIO  where its name begins: GROUP/CASE/RUN/WHAT/FAILURE, or less of it; N: one place of it\n"
         "  --all     every place, where otherwise a sample is taken of many; --seed takes another one\n";
  return 2;
}

} // namespace

int main(int argc, char **argv) {
  fault::settings how;
  std::string scenario;
  if (argc < 2) return usage();
  const std::string root = argv[1];
  for (int i = 2; i < argc; ++i) {
    const std::string word = argv[i];
    if (word == "--all") {
      how.work = 0;
    } else if (word == "--seed" && i + 1 < argc) {
      how.seed = std::strtoull(argv[++i], nullptr, 10);
    } else if (word.starts_with('-')) {
      return usage();
    } else if (scenario.empty()) {
      scenario = word;
    } else {
      how.only = std::strtoll(word.c_str(), nullptr, 10);
    }
  }
  if (!zu_tovra_init() || zu_tovra_trace_init() != 0) return 1;

  const auto begins = [&](const std::string &name) { return name.starts_with(scenario); };
  fault::totals sum;
  try {
    const fault::taker take = [&](const fault::scenario &tried) { sum += fault::run(tried, how, begins); };
    fault::each_constructor(take);
    fault::each_case(root, scenario, take);
  } catch (const std::exception &wrong) {
    std::cout << wrong.what() << "\n";
    return 1;
  }
  zu_tovra_stop();
  std::cout << sum.failed << " of " << sum.places << " places made to fail (seed " << how.seed << "), "
            << sum.wrong << " wrong\n";
  return sum.wrong == 0 && sum.failed > 0 ? 0 : 1;
}
