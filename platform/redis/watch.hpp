// Noticing that a device of a Redis server was changed.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "redis/open.hpp"

namespace zu_redis {

// A server with keyspace events reports a change at once. It is also asked from time to time, because events
// may be lost or switched off, or come from another node after the device has moved in a cluster.
class device_watch {
public:
  using time = std::chrono::steady_clock::time_point;
  struct news {
    bool changed = false;
    bool back = false; // it could not be asked at the last look
    std::string words; // a message for the user; mostly empty
  };

  explicit device_watch(place where) : where_(std::move(where)) {}

  // `look` is to be called when this descriptor can be read
  // (-1: there is none), and at that time in any case.
  int file() const { return events_ ? events_->file() : -1; }
  time due() const { return due_; }
  // Asks the server whether the device may have changed since the last look. After a failure the next look
  // connects again.
  news look();

private:
  std::string state();
  std::string follow(const std::string &channel);
  std::string lose(const std::string &why);

  const place where_;
  std::optional<connection> server_, events_;
  std::string head_;     // the device's key; empty: the device is not known yet
  std::string followed_; // the node that was asked for events last
  std::string state_;
  std::string said_; // why there are no events
  bool lost_ = false;
  time due_;
};

} // namespace zu_redis
