// Waiting until files change.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "template_stamp.hpp"

namespace tovra {

// Templates and other files, from when this is made. Their folders are watched, for editors put new files in
// the place of old ones; the files' stamps say whether one of them is meant.
class file_watch {
public:
  file_watch(std::string directories, std::vector<std::string> files); // of templates, separated by ':'
  ~file_watch();
  file_watch(const file_watch &) = delete;
  file_watch &operator=(const file_watch &) = delete;

  bool good() const { return events_ >= 0; } // false: nothing can be watched, which was said
  // Waits until a file is another one than before, and none has changed for a moment: its path. None when the
  // program shall end (SIGINT, SIGTERM), when nobody reads standard output any more, or good() no longer.
  std::optional<std::string> next();

private:
  void watch_folders();
  bool watch_folder(const std::string &folder);
  bool wait();   // for events; false: the program shall end
  void gather(); // those that follow
  template_stamp look() const;

  const std::string directories_;
  const std::vector<std::string> files_;
  int events_ = -1;
  template_stamp seen_;
};

// Whether SIGINT or SIGTERM came, which end the program no longer by themselves once this has been called.
bool end_is_asked();

} // namespace tovra
