// Devices in a Redis server, and the names of such servers.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "redis/connection.hpp"
#include "store/devices.hpp"

namespace zu_redis {

inline constexpr std::string_view host_scheme = "redis://";
inline constexpr std::string_view socket_scheme = "redis+unix:";

// A server, and what the names of all keys there begin with.
struct place {
  address at;
  std::string prefix = "tovra";
  std::string device; // empty: of none in particular
};

inline bool is_place(std::string_view name) {
  return name.starts_with(host_scheme) || name.starts_with(socket_scheme);
}
// Reads "redis://USER@HOST:PORT/DB?prefix=P&device=NAME" and
// "redis+unix:SOCKET?user=USER&db=N&prefix=P&device=NAME". Both may have `password-file=FILE` and
// `timeout=MS`. Throws source_failure or std::bad_alloc, and so does what follows.
place read_place(std::string_view name);
// A name as messages show it: a password in it, which is refused, is left out. Other texts are as they were.
std::string without_password(std::string_view name);
// Refuses what cannot stand in the names of keys.
void check_name(std::string_view text, const char *what);

// The members of a set for which a command answers another number than 0, in their order. What a member names
// may be on another node than the set, and is written after it.
std::vector<std::string> members_with(connection &server, const std::string &set,
                                      const std::function<command(const std::string &)> &ask);

// Connects to nothing yet.
std::unique_ptr<store::device_database> database_at(place where);

} // namespace zu_redis
