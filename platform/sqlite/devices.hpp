// Devices in a database file, read and written. All functions throw store::source_failure or std::bad_alloc.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "store/source.hpp"

namespace zu_sqlite {

// The records of a device as they are when it is opened. No name: of the only device.
std::unique_ptr<store::source> open_device(const std::string &file, const std::string &device);

struct given_path {
  std::string path;
  store::path_facts facts;
};
struct given_record {
  size_t path; // the number of its path, in the order in which they were added
  std::string_view uri;
  bool absolute;
  std::string properties; // a JSON object
};

// Puts a device in the place of what the file has under its name, in one transaction: whole once it is
// finished, else not at all.
class device_writer {
public:
  virtual ~device_writer() = default;
  virtual void add(const given_path &path) = 0;
  virtual void add(const given_record &record) = 0;
  virtual void finish() = 0;
};
// The file is made when there is none.
std::unique_ptr<device_writer> write_device(const std::string &file, const std::string &device);

} // namespace zu_sqlite
