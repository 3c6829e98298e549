// The golden cases as scenarios: every run of `tovra render` in a case, made in this process.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <stdexcept>

#include "device.hpp"

namespace fault {

namespace {

namespace fs = std::filesystem;

// Rows a fetch.
constexpr const char *whole = "0";
constexpr const char *batches = "2";

// Null for a run that does not render, or with wrong usage.
std::unique_ptr<asked> parse(std::istream &words) {
  static const std::set<std::string> with_value = {"--templates", "--data",     "--named",       "--config",
                                                   "--arg",       "--arg-json", "--fetch-count", "--trace"};
  static const std::set<std::string> flags = {"--defaults", "--tag-submodes", "--show-tech"};
  std::string word;
  if (!(words >> word) || word != "render") return nullptr;
  auto run = std::make_unique<asked>();
  while (words >> word) {
    if (flags.contains(word)) {
      run->given[word] = {""};
    } else if (with_value.contains(word)) {
      std::string value;
      words >> std::quoted(value, '\'');
      run->given[word].push_back(value);
    } else if (word.starts_with('-') || !run->node.empty()) {
      return nullptr;
    } else {
      run->node = word;
    }
  }
  return run;
}

struct golden_run {
  std::string name;
  bool clean; // nothing may go wrong
  std::unique_ptr<asked> options;
};

std::vector<golden_run> read_case(const fs::path &folder) {
  std::vector<golden_run> runs;
  std::ifstream lines(folder / "args");
  for (std::string line; std::getline(lines, line);) {
    const auto colon = line.find(": ");
    if (line.starts_with('#') || line.starts_with("vary:") || colon == std::string::npos) continue;
    std::istringstream words(line.substr(colon + 2));
    if (auto options = parse(words)) {
      const bool clean = line.find('[') > colon;
      runs.push_back({line.substr(0, std::min(colon, line.find('['))), clean, std::move(options)});
    }
  }
  return runs;
}

void anew(device &of, outcome &got) {
  of.reload(got);
  if (got.done) of.render(got);
}

void render_scenario(device &of, const golden_run &run, const std::string &name, const taker &take) {
  const auto render = [&of](outcome &got) { of.render(got); };
  const bool in_batches = run.options->first("--fetch-count") != whole;
  take({.name = name,
        .body = render,
        .kinds = of.all_kinds(),
        .in_batches = in_batches,
        .may_miss_rows = in_batches && of.read_ahead()});
}

// The render that shows which templates are loaded is not part of the body: no failure is injected into it.
void reload_scenario(device &of, const std::string &name, const taker &take) {
  const auto reload = [&of](outcome &got) { of.reload(got); };
  const auto show = [&of](outcome &got) {
    if (got.done) of.render(got);
  };
  const auto again = [&of](outcome &got) { anew(of, got); };
  take({.name = name + "/reload",
        .body = reload,
        .look = show,
        .again = again,
        .kinds = memory_kinds(),
        .loads = true});
}

// All at once, and in batches unless the run says how many rows a fetch gives.
void try_run(golden_run &run, const std::string &name, bool loads, const taker &take) {
  const bool given = run.options->has("--fetch-count");
  for (const char *rows : {whole, batches}) {
    if (!given) run.options->given["--fetch-count"] = {rows};
    device device(*run.options);
    if (!device.usable()) return;
    outcome plain;
    anew(device, plain);
    if (run.clean && !plain.clean()) throw std::runtime_error(name + ": fails as it is");
    if (loads && rows == whole) reload_scenario(device, name, take);
    outcome loaded;
    device.reload(loaded);
    if (loaded.done) render_scenario(device, run, name + (rows == whole ? "/render" : "/batches"), take);
    if (given || !loaded.done) return;
  }
}

void try_case(const std::string &case_name, const fs::path &folder, const taker &take) {
  fs::current_path(folder);
  std::set<std::string> loaded;
  for (golden_run &run : read_case(folder)) {
    const bool loads = loaded.insert(run.options->first("--templates")).second;
    try_run(run, case_name + run.name, loads, take);
  }
}

} // namespace

void each_case(const std::string &root, const std::string &prefix, const taker &take) {
  std::map<std::string, fs::path> cases;
  for (const fs::path &base : {fs::path(root) / "examples", fs::path(root) / "tests/golden"}) {
    for (const auto &entry : fs::recursive_directory_iterator(base)) {
      const fs::path folder = entry.path().parent_path();
      if (entry.path().filename() == "args") cases[folder.lexically_relative(base).string() + "/"] = folder;
    }
  }
  for (const auto &[name, folder] : cases) {
    if (name.starts_with(prefix) || prefix.starts_with(name)) try_case(name, folder, take);
  }
}

} // namespace fault
