// Finds what the renders of a case cover.
#include "cover_case.hpp"

#include "../data_file.hpp"
#include "../process.hpp"

namespace tovra::test {

namespace {

namespace fs = std::filesystem;

// The arguments, without the options that only `render` has.
std::vector<std::string> coverage_arguments(const std::vector<std::string> &render) {
  std::vector<std::string> made{"coverage", "--format=json"};
  for (size_t i = 1; i < render.size(); ++i) {
    const std::string &word = render[i];
    if (word == "--trace" || word == "--output") ++i;
    if (word == "--stats" || word.starts_with("--trace") || word.starts_with("--output")) continue;
    made.push_back(word);
  }
  return made;
}

} // namespace

coverage::report cover(const golden_case &of, const case_run &run, int seconds) {
  if (run.arguments.front() != "render") return {};
  process_request asked;
  asked.arguments = coverage_arguments(run.arguments);
  asked.folder = of.folder;
  asked.seconds = seconds;
  const process_outcome made = run_self(asked);
  if (!made.started || made.timed_out || (made.status != run.status && made.status != done)) {
    throw std::runtime_error("coverage is not known: " +
                             (made.timed_out ? std::string("it takes too long") : made.error));
  }
  if (made.output.empty()) return {}; // nothing is rendered, as expected
  coverage::report covered = coverage::from_json(made.output);
  const fs::path here = fs::current_path();
  covered.rename([&](const std::string &name) {
    const std::vector<std::string> files = data_files(name);
    if (files.empty()) return name;
    const fs::path whole = fs::weakly_canonical(of.folder / files.front());
    const fs::path below = whole.lexically_relative(here);
    std::string shown = name;
    return shown.replace(name.find(files.front()), files.front().size(),
                         (below.empty() || *below.begin() == ".." ? whole : below).string());
  });
  return covered;
}

} // namespace tovra::test
