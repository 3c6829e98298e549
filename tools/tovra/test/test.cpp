// `tovra test`: the golden cases of a template team.
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <fstream>
#include <memory>
#include <mutex>
#include <thread>
#include <unistd.h>

#include "../commands.hpp"
#include "../output.hpp"
#include "../tools.hpp"
#include "junit.hpp"

namespace tovra {

namespace {

namespace fs = std::filesystem;

struct test_options {
  std::vector<std::string> folders;
  std::vector<std::string> vary;
  std::string junit;
  unsigned jobs = 0;
  test::how how{{}, false, false, 300};
};

struct job {
  const test::golden_case *of;
  const test::case_run *run; // none: the case itself is at fault
  test::result result;
};

// Folders with a file `args`, below those that were given, by name. Throws filesystem_error.
std::set<fs::path> find_cases(const std::vector<std::string> &folders) {
  std::set<fs::path> found;
  for (const auto &folder : folders) {
    if (fs::is_regular_file(fs::path(folder) / "args")) found.insert(fs::path(folder).lexically_normal());
    for (const auto &entry : fs::recursive_directory_iterator(folder)) {
      std::error_code none; // a link that leads nowhere is no file
      if (entry.path().filename() == "args" && entry.is_regular_file(none)) {
        found.insert(entry.path().parent_path().lexically_normal());
      }
    }
  }
  return found;
}

// Expected texts of runs that there are no longer.
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

// Cases, and the runs that they make; a case that cannot be read is a job that has failed.
class plan {
public:
  explicit plan(const std::set<fs::path> &folders) {
    for (const fs::path &folder : folders) {
      try {
        cases_.push_back(std::make_unique<test::golden_case>(test::read_case(folder)));
      } catch (const test::bad_case &wrong) {
        jobs.push_back({nullptr, nullptr, {folder, "args", {{std::string("  ") + wrong.what()}, {}, 0}}});
        continue;
      }
      const test::golden_case &of = *cases_.back();
      for (const auto &run : of.runs) jobs.push_back({&of, &run, {folder, run.name, {}}});
      if (auto faults = left_over(of); !faults.empty()) {
        jobs.push_back({nullptr, nullptr, {folder, "expected", {std::move(faults), {}, 0}}});
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

// Runs all on several threads; each is told when all before it are.
void run_all(std::vector<job> &jobs, const test::how &how, unsigned threads) {
  std::atomic<size_t> next = 0;
  std::mutex telling;
  std::vector<bool> ended(jobs.size());
  size_t told = 0;
  const auto work = [&] {
    for (size_t at = next++; at < jobs.size(); at = next++) {
      job &one = jobs[at];
      if (one.run != nullptr) one.result.found = test::judge(*one.of, *one.run, how);
      const std::lock_guard<std::mutex> alone(telling);
      ended[at] = true;
      for (; told < jobs.size() && ended[told]; ++told) tell(jobs[told]);
      std::fflush(stdout);
    }
  };
  std::vector<std::thread> others;
  others.reserve(threads);
  for (unsigned i = 1; i < threads; ++i) others.emplace_back(work);
  work();
  for (auto &other : others) other.join();
}

int write_junit(const std::string &path, const std::vector<job> &jobs) {
  std::vector<test::result> results;
  results.reserve(jobs.size());
  for (const job &one : jobs) results.push_back(one.result);
  std::ofstream file(path, std::ios::binary);
  file << test::as_junit(results);
  file.close();
  if (file) return done;
  say("tovra: " + path + " cannot be written");
  return failed;
}

int run_tests(test_options &asked) {
  for (const auto &name : asked.vary) {
    const auto &names = test::variation_names();
    if (name == "all") {
      asked.how.vary.insert(names.begin(), names.end());
    } else {
      asked.how.vary.insert(name);
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
  const unsigned jobs = asked.jobs > 0 ? asked.jobs : std::max(1U, std::thread::hardware_concurrency());
  run_all(all.jobs, asked.how, jobs);

  const auto failures = std::count_if(all.jobs.begin(), all.jobs.end(),
                                      [](const job &one) { return !one.result.found.faults.empty(); });
  const auto runs =
      std::count_if(all.jobs.begin(), all.jobs.end(), [](const job &one) { return one.run != nullptr; });
  std::printf("%td runs of %zu cases, %td failed\n", runs, folders.size(), failures);
  const bool told = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
  if (!told) say("tovra: standard output cannot be written");
  const int written = asked.junit.empty() ? done : write_junit(asked.junit, all.jobs);
  return told && failures == 0 ? written : failed;
}

} // namespace

tool add_test(CLI::App &app) {
  const auto asked = std::make_shared<test_options>();
  auto *command =
      app.add_subcommand("test", "Run golden cases: templates, data, and the text that they must give");
  command->footer(
      "A case is a folder with a file 'args': a run of this program a line, 'NAME: ARGUMENTS', and with\n"
      "'NAME[STATUS]: ARGUMENTS' the exit status that it must have. It runs in the folder;\n"
      "expected/NAME.txt is what it must write to standard output, expected/NAME.err to standard\n"
      "error. The exit status is 1 when a run failed. docs/testing.md tells more.");
  command->add_option("dir", asked->folders, "Folders that are searched for cases")
      ->type_name("DIR")
      ->required();
  command->add_flag("--update", asked->how.update,
                    "Write what runs give as what they must give, and show the difference");
  std::vector<std::string> names = test::variation_names();
  names.emplace_back("all");
  command
      ->add_option("--vary", asked->vary,
                   "Repeat renders in ways that must change nothing: again, locale, order (of template "
                   "files), trace, fetch (counts), yaml, sqlite (as the data), or all")
      ->type_name("WHAT[,WHAT...]")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->check(CLI::IsMember(names));
  command->add_option("--jobs", asked->jobs, "Runs at the same time (default: one a processor)")
      ->type_name("N")
      ->check(CLI::Range(1, 1024));
  command->add_option("--junit", asked->junit, "Write the results as JUnit XML too")->type_name("FILE");
  command->add_option("--timeout", asked->how.seconds, "Seconds that a run may take (default: 300)")
      ->type_name("SECONDS")
      ->check(CLI::Range(1, 100000));
  return {command, [asked] { return run_tests(*asked); }};
}

} // namespace tovra
