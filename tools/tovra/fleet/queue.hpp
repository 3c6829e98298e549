// The work of a fleet, shared by programs on any number of machines.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "redis/open.hpp"

namespace tovra::fleet {

// A worker may die in the middle of a device, and its work must not be lost. A run is a stream in Redis with
// an entry for each device. The stream's consumer group gives each entry to one worker, and to another one
// when that worker has been silent for too long, until somebody acknowledges it. Results are in a hash beside
// the stream. The run begins with the stream and ends with it, when every device has a result. Each thread
// has a queue object of its own. All functions throw store::source_failure or std::bad_alloc.
class queue {
public:
  struct task {
    std::string id;
    std::string device;
  };
  using results = std::map<std::string, std::string>; // by device

  // Other commands have another `run`, so that their work is not mixed with ours.
  queue(const std::string &place, const std::string &run, std::chrono::seconds idle, std::string worker);

  // Begins a run with these devices, or joins the one that is going on. Returns the id of the run.
  std::string begin(const std::vector<std::string> &devices);
  // Waits for a device; nullopt: the run is over.
  std::optional<task> take(const std::string &run);
  // Acknowledges a device, and asks for the next one, which take() then returns. Returns the results of the
  // whole run if this was the last device.
  std::optional<results> finish(const task &of, std::string_view result);

private:
  bool is_over(const std::string &run);

  zu_redis::connection to_;
  const std::string work_, results_, ended_; // the keys
  const std::string idle_;                   // in milliseconds
  const std::string worker_;
  std::optional<task> next_;
};

} // namespace tovra::fleet
