// Databases of devices: what holds the records of many, each under a name.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "store/source.hpp"

namespace store {

struct given_path {
  std::string path;
  path_facts facts;
};
struct given_record {
  size_t path; // the number of its path, in the order in which they were added
  std::string_view uri;
  bool absolute;
  std::string properties; // a JSON object
};

// Puts a device in the place of what the database has under its name: whole once it is finished, else not at
// all.
class device_writer {
public:
  virtual ~device_writer() = default;
  virtual void add(const given_path &path) = 0;
  virtual void add(const given_record &record) = 0;
  virtual void finish() = 0;
};

// All functions throw source_failure or std::bad_alloc. What they give may outlive the database.
class device_database {
public:
  virtual ~device_database() = default;
  // In the order of their names.
  virtual std::vector<std::string> devices() = 0;
  // The records of a device as they are when it is opened. No name: of the only device.
  virtual std::unique_ptr<source> open(const std::string &device) = 0;
  virtual std::unique_ptr<device_writer> write(const std::string &device) = 0;
};

// The only device, where none is asked for by name; else source_failure tells of the names.
const std::string &only_device(const std::vector<std::string> &names, const std::string &asked);

} // namespace store
