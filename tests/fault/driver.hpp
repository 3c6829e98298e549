// The failure loop: a body is run with one failure injected at every place where there can be one.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace fault {

constexpr uint64_t never = UINT64_MAX >> 1; // a place that no body reaches

// What a body did, as its host sees it. The driver collects the traces.
struct outcome {
  bool done = false;
  std::vector<std::string> text;   // the pieces handed out
  std::vector<std::string> errors; // recorded or returned, "CODE MESSAGE"
  std::vector<std::string> traces; // of errors

  bool clean() const { return done && errors.empty(); }
  bool same(const outcome &other) const {
    return done == other.done && text == other.text && errors == other.errors;
  }
};

// What a failure means to the host.
enum class meaning {
  no_memory,
  error,     // of the framework, with the kind's code
  no_record, // the framework's answer that there is no such record
  refusal    // the host wants no more text
};

// A kind of failure. `arm` makes the n-th place fail, from 0; `disarm` ends that and returns how many places
// failed; `seen` returns how many places there were.
struct kind {
  std::string name;
  meaning means;
  std::function<void(uint64_t)> arm;
  std::function<uint64_t()> disarm;
  std::function<uint64_t()> seen;
  int code = 0; // that must be reported to the host
};

// Both ways to run out of memory.
std::vector<kind> memory_kinds();

struct scenario {
  std::string name;
  std::function<void(outcome &)> body;                    // runs armed
  std::function<void(outcome &)> look = [](outcome &) {}; // disarmed right after the body: adds what it left
  std::function<void(outcome &)> again = body; // all once more, which must succeed as if nothing had failed
  std::vector<kind> kinds;
  bool loads = false;         // the body loads templates
  bool in_batches = false;    // rows come in more than one batch: the last one answers for all
  bool may_miss_rows = false; // a get-one node sees the first batch only, and an error of it as no rows
};

struct settings {
  uint64_t work = 30000; // allocations that the bodies of one kind may make, which samples it; 0: all places
  uint64_t seed = 1;
  int64_t only = -1; // this place alone
};

struct totals {
  uint64_t places = 0; // that there are
  uint64_t failed = 0; // of these, made to fail
  uint64_t wrong = 0;

  void operator+=(const totals &part) {
    places += part.places;
    failed += part.failed;
    wrong += part.wrong;
  }
};

// Runs a scenario with every kind of failure whose name "SCENARIO/KIND" `wanted` accepts; says what is wrong
// and how to repeat it.
totals run(const scenario &tried, const settings &how,
           const std::function<bool(const std::string &)> &wanted);

using taker = std::function<void(const scenario &)>;

// The scenarios of the golden cases and examples below a project's folder,
// in turn: those whose case begins with `prefix`, or the other way round.
// Throws on a case that does not render as it should before anything fails.
void each_case(const std::string &root, const std::string &prefix, const taker &take);

// A scenario for every exported function that makes something: "constructors/NAME".
void each_constructor(const taker &take);

} // namespace fault
