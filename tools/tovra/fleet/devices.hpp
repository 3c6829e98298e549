// The devices of a source, and the files of their texts.
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

// The name of a device's file, which no other name gives: what could lead out of the folder, hide the file or
// break a line is written as %HH.
std::string file_name_of(const std::string &device);
// The names of the devices that have a file in a folder, sorted.
std::vector<std::string> devices_in(const std::string &folder);

} // namespace tovra::fleet
