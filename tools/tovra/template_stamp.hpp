// What template files hold at one time, so that two readings of them can be held to each other.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace tovra {

// The library reads the templates itself: what it renders is what was checked before only when nothing has
// changed in between. A change that was undone shows in the times of the file.
class template_stamp {
public:
  explicit template_stamp(const std::string &directories); // separated by ':'
  void add(const std::string &path);                       // another file, by its size and times
  void add_modules(const std::string &folder);             // the YANG modules that are in it
  std::vector<std::string> paths() const;
  // A file of which the other one says something else; empty: none.
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

// A folder and those below, also behind links.
std::vector<std::string> folders_below(const std::string &folder);

} // namespace tovra
