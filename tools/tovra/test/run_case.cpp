// Compares standard output, standard error and exit status of a run with the expected ones. Then makes the
// variations, which must change none of them.
#include "run_case.hpp"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <stdexcept>
#include <unistd.h>

#include "../diff/text_diff.hpp"
#include "../output.hpp"
#include "../output_file.hpp"
#include "../process.hpp"

namespace tovra::test {

namespace {

namespace fs = std::filesystem;
using lines = std::vector<std::string>;

struct outcome {
  int status = 0;
  std::string output, error;
  bool operator==(const outcome &) const = default;
};

class scratch_folder {
public:
  scratch_folder() {
    std::string name = (fs::temp_directory_path() / "tovra-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr)
      throw fs::filesystem_error("mkdtemp", name, std::error_code(errno, std::generic_category()));
    path = name;
  }
  ~scratch_folder() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
  }
  scratch_folder(const scratch_folder &) = delete;
  scratch_folder &operator=(const scratch_folder &) = delete;

  fs::path path;
};

std::string content(const fs::path &path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// Adds the lines of a difference with control characters made visible, as failed output may contain any
// bytes.
void add_difference(lines &faults, const char *what, const std::string &wanted, const std::string &got,
                    bool colour) {
  faults.push_back(std::string("  ") + what + ":");
  const std::string told = diff::unified(wanted, got, "wanted", "got", {});
  for (size_t at = 0; at < told.size();) {
    const size_t end = told.find('\n', at);
    const char *mark = !colour ? "" : told[at] == '-' ? "\033[31m" : told[at] == '+' ? "\033[32m" : "";
    faults.push_back("    " + std::string(mark) + visible(std::string_view(told).substr(at, end - at)) +
                     (*mark != '\0' ? "\033[m" : ""));
    at = end + 1;
  }
}

lines compare(const outcome &wanted, const outcome &got, bool colour) {
  lines faults;
  if (got.status != wanted.status) {
    faults.push_back("  exit status " + std::to_string(got.status) + ", wanted " +
                     std::to_string(wanted.status));
  }
  if (got.output != wanted.output)
    add_difference(faults, "standard output", wanted.output, got.output, colour);
  if (got.error != wanted.error) add_difference(faults, "standard error", wanted.error, got.error, colour);
  return faults;
}

// An empty text has no file.
void keep(const fs::path &path, const std::string &text) {
  if (text.empty()) {
    fs::remove(path);
    return;
  }
  fs::create_directories(path.parent_path());
  if (const auto why = write_file(path, text); !why.empty()) throw std::runtime_error(why);
}

class one_run {
public:
  one_run(const golden_case &of, const case_run &run, const how &asked) : of_(of), run_(run), asked_(asked) {}

  verdict judge() {
    const outcome got = make(run_.arguments);
    const fs::path output = of_.expected(run_, ".txt"), error = of_.expected(run_, ".err");
    lines &faults = made_.faults;
    if (!faults.empty()) return std::move(made_); // it did not end, or could not be started
    const outcome wanted{run_.status, content(output), content(error)};
    faults = compare(wanted, got, asked_.colour);
    if (asked_.update && !faults.empty() && got.status == run_.status) {
      keep(output, got.output);
      keep(error, got.error);
      made_.notes = std::move(faults);
      faults.clear();
    }
    if (run_.arguments.front() == "render" && faults.empty()) vary(got);
    return std::move(made_);
  }

private:
  outcome make(const std::vector<std::string> &arguments, const char *locale = "C") {
    process_request asked{arguments, of_.folder, {{"LC_ALL", locale}}, false, asked_.seconds};
    if (std::string_view(locale) != "C") asked.environment.emplace_back("LANG", "de_DE.UTF-8");
    process_outcome got = run_self(asked);
    if (!got.started) made_.faults.push_back("  " + got.error);
    if (got.timed_out)
      made_.faults.push_back("  did not end in " + std::to_string(asked_.seconds) + " seconds");
    return {got.status, std::move(got.output), std::move(got.error)};
  }

  std::vector<std::string> with(std::initializer_list<std::string> more) const {
    std::vector<std::string> all = run_.arguments;
    all.insert(all.end(), more);
    return all;
  }

  bool has(const char *option) const {
    const auto &given = run_.arguments;
    return std::find(given.begin(), given.end(), option) != given.end();
  }

  void hold(const outcome &plain, const std::string &varied, const outcome &got) {
    if (got == plain) return;
    made_.faults.push_back("  " + varied + ":");
    for (auto &fault : compare(plain, got, asked_.colour)) made_.faults.push_back("  " + fault);
  }

  bool wanted(const char *variation) const {
    return asked_.vary.contains(variation) && !of_.without.contains(variation);
  }

  void vary(const outcome &plain) {
    if (wanted("again")) hold(plain, "again", make(run_.arguments));
    if (wanted("locale")) hold(plain, "another locale", make(run_.arguments, "C.UTF-8"));
    if (wanted("order")) vary_order(plain);
    if (wanted("trace") && !has("--trace")) {
      hold(plain, "with every trace", without_traces(make(with({"--trace", "7"}))));
    }
    for (const char *kind : {"yaml", "sqlite", "redis"}) {
      if (wanted(kind) && !has("--stats")) vary_data(plain, kind);
    }
    for (const char *count : {"1", "2", "3"}) {
      if (!wanted("fetch") || has("--fetch-count")) break;
      hold(plain, std::string("--fetch-count ") + count, make(with({"--fetch-count", count})));
    }
  }

  // Repeats the run with the same data in another form. A data file that is refused is used unchanged.
  void vary_data(const outcome &plain, const std::string &kind) {
    const scratch_folder scratch;
    std::vector<std::string> arguments = run_.arguments;
    bool any = false;
    for (size_t i = 1; i < arguments.size(); ++i) {
      const bool named = arguments[i - 1] == "--named";
      if (!named && arguments[i - 1] != "--data") continue;
      const size_t start = named ? arguments[i].find('=') + 1 : 0;
      const std::string file = arguments[i].substr(start);
      const std::string made = place_of(kind, scratch.path / std::to_string(i));
      const bool done = file != "-" && made_from(file, made, kind).status == 0;
      if (done) arguments[i].replace(start, file.npos, made);
      any = any || done;
    }
    if (any) hold(plain, "data from " + kind, make(arguments));
  }
  // The name of a data file in the other form; `fresh` is the path of a file that does not exist.
  static std::string place_of(const std::string &kind, const fs::path &fresh) {
    if (kind == "yaml") return fresh.string() + ".yaml";
    if (kind == "sqlite") return "sqlite:" + fresh.string();
    const char *given = std::getenv(test_server); // known to be set
    const std::string server = given != nullptr ? given : "";
    return server + (server.find('?') == server.npos ? "?" : "&") +
           "prefix=" + fresh.parent_path().filename().string() + "." + fresh.filename().string();
  }
  outcome made_from(const std::string &file, const std::string &made, const std::string &kind) {
    std::vector<std::string> words{"import", file, made, "--device", "d"};
    if (kind == "yaml") words = {"export", file, "--format", kind, "--output", made};
    for (size_t i = 1; i + 1 < run_.arguments.size(); ++i) {
      if (!run_.arguments[i].starts_with("--yang-")) continue;
      words.insert(words.end(), {run_.arguments[i], run_.arguments[i + 1]});
    }
    return make(words);
  }

  static outcome without_traces(outcome got) {
    std::string kept;
    for (size_t at = 0; at < got.error.size();) {
      const size_t end = std::min(got.error.find('\n', at), got.error.size() - 1) + 1;
      const std::string line = got.error.substr(at, end - at);
      if (!line.starts_with("zu_tovra[")) kept += line;
      at = end;
    }
    got.error = std::move(kept);
    return got;
  }

  // Repeats the run with a copy of the templates whose file names sort in reverse order.
  void vary_order(const outcome &plain) {
    std::vector<std::string> arguments = run_.arguments;
    const auto option = std::find(arguments.begin(), arguments.end(), "--templates");
    const auto option_value = option != arguments.end() ? option + 1 : option;
    if (option_value == arguments.end() || option_value->find(':') != std::string::npos) return;
    const scratch_folder scratch;
    std::set<fs::path, std::greater<>> files;
    for (const auto &entry : fs::directory_iterator(of_.folder / *option_value)) {
      if (entry.path().extension() == ".tvr") files.insert(entry.path());
    }
    const std::string given = *option_value;
    std::map<std::string, std::string> originals; // by path of the copy
    for (const fs::path &file : files) {
      const fs::path copy = scratch.path / (std::to_string(1000 + originals.size()) + ".tvr");
      fs::copy_file(file, copy);
      originals[copy.string()] = given + "/" + file.filename().string();
    }
    *option_value = scratch.path.string();
    outcome got = make(arguments);
    for (const auto &[copy, original] : originals) { // in the places of errors
      for (size_t at = 0; (at = got.error.find(copy, at)) != got.error.npos;) {
        got.error.replace(at, copy.size(), original);
      }
    }
    hold(plain, "template files in another order", got);
  }

  const golden_case &of_;
  const case_run &run_;
  const how &asked_;
  verdict made_;
};

} // namespace

verdict judge(const golden_case &of, const case_run &run, const how &asked) {
  using clock = std::chrono::steady_clock;
  const auto start = clock::now();
  verdict made;
  try {
    made = one_run(of, run, asked).judge();
  } catch (const std::exception &wrong) {
    made.faults = {std::string("  ") + wrong.what()};
  }
  made.seconds = std::chrono::duration<double>(clock::now() - start).count();
  return made;
}

} // namespace tovra::test
