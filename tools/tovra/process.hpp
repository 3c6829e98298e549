// This program, run again as a process of its own: one render does not reach into another, and several of
// them share the processors.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tovra {

struct process_request {
  std::vector<std::string> arguments;                           // without the program's name
  std::string folder;                                           // where it runs; empty: here
  std::vector<std::pair<std::string, std::string>> environment; // set beyond what this process has
  bool own_input = false; // standard input is this process's; else empty
  int seconds = 0;        // after which it is ended; 0: it may take its time
};

struct process_outcome {
  bool started = false; // else `error` says why not
  bool timed_out = false;
  int status = 0;     // of the exit, or 128 and the number of the signal that ended it
  std::string output; // of standard output
  std::string error;  // of standard error
};

// One that is waited for by the way. Its end is that of the process, if not before.
class running_process {
public:
  explicit running_process(const process_request &asked);
  ~running_process();
  running_process(const running_process &) = delete;
  running_process &operator=(const running_process &) = delete;

  int handle() const;            // for poll: to be read once it has ended; -1: it was not started
  int milliseconds_left() const; // -1: as many as it takes
  bool has_ended() const;        // or has no time left
  process_outcome end();         // waits until then; once

private:
  struct parts;
  std::unique_ptr<parts> parts_;
};

process_outcome run_self(const process_request &asked);

} // namespace tovra
