// Waiting until what a render reads has changed.
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
  std::vector<std::pair<std::string, zu_redis::place>> devices; // in servers, and how messages name them
};

// Templates and data, from when this is made. The folders of files are watched, for editors put new files in
// the place of old ones; the files' stamps say whether one of them is meant.
class change_watch {
public:
  explicit change_watch(watched_sources all);
  ~change_watch();
  change_watch(const change_watch &) = delete;
  change_watch &operator=(const change_watch &) = delete;

  bool good() const { return events_ >= 0; } // false: nothing can be watched, which was said
  // Waits until something is another than before, and no file has changed for a moment: what has happened, in
  // words. None when the program shall end (SIGINT, SIGTERM), when nobody reads standard output any more, or
  // good() no longer. Empty when nothing has happened for as long as that.
  std::optional<std::string> next(std::optional<std::chrono::seconds> longest);

private:
  struct device {
    std::string name;
    std::unique_ptr<zu_redis::device_watch> watch;
  };
  struct woken {
    bool to_end, by_files, by_time;
    std::vector<const device *> by; // which are to be looked at
  };

  void watch_folders();
  bool watch_folder(const std::string &folder);
  woken wait(zu_redis::device_watch::time until); // for whichever comes first
  void gather();                                  // the events that follow
  template_stamp look() const;
  static std::string look_at(const device &one);

  const watched_sources all_;
  int events_ = -1;
  template_stamp seen_;
  std::vector<device> devices_;
};

// Whether SIGINT or SIGTERM came, which end the program no longer by themselves once this has been called.
bool end_is_asked();

} // namespace tovra
