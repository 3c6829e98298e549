// Runs this program again in a process of its own. The library has one set of templates per process, so
// renders by other templates would get in each other's way; and several processes use several processors.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tovra {

struct process_request {
  std::vector<std::string> arguments; // without the program's name
  std::string folder;                 // the working directory; empty: that of this process
  std::vector<std::pair<std::string, std::string>> environment; // added to the environment of this process
  bool own_input = false; // standard input is that of this process; otherwise it is empty
  int seconds = 0;        // after which the process is ended; 0: never
};

struct process_outcome {
  bool started = false; // if false, `error` says why
  bool timed_out = false;
  int status = 0;     // the exit status, or 128 and the number of the signal that ended it
  std::string output; // of standard output
  std::string error;  // of standard error
};

// A process that runs while its owner does other things. The destructor ends it.
class running_process {
public:
  explicit running_process(const process_request &asked);
  ~running_process();
  running_process(const running_process &) = delete;
  running_process &operator=(const running_process &) = delete;

  int handle() const;            // for poll: readable when the process has ended; -1: not started
  int milliseconds_left() const; // -1: no limit
  bool has_ended() const;        // also true when its time is over
  process_outcome end();         // waits for that; called once

private:
  struct parts;
  std::unique_ptr<parts> parts_;
};

process_outcome run_self(const process_request &asked);

} // namespace tovra
