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
inline constexpr std::string_view encrypted_scheme = "rediss://"; // which is refused

// A server, and the prefix of all its keys.
struct place {
  address at;
  std::string prefix = "tovra";
  std::string device; // empty: none is named
};

inline bool is_place(std::string_view name) {
  return name.starts_with(host_scheme) || name.starts_with(socket_scheme) ||
         name.starts_with(encrypted_scheme);
}
// Reads "redis://USER@HOST:PORT/DB?prefix=P&device=NAME" and
// "redis+unix:SOCKET?user=USER&db=N&prefix=P&device=NAME". Both may have `password-file=FILE` and
// `timeout=MS`. This and the next functions throw source_failure or std::bad_alloc.
place read_place(std::string_view name);
// A name as messages show it, without a password (a name
// with a password is refused), also of other servers. Other texts are unchanged.
std::string without_password(std::string_view name);
// Refuses a text that cannot be part of a key's name.
void check_name(std::string_view text, const char *what);

// The members of a set for which a command answers a number other than 0, in their order. A set may have
// members whose keys do not exist yet: these may be on another node than the set, and are written after it.
std::vector<std::string> members_with(connection &server, const std::string &set,
                                      const std::function<command(const std::string &)> &ask);

// Does not connect yet.
std::unique_ptr<store::device_database> database_at(place where);

} // namespace zu_redis
