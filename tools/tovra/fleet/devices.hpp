// Lists the devices of a source.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tovra::fleet {

struct device {
  std::string name;
  std::string data; // the value of `--data` for its render
};

// The devices by name: of a database, or of a folder that has a data file for each (files of classes are left
// out). Nullopt after a failure, which has been reported; names are unique.
std::optional<std::vector<device>> devices_of(const std::string &source,
                                              const std::vector<std::string> &classes);

} // namespace tovra::fleet
