// `tovra test`: runs the golden cases of a template team.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <mutex>
#include <unistd.h>

#include "../commands.hpp"
#include "../output.hpp"
#include "../parallel.hpp"
#include "../tools.hpp"
#include "cover_case.hpp"
#include "junit.hpp"
#include "store/store.h"

namespace tovra {

namespace {

namespace fs = std::filesystem;

struct test_options {
  std::vector<std::string> folders;
  std::vector<std::string> vary;
  std::string junit;
  unsigned jobs = 0;
  std::vector<std::string> coverage; // FORMAT or FORMAT:FILE
  coverage::limits limits;
  test::how how{{}, false, false, 300};
};

struct job {
  const test::golden_case *of;
  const test::case_run *run; // null: the case itself is wrong
  test::result result;
  coverage::report covered;
};

// Folders that have a file `args`, at any depth below the given ones, by name. Throws filesystem_error.
std::set<fs::path> find_cases(const std::vector<std::string> &folders) {
  std::set<fs::path> found;
  for (const auto &folder : folders) {
    if (fs::is_regular_file(fs::path(folder) / "args")) found.insert(fs::path(folder).lexically_normal());
    for (const auto &entry : fs::recursive_directory_iterator(folder)) {
      std::error_code none; // a link to nothing is not a file
      if (entry.path().filename() == "args" && entry.is_regular_file(none)) {
        found.insert(entry.path().parent_path().lexically_normal());
      }
    }
  }
  return found;
}

// Finds files of expected texts whose run does not exist any more.
std::vector<std::string> left_over(const test::golden_case &of) {
  std::vector<std::string> faults;
  std::error_code none;
  for (const auto &entry : fs::directory_iterator(of.folder / "expected", none)) {
    const std::string ending = entry.path().extension();
    const bool belongs = std::any_of(of.runs.begin(), of.runs.end(), [&](const test::case_run &run) {
      return run.name == entry.path().stem() && (ending == ".txt" || ending == ".err");
    });
    if (!belongs) faults.push_back("  " + entry.path().filename().string() + " belongs to no run");
  }
  std::sort(faults.begin(), faults.end());
  return faults;
}

// The cases, and the runs that they make. A case that cannot be read counts as a job that failed.
class plan {
public:
  explicit plan(const std::set<fs::path> &folders) {
    for (const fs::path &folder : folders) {
      try {
        cases_.push_back(std::make_unique<test::golden_case>(test::read_case(folder)));
      } catch (const test::bad_case &wrong) {
        jobs.push_back({nullptr, nullptr, {folder, "args", {{std::string("  ") + wrong.what()}, {}, 0}}, {}});
        continue;
      }
      const test::golden_case &of = *cases_.back();
      for (const auto &run : of.runs) jobs.push_back({&of, &run, {folder, run.name, {}}, {}});
      if (auto faults = left_over(of); !faults.empty()) {
        jobs.push_back({nullptr, nullptr, {folder, "expected", {std::move(faults), {}, 0}}, {}});
      }
    }
  }

  std::vector<job> jobs;

private:
  std::vector<std::unique_ptr<test::golden_case>> cases_;
};

void tell(const job &one) {
  const auto &[folder, name, found] = one.result;
  if (found.faults.empty() && found.notes.empty()) return;
  const char *what = found.faults.empty() ? "updated" : "failed";
  std::printf("%s %s: %s", visible(folder).c_str(), name.c_str(), what);
  std::printf(one.run != nullptr ? ": tovra %s\n" : "\n",
              one.run != nullptr ? visible(one.run->command_line).c_str() : "");
  for (const auto &lines : {found.notes, found.faults}) {
    for (const auto &line : lines) std::printf("%s\n", line.c_str());
  }
}

void cover(job &one, int seconds) {
  try {
    one.covered = test::cover(*one.of, *one.run, seconds);
  } catch (const std::exception &wrong) {
    one.result.found.faults.push_back(std::string("  ") + wrong.what());
  }
}

// Runs all jobs on several threads. Results are shown in the order of the jobs, each as soon as all before it
// are shown.
void run_all(std::vector<job> &jobs, const test_options &asked) {
  std::mutex telling;
  std::vector<bool> ended(jobs.size());
  size_t told = 0;
  in_parallel(jobs.size(), asked.jobs > 0 ? asked.jobs : processors(), [&](size_t at) {
    job &one = jobs[at];
    if (one.run != nullptr) {
      one.result.found = test::judge(*one.of, *one.run, asked.how);
      if (!asked.coverage.empty()) cover(one, asked.how.seconds);
    }
    const std::lock_guard<std::mutex> alone(telling);
    ended[at] = true;
    for (; told < jobs.size() && ended[told]; ++told) tell(jobs[told]);
    std::fflush(stdout);
  });
}

bool write_text(const std::string &path, const std::string &text) {
  std::ofstream file(path, std::ios::binary);
  file << text;
  file.close();
  if (!file) say("tovra: " + path + " cannot be written");
  return !file.fail();
}

bool write_junit(const std::string &path, const std::vector<job> &jobs) {
  std::vector<test::result> results;
  results.reserve(jobs.size());
  for (const job &one : jobs) results.push_back(one.result);
  return write_text(path, test::as_junit(results));
}

// Writes each form of coverage to its file, or after the results. False: a file cannot be written, or too
// little is covered.
bool tell_coverage(std::vector<job> &jobs, const test_options &asked) {
  if (asked.coverage.empty()) return true;
  coverage::report all;
  for (job &one : jobs) all.add(std::move(one.covered));
  std::fflush(stdout); // the results come before messages about files
  bool good = true;
  for (const std::string &way : asked.coverage) {
    const size_t colon = way.find(':');
    const std::string text = coverage::as_text(all, coverage::forms().at(way.substr(0, colon)));
    if (colon == way.npos) {
      std::printf("\n%s", text.c_str());
      std::fflush(stdout);
    } else {
      good = write_text(way.substr(colon + 1), text) && good;
    }
  }
  return coverage::is_enough(all, asked.limits) && good;
}

// Why a FORMAT or FORMAT:FILE is wrong; empty when it is right.
std::string fault_of(const std::string &way) {
  const size_t colon = way.find(':');
  if (!coverage::forms().contains(way.substr(0, colon))) return "no format is '" + way.substr(0, colon) + "'";
  return colon == way.size() - 1 ? "it names no file" : "";
}

// Why a variation cannot be made; empty when it can.
std::string fault_of_variation(const std::string &name) {
  const bool is_source = name == "yaml" || name == "sqlite" || name == "redis";
  if (is_source && !zu_store_has(name.c_str())) return "this program was built without it";
  if (name != "redis" || std::getenv(test::test_server) != nullptr) return "";
  return std::string(test::test_server) + " must name a server, redis://HOST/DB";
}

int run_tests(test_options &asked) {
  for (const auto &asked_for : asked.vary) {
    const bool all = asked_for == "all"; // all that can be made
    for (const auto &name : all ? test::variation_names() : std::vector<std::string>{asked_for}) {
      const std::string fault = fault_of_variation(name);
      if (fault.empty()) {
        asked.how.vary.insert(name);
      } else if (!all) {
        say("tovra: --vary " + name + ": " + fault);
        return failed;
      }
    }
  }
  asked.how.colour = is_colored(STDOUT_FILENO);
  std::set<fs::path> folders;
  try {
    folders = find_cases(asked.folders);
  } catch (const fs::filesystem_error &wrong) {
    say("tovra: " + wrong.path1().string() + ": " + wrong.code().message());
    return failed;
  }
  if (folders.empty()) {
    say("tovra: no case, which is a folder with a file 'args'");
    return failed;
  }
  plan all(folders);
  run_all(all.jobs, asked);

  const auto failures = std::count_if(all.jobs.begin(), all.jobs.end(),
                                      [](const job &one) { return !one.result.found.faults.empty(); });
  const auto runs =
      std::count_if(all.jobs.begin(), all.jobs.end(), [](const job &one) { return one.run != nullptr; });
  std::printf("%td runs of %zu cases, %td failed\n", runs, folders.size(), failures);
  const bool covered = tell_coverage(all.jobs, asked);
  const bool told = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
  if (!told) say("tovra: standard output cannot be written");
  const bool written = asked.junit.empty() || write_junit(asked.junit, all.jobs);
  return told && written && covered && failures == 0 ? done : failed;
}

} // namespace

tool add_test(CLI::App &app) {
  const auto asked = std::make_shared<test_options>();
  command made(app, "test", "Run golden cases: templates, data, and the text that they must give");
  made.footer("A case is a folder with a file 'args': each line is a run of this program, 'NAME: ARGUMENTS', "
              "and with\n"
              "'NAME[STATUS]: ARGUMENTS' the exit status that it must have. It runs in the folder;\n"
              "expected/NAME.txt is what it must write to standard output, expected/NAME.err to standard\n"
              "error. The exit status is 1 when a run failed. docs/testing.md says more.");
  made.add("dir", asked->folders, "Folders that are searched for cases").type("DIR").required();
  made.flag("--update", asked->how.update,
            "Write the output of the runs as the expected output, and show the difference");
  std::vector<std::string> names = test::variation_names();
  names.emplace_back("all");
  made.add("--vary", asked->vary,
           "Repeat renders in ways that must change nothing: again, locale, order (of template "
           "files), trace, fetch (counts), yaml, sqlite, redis (as the data), or all")
      .type("WHAT[,WHAT...]")
      .separated()
      .among(names);
  made.add("--jobs", asked->jobs, "Runs at the same time (default: one for each processor)")
      .type("N")
      .between(1, 1024);
  made.add("--junit", asked->junit, "Write the results as JUnit XML too").type("FILE");
  option covered =
      made.flag("--coverage{text}", asked->coverage,
                "Say too what the renders of all cases cover: text (default), json or lcov; repeatable")
          .type("[=FORMAT[:FILE]]")
          .check(fault_of);
  for (option &limit : coverage::add_limits(made, asked->limits)) limit.needs(covered);
  made.add("--timeout", asked->how.seconds, "Seconds that a run may take (default: 300)")
      .type("SECONDS")
      .between(1, 100000);
  return {made.get(), [asked] { return run_tests(*asked); }};
}

} // namespace tovra
