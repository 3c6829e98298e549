// The work of a fleet, shared by programs on any machine.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "redis/open.hpp"

namespace tovra::fleet {

// A run is a stream in Redis with an entry a device, and its consumer group hands the entries out: each to
// one worker, again to another one when that worker says nothing for too long, until it is acknowledged.
// Results stand in a hash beside it. The run begins with the stream and ends with it, once all has a result.
// Each thread has a queue of its own. All functions throw store::source_failure or std::bad_alloc.
class queue {
public:
  struct task {
    std::string id;
    std::string device;
  };
  using results = std::map<std::string, std::string>; // by device

  // Runs of other commands have another `run`.
  queue(const std::string &place, const std::string &run, std::chrono::seconds idle, std::string worker);

  // Begins a run with these devices, unless one is going on, which is joined: the id of the run.
  std::string begin(const std::vector<std::string> &devices);
  // Waits for a device; none: the run is over.
  std::optional<task> take(const std::string &run);
  // Acknowledges it, and asks for the next, which take() gives: the results of the whole run, when this was
  // the last one.
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
