// A data file as the rules see it: which paths it has, and what their records give.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tovra::check {

struct path_data {
  std::set<std::string> properties; // of the class, of any record, and the records' own keys
  std::set<std::string> given;      // by a record, keys aside
  std::string first_record;         // URI as it is written; empty: the path has a class only
  int number = 0;                   // of the line of that record
  size_t records = 0;
};

struct data_set {
  std::string file;
  std::map<std::string, path_data> paths; // "/system/ifc"; "//locations" for locations themselves
  std::set<std::string> location_keys;    // of the locations of all records
};

// None when the file does not load, which is said.
std::optional<data_set> read_data(const std::string &file);

} // namespace tovra::check
