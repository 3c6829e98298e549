// The work of a fleet in Redis. The server hands out entries and keeps account of them; we only ask it to.
#include "queue.hpp"

#include <utility>

#include "zuapi/base.h"

namespace tovra::fleet {

namespace {

constexpr char wait_for_work[] = "200"; // milliseconds; then we look for work that others left
// A run without any activity is deleted after this time, so that the next one starts from the beginning.
constexpr char forgotten_after[] = "3600"; // seconds

// The server runs a script without interruption, so no worker sees a half-begun or half-ended run. KEYS: the
// stream, the results, the run that ended last.
constexpr char begin_script[] = R"(
if redis.call('EXISTS', KEYS[1]) == 0 then
  for i = 2, #ARGV do redis.call('XADD', KEYS[1], '*', 'device', ARGV[i]) end
  redis.call('XGROUP', 'CREATE', KEYS[1], 'fleet', '0')
  redis.call('DEL', KEYS[2])
  redis.call('EXPIRE', KEYS[1], ARGV[1])
end
return redis.call('XRANGE', KEYS[1], '-', '+', 'COUNT', 1)[1][1])";
// Returns the results of the run if this was its last device, otherwise the next entry: one round trip fewer,
// which takes as long as rendering a small device. If another worker has acknowledged the entry before,
// perhaps even in an earlier run, its result counts and this one is dropped.
constexpr char finish_script[] = R"(
local function next_entry()
  local found = redis.pcall('XREADGROUP', 'GROUP', 'fleet', ARGV[5], 'COUNT', 1, 'STREAMS', KEYS[1], '>')
  return {false, found and not found.err and found[1][2]}
end
if redis.call('XACK', KEYS[1], 'fleet', ARGV[2]) == 0 then return next_entry() end
redis.call('HSET', KEYS[2], ARGV[3], ARGV[4])
redis.call('EXPIRE', KEYS[1], ARGV[1])
redis.call('EXPIRE', KEYS[2], ARGV[1])
if redis.call('HLEN', KEYS[2]) < redis.call('XLEN', KEYS[1]) then return next_entry() end
redis.call('SET', KEYS[3], redis.call('XRANGE', KEYS[1], '-', '+', 'COUNT', 1)[1][1], 'EX', ARGV[1])
local all = redis.call('HGETALL', KEYS[2])
redis.call('DEL', KEYS[1], KEYS[2])
return {all, false})";

std::string key(const std::string &place, const std::string &run, const char *what) {
  return zu_redis::read_place(place).prefix + ":{fleet-" + run + "}:" + what;
}

zu_redis::address address_of(const std::string &place) {
  if (!zu_redis::is_place(place)) throw store::source_failure{ZU_FAILED, "not a name redis://HOST:PORT/DB"};
  return zu_redis::read_place(place).at;
}

// Reads `[[id, [field, value]]]`.
std::optional<queue::task> first_task(zu_redis::value entries) {
  if (entries.size() == 0 || entries[0].size() != 2 || entries[0][1].size() != 2) return std::nullopt;
  return queue::task{std::string(entries[0][0].text()), std::string(entries[0][1][1].text())};
}

} // namespace

queue::queue(const std::string &place, const std::string &run, std::chrono::seconds idle, std::string worker)
    : to_(address_of(place)), work_(key(place, run, "work")), results_(key(place, run, "results")),
      ended_(key(place, run, "ended")), idle_(std::to_string(std::chrono::milliseconds(idle).count())),
      worker_(std::move(worker)) {}

std::string queue::begin(const std::vector<std::string> &devices) {
  // The short command comes first: a server that wants a password answers it clearly, but a long command with
  // nonsense.
  std::vector<zu_redis::command> asked = {
      {"EXISTS", work_}, {"EVAL", begin_script, "3", work_, results_, ended_, forgotten_after}};
  asked[1].insert(asked[1].end(), devices.begin(), devices.end());
  const std::vector<zu_redis::reply> told = to_.ask_all(asked);
  zu_redis::expect(asked[0], told[0], zu_redis::value::kind::number);
  zu_redis::expect(asked[1], told[1], zu_redis::value::kind::text);
  return std::string(told[1].text());
}

// True when the run has come to its end. Throws when it has disappeared before that.
bool queue::is_over(const std::string &run) {
  if (to_.ask({"EXISTS", work_}).number() != 0) return false;
  if (to_.ask({"GET", ended_}).text() == run) return true;
  throw store::source_failure{ZU_FAILED, "the run is gone, which was not at its end"};
}

std::optional<queue::task> queue::take(const std::string &run) {
  if (next_) return std::exchange(next_, std::nullopt);
  const zu_redis::command next = {"XREADGROUP", "GROUP",       "fleet",   worker_, "COUNT", "1",
                                  "BLOCK",      wait_for_work, "STREAMS", work_,   ">"};
  const zu_redis::command left = {"XAUTOCLAIM", work_, "fleet", worker_, idle_, "0-0", "COUNT", "1"};
  for (;;) {
    for (const zu_redis::command *asked : {&next, &left}) {
      const auto told = to_.ask_all({*asked});
      const zu_redis::value answer = told.front();
      if (answer.is(zu_redis::value::kind::error)) {
        if (is_over(run)) return std::nullopt; // the stream is gone
        throw store::source_failure{ZU_FAILED, std::string(answer.text())};
      }
      auto found = asked == &left      ? first_task(answer[1])
                   : answer.size() > 0 ? first_task(answer[0][1])
                                       : std::nullopt;
      if (found) return found;
    }
  }
}

std::optional<queue::results> queue::finish(const task &of, std::string_view result) {
  const zu_redis::command asked = {"EVAL", finish_script,   "3",   work_,     results_,
                                   ended_, forgotten_after, of.id, of.device, std::string(result),
                                   worker_};
  const zu_redis::reply told = to_.ask(asked);
  zu_redis::expect(asked, told, zu_redis::value::kind::list);
  if (told.size() != 2)
    throw store::source_failure{ZU_FAILED, zu_redis::shown(asked) + ": an answer of another type"};
  next_ = first_task(told[1]);
  if (!told[0].is(zu_redis::value::kind::list)) return std::nullopt;
  results all;
  for (size_t i = 0; i + 1 < told[0].size(); i += 2) {
    all.emplace(std::string(told[0][i].text()), std::string(told[0][i + 1].text()));
  }
  return all;
}

} // namespace tovra::fleet
