// This program, run again as a process of its own: one render does not reach into another, and several of
// them share the processors.
#pragma once

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

process_outcome run_self(const process_request &asked);

} // namespace tovra
