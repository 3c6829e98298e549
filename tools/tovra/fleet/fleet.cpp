// `tovra fleet`: all devices of a source, rendered on several threads.
#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fnmatch.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>

#include "../check/nearest.hpp"
#include "../command_line.hpp"
#include "../output.hpp"
#include "../output_file.hpp"
#include "../parallel.hpp"
#include "../progress.hpp"
#include "../tools.hpp"
#include "../value_json.hpp"
#include "render_device.hpp"

namespace tovra {

namespace {

namespace fs = std::filesystem;
using fleet::device;
using fleet::outcome;

struct fleet_options {
  options render; // of each device, but for its data
  std::string folder;
  std::vector<std::string> patterns; // of the devices that are rendered; none: all
  unsigned jobs = 0;
  bool remove = false;
  bool json = false;
};

bool is_asked(const std::string &name, const std::vector<std::string> &patterns) {
  return patterns.empty() || std::any_of(patterns.begin(), patterns.end(), [&](const std::string &pattern) {
           return fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
         });
}

// Those that are asked for; none when a pattern fits no device, which is said.
std::optional<std::vector<device>> asked_of(const std::vector<device> &all, const fleet_options &asked) {
  for (const std::string &pattern : asked.patterns) {
    std::set<std::string> names;
    for (const device &one : all) names.insert(one.name);
    if (std::any_of(names.begin(), names.end(), [&](const auto &name) { return is_asked(name, {pattern}); }))
      continue;
    say("tovra: no device is '" + pattern + "'" + check::did_you_mean(pattern, names));
    return std::nullopt;
  }
  std::vector<device> chosen;
  for (const device &one : all) {
    if (is_asked(one.name, asked.patterns)) chosen.push_back(one);
  }
  return chosen;
}

struct report {
  size_t devices = 0, unchanged = 0;
  std::vector<std::string> changed, failed;
  std::vector<std::string> gone; // have a text, and are in the source no longer
  bool removed = false;          // so that they have none any more
};

std::vector<outcome> render_all(const std::vector<device> &devices, const fleet_options &asked,
                                preparation &prepared) {
  std::vector<outcome> outcomes(devices.size(), outcome::waiting);
  std::atomic<size_t> ended = 0;
  const progress shown([&] {
    return "rendering: " + std::to_string(ended) + " of " + std::to_string(devices.size()) + " devices";
  });
  in_parallel(devices.size(), asked.jobs > 0 ? asked.jobs : processors(), [&](size_t at) {
    outcomes[at] = fleet::render_device(devices[at], asked.render, prepared, asked.folder);
    ++ended;
  });
  return outcomes;
}

// Texts of devices that are asked for, and which the source does not have.
std::vector<std::string> find_gone(const std::vector<device> &all, const fleet_options &asked) {
  std::set<std::string> names;
  for (const device &one : all) names.insert(one.name);
  std::vector<std::string> gone = fleet::devices_in(asked.folder);
  std::erase_if(
      gone, [&](const std::string &name) { return names.contains(name) || !is_asked(name, asked.patterns); });
  return gone;
}

bool remove_texts(const std::vector<std::string> &devices, const std::string &folder) {
  bool good = true;
  for (const std::string &name : devices) {
    const std::string file = folder + "/" + fleet::file_name_of(name);
    std::error_code failure;
    fs::remove(file, failure);
    if (failure) say(file + ": " + failure.message());
    good = good && !failure;
  }
  return good;
}

std::string as_text(const report &all) {
  std::string text;
  const auto list = [&text](const char *what, const std::vector<std::string> &names) {
    for (const std::string &name : names) text += what + (" " + visible(name)) + "\n";
  };
  list("changed", all.changed);
  list("failed", all.failed);
  list(all.removed ? "removed" : "gone", all.gone);
  text += std::to_string(all.devices) + (all.devices == 1 ? " device: " : " devices: ") + std::to_string(all.changed.size()) + " changed, " +
          std::to_string(all.unchanged) + " unchanged, " + std::to_string(all.failed.size()) + " failed";
  if (!all.gone.empty())
    text += ", " + std::to_string(all.gone.size()) + (all.removed ? " removed" : " gone");
  return text + "\n";
}

std::string as_json(const report &all) {
  const nlohmann::ordered_json made = {
      {"devices", all.devices},     {"rendered", all.changed.size() + all.unchanged},
      {"unchanged", all.unchanged}, {"changed", all.changed},
      {"failed", all.failed},       {all.removed ? "removed" : "gone", all.gone}};
  return made.dump(2, ' ', false, replace_bad_utf8) + "\n";
}

int run_fleet(const fleet_options &asked) {
  preparation prepared(asked.render);
  if (const int status = prepared.load(); status != done) return status;
  prepared.drop_tree();
  if (!prepared.no_node().empty()) {
    say("tovra: " + prepared.no_node());
    return failed;
  }
  const auto all = fleet::devices_of(asked.render.data, asked.render.classes);
  const auto chosen = all ? asked_of(*all, asked) : all;
  if (!chosen || !prepared.put_in_use()) return failed;
  std::error_code failure;
  fs::create_directories(asked.folder, failure);
  if (failure) {
    say("tovra: --out " + asked.folder + ": " + failure.message());
    return failed;
  }

  const std::vector<outcome> outcomes = render_all(*chosen, asked, prepared);
  report told;
  told.devices = chosen->size();
  for (size_t i = 0; i < outcomes.size(); ++i) {
    if (outcomes[i] == outcome::unchanged) ++told.unchanged;
    if (outcomes[i] == outcome::changed) told.changed.push_back((*chosen)[i].name);
    if (outcomes[i] == outcome::failed) told.failed.push_back((*chosen)[i].name);
  }
  told.gone = find_gone(*all, asked);
  told.removed = asked.remove;
  const bool good = !asked.remove || remove_texts(told.gone, asked.folder);
  output out;
  if (!out.write(asked.json ? as_json(told) : as_text(told)) || !out.flush()) return failed;
  return good && told.failed.empty() ? done : failed;
}

} // namespace

tool add_fleet(CLI::App &app) {
  const auto asked = std::make_shared<fleet_options>();
  command made(app, "fleet", "Render all devices of a database or a folder");
  made.footer(
      "Each device becomes a file NAME.txt, which is written only when its text is another one, whole or\n"
      "not at all. A device that fails is told of, keeps the file that it has, and does not stop the\n"
      "others; the exit status is 1 then. docs/fleet.md has examples.");
  made.add("node", asked->render.node, "Render the part under this node (default: everything)").type("NODE");
  add_templates(made, asked->render);
  add_classes(made, asked->render.classes);
  made.add("--data", asked->render.data,
           "The devices: a folder of data files (JSON, YAML), each named as its device, or sqlite:FILE")
      .type("SOURCE")
      .required();
  made.add("--out", asked->folder, "The folder of the texts; it is made when there is none")
      .type("DIR")
      .required();
  made.add("--devices", asked->patterns, "Only devices whose names fit this pattern; may be repeated")
      .type("GLOB")
      .repeatable();
  made.add("--jobs", asked->jobs, "Devices at the same time (default: one a processor)")
      .type("N")
      .between(1, static_cast<int>(output_file::most_at_once));
  made.flag("--delete", asked->remove, "Delete the texts of devices that the source does not have");
  add_format(made, asked->json, "text (default) or json, of the summary");
  add_walk_options(made, asked->render);
  return {made.get(), [asked] { return run_fleet(*asked); }};
}

} // namespace tovra
