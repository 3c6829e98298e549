// The keys of a device: docs/data.md describes the content of each.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "redis/open.hpp"

namespace zu_redis {

inline constexpr std::string_view layout_version = "1";

inline std::string devices_key(const std::string &prefix) {
  return prefix + ":devices";
}
// The hash tag keeps all keys of a device on one node of a cluster.
inline std::string head_key(const std::string &prefix, const std::string &device) {
  return prefix + ":{" + device + "}";
}
// The keys of one version of the device: the facts about it and its paths, and the records of a path.
inline std::string facts_key(const std::string &head, std::string_view version) {
  return head + ":" + std::string(version);
}
inline std::string records_key(const std::string &facts, std::string_view path) {
  return facts + ":" + std::string(path);
}

// The devices, in the order of their names.
std::vector<std::string> names_at(connection &server, const std::string &prefix);
// Replaces the device of that name on the server.
std::unique_ptr<store::device_writer> write_device(const place &where, const std::string &device);

} // namespace zu_redis
