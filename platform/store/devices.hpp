// Databases of devices, which hold the records of many devices, each under a name.
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

// Replaces a device in a database. Readers see the new device only once it is finished; before that, and
// after a failure, they see the old one.
class device_writer {
public:
  virtual ~device_writer() = default;
  virtual void add(const given_path &path) = 0;
  virtual void add(const given_record &record) = 0;
  virtual void finish() = 0;
};

// All functions throw source_failure or std::bad_alloc. Their results may outlive the database.
class device_database {
public:
  virtual ~device_database() = default;
  // In the order of their names.
  virtual std::vector<std::string> devices() = 0;
  // The records of a device as they are when it is opened. An empty name means the only device.
  virtual std::unique_ptr<source> open(const std::string &device) = 0;
  virtual std::unique_ptr<device_writer> write(const std::string &device) = 0;
};

// The only device, if no name was asked for. Otherwise, also for a name that does not exist, it throws
// source_failure with the names that there are.
const std::string &only_device(const std::vector<std::string> &names, const std::string &asked);

} // namespace store
