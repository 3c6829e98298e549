// Waiting for changes. inotify says only when to look at the files again; their stamps say what has changed.
// A Redis server sends its changes itself.
#include "change_watch.hpp"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <filesystem>
#include <poll.h>
#include <set>
#include <sstream>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "output.hpp"

namespace tovra {

namespace {

namespace fs = std::filesystem;
using clock = std::chrono::steady_clock;

constexpr auto forever = clock::time_point::max();
constexpr int quiet_milliseconds = 40;
constexpr auto longest_gathering = std::chrono::seconds(1); // for files that are written all the time
constexpr uint32_t watched_events = IN_CREATE | IN_DELETE | IN_MODIFY | IN_ATTRIB | IN_MOVED_FROM |
                                    IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

volatile std::sig_atomic_t asked_to_end = 0;
int end_signal = -1; // an event descriptor, so that a wait sees the signal whenever it comes

void ask_to_end(int) {
  const int kept = errno;
  asked_to_end = 1;
  const uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = write(end_signal, &one, sizeof one);
  errno = kept;
}

// A second signal ends the program as it always does.
void take_signals() {
  if (end_signal >= 0) return;
  end_signal = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  struct sigaction action = {};
  action.sa_handler = ask_to_end;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  for (const int number : {SIGINT, SIGTERM}) sigaction(number, &action, nullptr);
}

fs::path folder_of(const fs::path &file) {
  const fs::path folder = file.parent_path();
  return folder.empty() ? "." : folder;
}

// Takes the events away unread: what has changed is found by looking at the files.
void drain(int events) {
  char some[4096];
  while (read(events, some, sizeof some) > 0) {
  }
}

} // namespace

bool end_is_asked() {
  take_signals();
  return asked_to_end != 0;
}

change_watch::change_watch(watched_sources all) : all_(std::move(all)), seen_("") {
  take_signals();
  watch_folders();
  seen_ = look();
  for (const auto &[name, place] : all_.devices) {
    zu_redis::place at = place;
    at.at.until = end_signal;
    devices_.push_back({name, std::make_unique<zu_redis::device_watch>(std::move(at))});
    look_at(devices_.back());
  }
}

change_watch::~change_watch() {
  if (events_ >= 0) close(events_);
}

template_stamp change_watch::look() const {
  template_stamp now(all_.templates);
  for (const std::string &file : all_.files) now.add(file);
  for (const std::string &folder : all_.modules) {
    for (const std::string &each : folders_below(folder)) now.add_modules(each);
  }
  return now;
}

// Returns what has happened, in words; empty for nothing. Why a device cannot be watched is written to
// standard error.
std::string change_watch::look_at(const device &one) {
  const auto news = one.watch->look();
  if (!news.words.empty() && !end_is_asked()) say("-- " + one.name + ": " + news.words);
  return news.back ? one.name + " is back" : news.changed ? one.name + " changed" : "";
}

bool change_watch::watch_folder(const std::string &folder) {
  if (inotify_add_watch(events_, folder.c_str(), watched_events) >= 0) return true;
  if (errno != ENOSPC && errno != ENOMEM) return false;
  say("tovra: " + folder + " cannot be watched: " + std::generic_category().message(errno));
  close(std::exchange(events_, -1));
  return true;
}

// Watches the folders of all files, the folders to which links lead, and the folders above, since a whole
// folder may be replaced. For a folder that does not exist, the nearest existing one above it is watched.
// This is done again after each change, which may have created folders.
void change_watch::watch_folders() {
  std::set<fs::path> folders;
  const auto add = [&folders](const fs::path &folder) {
    folders.insert(folder);
    const fs::path normal = fs::absolute(folder).lexically_normal();
    folders.insert(folder_of(normal.has_filename() ? normal : folder_of(normal)));
    std::error_code none;
    const fs::path real = fs::canonical(folder, none);
    if (!none) folders.insert(real);
  };
  std::istringstream list(all_.templates);
  for (std::string directory; std::getline(list, directory, ':');) add(directory);
  for (const std::string &folder : all_.modules) {
    for (const std::string &each : folders_below(folder)) add(each);
  }
  for (const std::string &path : look().paths()) {
    add(folder_of(path));
    std::error_code none;
    if (fs::is_symlink(path, none)) add(folder_of(fs::weakly_canonical(path, none)));
  }
  const int fresh = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  if (fresh < 0) say("tovra: files cannot be watched: " + std::generic_category().message(errno));
  if (events_ >= 0) close(events_);
  events_ = fresh;
  for (fs::path folder : folders) {
    if (folder.empty()) continue;
    while (good() && !watch_folder(folder.string()) && folder != folder_of(folder))
      folder = folder_of(folder);
  }
}

change_watch::woken change_watch::wait(clock::time_point until) {
  std::vector<pollfd> at = {{events_, POLLIN, 0}, {end_signal, POLLIN, 0}, {STDOUT_FILENO, 0, 0}};
  auto due = until;
  for (const device &each : devices_) {
    at.push_back({each.watch->file(), POLLIN, 0});
    due = std::min(due, each.watch->due());
  }
  int ready = 0;
  do {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(due - clock::now()).count();
    ready = poll(at.data(), at.size(),
                 due == forever ? -1 : static_cast<int>(std::clamp<int64_t>(left, 0, INT_MAX)));
  } while (ready < 0 && errno == EINTR);
  const auto now = clock::now();
  woken made = {at[1].revents != 0 || at[2].revents != 0, at[0].revents != 0, until <= now, {}};
  for (size_t i = 0; i < devices_.size(); ++i) {
    if (at[3 + i].revents != 0 || devices_[i].watch->due() <= now) made.by.push_back(&devices_[i]);
  }
  return made;
}

void change_watch::gather() {
  const auto end = clock::now() + longest_gathering;
  pollfd more = {events_, POLLIN, 0};
  do {
    drain(events_);
  } while (clock::now() < end && poll(&more, 1, quiet_milliseconds) > 0);
}

std::optional<std::string> change_watch::next(std::optional<std::chrono::seconds> longest) {
  const auto until = longest ? clock::now() + *longest : forever;
  while (good()) {
    const woken by = wait(until);
    if (by.to_end) break;
    std::string happened;
    if (by.by_files) {
      gather();
      watch_folders();
      const template_stamp now = look();
      if (const std::string path = now.difference(seen_); !path.empty()) happened = path + " changed";
      seen_ = now;
    }
    for (const device *each : by.by) {
      const std::string news = look_at(*each);
      if (happened.empty()) happened = news;
    }
    if (!happened.empty() || by.by_time) return happened;
  }
  return std::nullopt;
}

} // namespace tovra
