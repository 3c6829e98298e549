// Waits until something that a render reads has changed.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "redis/watch.hpp"
#include "template_stamp.hpp"

namespace tovra {

struct watched_sources {
  std::string templates; // directories, separated by ':'
  std::vector<std::string> files;
  std::vector<std::string> modules; // folders of YANG modules, which are also found below
  std::vector<std::pair<std::string, zu_redis::place>> devices; // in servers, each with its name for messages
};

// Compares templates and data with their state when this object was made, and after each change with the
// state since then. The folders of files are watched instead of the files, because editors replace a file by
// a new one; the stamps of the files then show whether one of ours has changed.
class change_watch {
public:
  explicit change_watch(watched_sources all);
  ~change_watch();
  change_watch(const change_watch &) = delete;
  change_watch &operator=(const change_watch &) = delete;

  bool good() const { return events_ >= 0; } // false: nothing can be watched, and why has been said
  // Waits until something has changed, and then until files have been quiet for a moment, so that saving
  // several files is one change. Returns what has happened, in words; the empty text after `longest` without
  // a change. Nullopt when the program shall end (SIGINT, SIGTERM), when standard output has no reader left,
  // or when good() is false.
  std::optional<std::string> next(std::optional<std::chrono::seconds> longest);

private:
  struct device {
    std::string name;
    std::unique_ptr<zu_redis::device_watch> watch;
  };
  struct woken {
    bool to_end, by_files, by_time;
    std::vector<const device *> by; // the devices that need a look
  };

  void watch_folders();
  bool watch_folder(const std::string &folder);
  woken wait(zu_redis::device_watch::time until); // returns at whichever comes first
  void gather();                                  // waits for the events that follow shortly
  template_stamp look() const;
  static std::string look_at(const device &one);

  const watched_sources all_;
  int events_ = -1;
  template_stamp seen_;
  std::vector<device> devices_;
};

// True when SIGINT or SIGTERM came. The first call installs a handler, so the first signal no longer ends the
// program.
bool end_is_asked();

} // namespace tovra
