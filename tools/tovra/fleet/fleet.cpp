// `tovra fleet`: renders all devices of a source, on several threads.
#include <algorithm>
#include <atomic>
#include <fnmatch.h>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <set>
#include <unistd.h>

#include "../check/nearest.hpp"
#include "../command_line.hpp"
#include "../data_file.hpp"
#include "../output.hpp"
#include "../output_file.hpp"
#include "../parallel.hpp"
#include "../progress.hpp"
#include "../tools.hpp"
#include "../value_json.hpp"
#include "queue.hpp"
#include "render_device.hpp"
#include "reported.hpp"

namespace tovra {

namespace {

using fleet::device;
using fleet::outcome;

struct fleet_options {
  options render; // for each device, without its data
  std::string out;
  std::vector<std::string> patterns; // of the devices to render; empty: all of them
  unsigned jobs = 0;
  bool remove = false;
  bool json = false;
  std::string queue; // empty: this program does all the work
  int idle = 60;     // seconds after which a silent worker of the queue is taken for dead
};

bool is_asked(const std::string &name, const std::vector<std::string> &patterns) {
  return patterns.empty() || std::any_of(patterns.begin(), patterns.end(), [&](const std::string &pattern) {
           return fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
         });
}

// The devices that are asked for; nullopt when a pattern matches none, which has been reported.
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
  std::vector<std::string> gone; // devices that have a text, but are not in the source any more
  bool removed = false;          // the texts of those were removed
  bool part = false;             // another worker ended the run, so this is only a part of it

  void add(const std::string &device, outcome made) {
    ++devices;
    if (made == outcome::unchanged) ++unchanged;
    if (made == outcome::changed) changed.push_back(device);
    if (made == outcome::failed) failed.push_back(device);
  }
};

unsigned jobs_of(const fleet_options &asked) {
  return asked.jobs > 0 ? asked.jobs : processors();
}

report render_all(const std::vector<device> &devices, const fleet_options &asked, preparation &prepared,
                  fleet::texts &to) {
  std::vector<outcome> outcomes(devices.size(), outcome::failed);
  std::atomic<size_t> ended = 0;
  const progress shown([&] {
    return "rendering: " + std::to_string(ended) + " of " + std::to_string(devices.size()) + " devices";
  });
  in_parallel(devices.size(), jobs_of(asked), [&](size_t at) {
    outcomes[at] = fleet::render_device(devices[at], asked.render, prepared, to);
    ++ended;
  });
  report made;
  for (size_t i = 0; i < devices.size(); ++i) made.add(devices[i].name, outcomes[i]);
  return made;
}

// A worker of a queue. One machine may be too slow for a large network, so several programs share a run: on
// each thread, this one takes devices from the queue until the run is over.
class shared_work {
public:
  shared_work(const std::vector<device> &devices, const fleet_options &asked, preparation &prepared,
              fleet::texts &to)
      : asked_(asked), prepared_(prepared), to_(to) {
    std::string command = asked.out;
    for (const auto &word : render_arguments(asked.render)) command += "\n" + word;
    for (const auto &pattern : asked.patterns) command += "\n--devices=" + pattern;
    run_ = std::to_string(std::hash<std::string>()(command));
    for (const device &one : devices) devices_.emplace(one.name, one);
  }

  // Nullopt after a failure of the queue, which has been reported.
  std::optional<report> render() {
    std::string id;
    const bool begun = fleet::reported(about(), [&] {
      std::vector<std::string> names;
      for (const auto &[name, one] : devices_) names.push_back(name);
      id = queue_of("begin").begin(names);
    });
    if (!begun) return std::nullopt;
    std::atomic<bool> lost = false;
    {
      const progress shown([&] {
        const std::lock_guard alone(lock_);
        return "rendering: " + std::to_string(made_.devices) + " devices here";
      });
      in_parallel(jobs_of(asked_), jobs_of(asked_), [&](size_t thread) {
        if (!fleet::reported(about(), [&] { work(id, thread); })) lost = true;
      });
    }
    if (all_) return report_of(*all_);
    made_.part = true;
    return lost ? std::nullopt : std::optional(made_);
  }

private:
  fleet::queue queue_of(const std::string &thread) const {
    char host[256] = "";
    gethostname(host, sizeof host - 1);
    return {asked_.queue, run_, std::chrono::seconds(asked_.idle),
            std::string(host) + ":" + std::to_string(getpid()) + ":" + thread};
  }

  std::string about() const { return "tovra: --queue " + data_name(asked_.queue); }

  void work(const std::string &id, size_t thread) {
    fleet::queue tasks = queue_of(std::to_string(thread));
    while (const auto task = tasks.take(id)) {
      const outcome made = render_one(task->device);
      auto all = tasks.finish(*task, words[static_cast<size_t>(made)]);
      const std::lock_guard alone(lock_);
      made_.add(task->device, made);
      if (all) all_ = std::move(all);
    }
  }

  outcome render_one(const std::string &name) {
    const auto found = devices_.find(name);
    if (found != devices_.end()) return fleet::render_device(found->second, asked_.render, prepared_, to_);
    say(name + ": the queue has this device, but the source here does not");
    return outcome::failed;
  }

  static report report_of(const fleet::queue::results &all) {
    report made;
    for (const auto &[name, result] : all) {
      const auto *found = std::find(std::begin(words), std::end(words), result);
      made.add(name, found == std::end(words) ? outcome::failed : static_cast<outcome>(found - words));
    }
    return made;
  }

  static constexpr std::string_view words[] = {"changed", "unchanged", "failed"}; // in the order of `outcome`

  const fleet_options &asked_;
  preparation &prepared_;
  fleet::texts &to_;
  std::string run_;
  std::map<std::string, device> devices_;
  std::mutex lock_;
  report made_;                              // of this worker
  std::optional<fleet::queue::results> all_; // of all workers, if this one did the last device
};

// The devices that are asked for, have a text, and are not in the source. Nullopt after a failure, which has
// been reported.
std::optional<std::vector<std::string>> find_gone(const std::vector<device> &all, const fleet_options &asked,
                                                  fleet::texts &in) {
  std::set<std::string> names;
  for (const device &one : all) names.insert(one.name);
  auto gone = in.devices();
  if (gone)
    std::erase_if(*gone, [&](const std::string &name) {
      return names.contains(name) || !is_asked(name, asked.patterns);
    });
  return gone;
}

std::string as_text(const report &all) {
  std::string text;
  const auto list = [&text](const char *what, const std::vector<std::string> &names) {
    for (const std::string &name : names) text += what + (" " + visible(name)) + "\n";
  };
  list("changed", all.changed);
  list("failed", all.failed);
  list(all.removed ? "removed" : "gone", all.gone);
  text += std::to_string(all.devices) + (all.devices == 1 ? " device: " : " devices: ") +
          std::to_string(all.changed.size()) + " changed, " + std::to_string(all.unchanged) + " unchanged, " +
          std::to_string(all.failed.size()) + " failed";
  if (!all.gone.empty())
    text += ", " + std::to_string(all.gone.size()) + (all.removed ? " removed" : " gone");
  return text + (all.part ? ", of a run that another worker ended\n" : "\n");
}

std::string as_json(const report &all) {
  nlohmann::ordered_json made = {
      {"devices", all.devices},     {"rendered", all.changed.size() + all.unchanged},
      {"unchanged", all.unchanged}, {"changed", all.changed},
      {"failed", all.failed},       {all.removed ? "removed" : "gone", all.gone}};
  if (all.part) made["part"] = true;
  return json_text(made, 2);
}

int run_fleet(const fleet_options &asked) {
  preparation prepared(asked.render);
  if (const int status = prepared.load(); status != done) return status;
  prepared.drop_tree();
  if (!prepared.no_node().empty()) {
    say("tovra: " + prepared.no_node());
    return failed;
  }
  if (!yang().names.empty() && !has_good_modules()) return failed;
  const auto all = fleet::devices_of(asked.render.data, asked.render.classes);
  const auto chosen = all ? asked_of(*all, asked) : all;
  if (!chosen || !prepared.put_in_use()) return failed;
  const auto to = fleet::texts_at(asked.out);
  std::vector<std::string> names;
  for (const device &one : *chosen) names.push_back(one.name);
  if (to == nullptr || !to->prepare(names)) return failed;

  auto told = asked.queue.empty() ? std::optional(render_all(*chosen, asked, prepared, *to))
                                  : shared_work(*chosen, asked, prepared, *to).render();
  if (!told) return failed;
  bool good = true;
  if (!told->part) {
    const auto gone = find_gone(*all, asked, *to);
    if (gone) told->gone = asked.remove ? to->remove(*gone) : *gone;
    good = gone && told->gone.size() == gone->size();
  }
  told->removed = asked.remove;
  output out;
  if (!out.write(asked.json ? as_json(*told) : as_text(*told)) || !out.flush()) return failed;
  return good && told->failed.empty() ? done : failed;
}

} // namespace

tool add_fleet(CLI::App &app) {
  const auto asked = std::make_shared<fleet_options>();
  command made(app, "fleet", "Render all devices of a database or a folder");
  made.footer("Each device becomes a file NAME.txt, or a key, which is written only when its text has "
              "changed, whole\n"
              "or not at all. A device that fails is reported, keeps its old text, and does not stop the "
              "others; the\n"
              "exit status is 1 then. docs/fleet.md has examples.");
  made.add("node", asked->render.node, "Render the part under this node (default: everything)").type("NODE");
  add_templates(made, asked->render);
  add_classes(made, asked->render.classes);
  made.add("--data", asked->render.data,
           "The devices: a folder of data files (JSON, YAML), each named as its device, or yang:DIR of YANG "
           "documents, sqlite:FILE or redis://HOST:PORT/DB?prefix=P")
      .type("SOURCE")
      .required();
  made.add("--out", asked->out,
           "Where the texts are put: a folder, which is created if it does not exist, or "
           "redis://HOST:PORT/DB?prefix=P")
      .type("PLACE")
      .required();
  made.add("--devices", asked->patterns, "Only devices whose names fit this pattern; may be repeated")
      .type("GLOB")
      .repeatable();
  made.add("--jobs", asked->jobs, "Devices at the same time (default: one for each processor)")
      .type("N")
      .between(1, static_cast<int>(output_file::most_at_once));
  const option queue = made.add("--queue", asked->queue,
                                "Share the work with all that run the same command over this Redis server")
                           .type("redis://HOST:PORT/DB?prefix=P");
  made.add("--idle", asked->idle,
           "Seconds without activity after which a worker's device is given to another (default: 60)")
      .type("SECONDS")
      .between(1, 86400)
      .needs(queue);
  made.flag("--delete", asked->remove, "Delete the texts of devices that the source does not have");
  add_format(made, asked->json, "text (default) or json, of the summary");
  add_walk_options(made, asked->render);
  return {made.get(), [asked] { return run_fleet(*asked); }};
}

} // namespace tovra
