// The state of template files at one time, so that two readings of them can be compared.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace tovra {

// The library reads the template files itself, a second time. It renders what was checked only if no file has
// changed between the two readings; this is how we know. The times of a file show even a change that was
// undone.
class template_stamp {
public:
  explicit template_stamp(const std::string &directories); // separated by ':'
  void add(const std::string &path);                       // adds another file, by its size and times
  void add_modules(const std::string &folder);             // adds the YANG modules in the folder
  std::vector<std::string> paths() const;
  // A file that differs between the two; empty when there is none.
  std::string difference(const template_stamp &other) const;

private:
  struct file {
    int64_t size = 0, written = 0, changed = 0; // times in nanoseconds
    uint64_t content = 0;
    bool operator==(const file &) const = default;
  };
  static file look_at(const std::string &path, bool read);

  std::map<std::string, file> files_;
};

// The folder and all folders below it, also through links.
std::vector<std::string> folders_below(const std::string &folder);

} // namespace tovra
