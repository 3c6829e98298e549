// The devices of a source.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tovra::fleet {

struct device {
  std::string name;
  std::string data; // what `--data` of its render is
};

// By name: of a database of devices, or of a folder with a data file each, but for those files of classes.
// None after a failure, which is said; no two have one name.
std::optional<std::vector<device>> devices_of(const std::string &source,
                                              const std::vector<std::string> &classes);

} // namespace tovra::fleet
