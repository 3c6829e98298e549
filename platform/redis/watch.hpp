// Noticing that a device of a Redis server was changed.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "redis/open.hpp"

namespace zu_redis {

// The server tells of a change at once where it has keyspace events on. It is also asked from time to time:
// events get lost, are switched off, or come from another node once the device has moved in a cluster.
class device_watch {
public:
  using time = std::chrono::steady_clock::time_point;
  struct news {
    bool changed = false;
    bool back = false; // it could not be asked at the last look
    std::string words; // what should be said; mostly empty
  };

  explicit device_watch(place where) : where_(std::move(where)) {}

  // To be looked at when this can be read (-1: never), and at that time in any case.
  int file() const { return events_ ? events_->file() : -1; }
  time due() const { return due_; }
  // Asks the server: whether the device may be another one than at the last look. A server that cannot be
  // asked is connected to again at the next look.
  news look();

private:
  std::string state();
  std::string follow(const std::string &channel);
  std::string lose(const std::string &why);

  const place where_;
  std::optional<connection> server_, events_;
  std::string head_;     // the device's key; empty: it is not known which device is meant
  std::string followed_; // where events were asked for last
  std::string state_;
  std::string said_; // why there are no events
  bool lost_ = false;
  time due_;
};

} // namespace zu_redis
