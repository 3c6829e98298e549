// The failure loop.
#include "driver.hpp"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <numeric>
#include <random>

#include "judge.hpp"
#include "qmalloc/qmalloc.h"
#include "qtrace/qtrace.h"
#include "zu_tovra/zu_tovra.h"

namespace fault {

namespace {

constexpr uint64_t least_sample = 3;

struct memory {
  int64_t held[4];
};

memory held() {
  const qmalloc_counters library = qmalloc_count(ZU_TVR_AREA);
  const qmalloc_counters objects = qmalloc_count(ZU_DO_AREA);
  return {{library.live_blocks, library.live_bytes, objects.live_blocks, objects.live_bytes}};
}

// What is held longer than before; empty: nothing.
std::string leaked(const memory &before, const memory &now) {
  static const char *const names[] = {"library blocks", "library bytes", "object blocks", "object bytes"};
  for (int i = 0; i < 4; ++i) {
    const int64_t more = now.held[i] - before.held[i];
    if (more != 0) return std::to_string(more) + " more " + names[i] + " than before";
  }
  return "";
}

void take_trace(void *got, int level, const char *message) {
  if (got != nullptr && level == 3) static_cast<outcome *>(got)->traces.emplace_back(message);
}

class trial {
public:
  trial(const scenario &tried, const kind &failing) : tried_(tried), failing_(failing) {
    qtrace_set_level(3);
    (void)traced(tried.again); // interns names, grows tables
    qmalloc_fail_nth(never, false);
    failing.arm(never);
    wanted_ = traced(tried.body);
    allocations_ = qmalloc_fail_seen();
    failing.disarm();
    places_ = failing.seen();
    qmalloc_fail_nth(0, false);
    traced(tried.look, wanted_);
  }
  ~trial() {
    qtrace_set_level(0);
    qtrace_set_sink(nullptr, nullptr);
  }
  trial(const trial &) = delete;
  trial &operator=(const trial &) = delete;

  // True when there is such a place. What is wrong after its failure, or without one, is in `fault`.
  bool inject(uint64_t n, std::string &fault) {
    const memory before = held();
    failing_.arm(n);
    outcome got = traced(tried_.body);
    const bool fired = failing_.disarm() != 0;
    traced(tried_.look, got);
    fault = wrong(got, wanted_, tried_, failing_);
    if (!fired && !got.same(wanted_)) fault = "differs though nothing failed";
    const outcome later = traced(tried_.again);
    if (fault.empty() && !later.same(wanted_)) fault = "the next one differs: " + words(later, wanted_);
    if (fault.empty()) fault = leaked(before, held());
    if (!fault.empty()) fault += " (" + words(got, wanted_) + ")";
    return fired;
  }

  uint64_t places() const { return places_; }
  uint64_t allocations() const { return allocations_; } // of one body

private:
  static void traced(const std::function<void(outcome &)> &part, outcome &got) {
    qtrace_set_sink(take_trace, &got);
    part(got);
    qtrace_set_sink(take_trace, nullptr);
  }
  static outcome traced(const std::function<void(outcome &)> &part) {
    outcome got;
    traced(part, got);
    return got;
  }

  const scenario &tried_;
  const kind &failing_;
  outcome wanted_;
  uint64_t allocations_ = 0;
  uint64_t places_ = 0;
};

std::vector<uint64_t> sample(uint64_t count, uint64_t size, uint64_t seed) {
  std::vector<uint64_t> all(count);
  std::iota(all.begin(), all.end(), 0);
  std::vector<uint64_t> some;
  std::sample(all.begin(), all.end(), std::back_inserter(some), size, std::mt19937_64(seed));
  return some;
}

totals run(const scenario &tried, const kind &failing, const std::string &name, const settings &how) {
  totals sum;
  const auto tell = [&](uint64_t n, const std::string &fault) {
    if (fault.empty()) return;
    ++sum.wrong;
    const std::string place = std::to_string(n);
    std::printf("%s %s: %s\n  to repeat: scripts/faults %s %s\n", name.c_str(), place.c_str(), fault.c_str(),
                name.c_str(), place.c_str());
  };
  trial trial(tried, failing);
  std::string fault;
  if (how.only >= 0) {
    const auto n = static_cast<uint64_t>(how.only);
    sum.places = sum.failed = trial.inject(n, fault) ? 1 : 0;
    tell(n, fault);
    return sum;
  }
  const uint64_t count = sum.places = trial.places();
  if (count == 0 && failing.means == meaning::no_memory) tell(0, "nothing failed at all");
  if (count == 0) return sum;
  const uint64_t size = how.work == 0 ? count : std::max(least_sample, how.work / (1 + trial.allocations()));
  for (const uint64_t n : sample(count, size, how.seed)) {
    if (!trial.inject(n, fault)) fault = "nothing failed here";
    ++sum.failed;
    tell(n, fault);
  }
  if (trial.inject(count, fault)) fault = "this is one more than there were";
  tell(count, fault);
  return sum;
}

} // namespace

std::vector<kind> memory_kinds() {
  std::vector<kind> kinds;
  for (const bool all_later : {false, true}) {
    const auto disarm = [] {
      qmalloc_fail_nth(0, false);
      return qmalloc_fail_fired();
    };
    kinds.push_back({.name = all_later ? "later" : "once",
                     .means = meaning::no_memory,
                     .arm = [all_later](uint64_t n) { qmalloc_fail_nth(n + 1, all_later); },
                     .disarm = disarm,
                     .seen = qmalloc_fail_seen});
  }
  return kinds;
}

totals run(const scenario &tried, const settings &how,
           const std::function<bool(const std::string &)> &wanted) {
  totals sum;
  for (const kind &failing : tried.kinds) {
    const std::string name = tried.name + "/" + failing.name;
    if (wanted(name)) sum += run(tried, failing, name, how);
  }
  return sum;
}

} // namespace fault
