// Noticing that a device of a Redis server was changed.
#include "redis/watch.hpp"

#include <new>
#include <utility>

#include "redis/layout.hpp"

namespace zu_redis {

namespace {

using namespace std::chrono_literals;

constexpr auto pace = 1s;
constexpr auto pace_beside_events = 10s;
constexpr int most_messages = 1000; // of one look: others may still come

std::string place_of(const address &node) {
  return node.socket + node.host + ":" + std::to_string(node.port);
}

} // namespace

// The state of the device: the values that an import changes. An error answer counts as a state too.
std::string device_watch::state() {
  std::string found;
  std::string device = where_.device;
  head_.clear();
  if (device.empty()) {
    const std::vector<std::string> names = names_at(*server_, where_.prefix);
    for (const std::string &name : names) found += name + "\n";
    if (names.size() != 1) return found;
    device = names.front();
  }
  head_ = head_key(where_.prefix, device);
  const auto told = server_->ask_all({{"HGET", head_, "version"}});
  return found.append(told.front().text());
}

// Makes the server send the events of a channel. Returns the reason if it refuses, else an empty text.
std::string device_watch::follow(const std::string &channel) {
  const command known = {"CONFIG", "GET", "notify-keyspace-events"};
  const command subscribed = {"SUBSCRIBE", channel};
  std::string why;
  try {
    events_.emplace(server_->at());
    const auto told = events_->ask_all({known, subscribed});
    expect(known, told[0], value::kind::list);
    const std::string_view flags = told[0].size() == 2 ? told[0][1].text() : "";
    const bool on = flags.find('K') != flags.npos && flags.find_first_of("hA") != flags.npos;
    if (!on) why = "its keyspace events (K, and h or A) are off";
    expect(subscribed, told[1], value::kind::list);
  } catch (const store::source_failure &failure) {
    why = "no keyspace events: " + failure.message;
  }
  if (!why.empty()) events_.reset();
  return why;
}

std::string device_watch::lose(const std::string &why) {
  server_.reset();
  events_.reset();
  followed_.clear();
  return std::exchange(lost_, true) ? "" : why + "; it is tried again every second";
}

device_watch::news device_watch::look() {
  news made;
  try {
    if (!server_) server_.emplace(where_.at);
    for (int i = 0; events_ && i < most_messages && events_->arrived(); ++i) {
    }
    std::string now = state();
    const std::string channel = "__keyspace@" + std::to_string(where_.at.database) + "__:" + head_;
    const std::string there = head_.empty() ? "" : place_of(server_->at()) + " " + channel;
    if (there != followed_) {
      followed_ = there;
      events_.reset();
      std::string why = head_.empty() ? said_ : follow(channel);
      if (!why.empty() && why != said_) made.words = why + "; it is asked every second";
      said_ = std::move(why);
      now = state(); // for changes before the events began
    }
    made.changed = now != state_;
    made.back = std::exchange(lost_, false);
    state_ = std::move(now);
  } catch (const store::source_failure &failure) {
    made.words = lose(failure.message);
  } catch (const std::bad_alloc &) {
    made.words = lose("out of memory");
  }
  due_ = std::chrono::steady_clock::now() + (events_ ? pace_beside_events : pace);
  return made;
}

} // namespace zu_redis
