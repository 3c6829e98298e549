// Waiting until files change: inotify tells when to look, stamps tell what is new.
#include "file_watch.hpp"

#include <cerrno>
#include <chrono>
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

constexpr int quiet_milliseconds = 40;
constexpr auto longest_gathering = std::chrono::seconds(1); // for files that never rest
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

// Reads events away; what they tell is seen in the files.
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

file_watch::file_watch(std::string directories, std::vector<std::string> files)
    : directories_(std::move(directories)), files_(std::move(files)), seen_("") {
  take_signals();
  watch_folders();
  seen_ = look();
}

file_watch::~file_watch() {
  if (events_ >= 0) close(events_);
}

template_stamp file_watch::look() const {
  template_stamp now(directories_);
  for (const std::string &file : files_) now.add(file);
  return now;
}

bool file_watch::watch_folder(const std::string &folder) {
  if (inotify_add_watch(events_, folder.c_str(), watched_events) >= 0) return true;
  if (errno != ENOSPC && errno != ENOMEM) return false;
  say("tovra: " + folder + " cannot be watched: " + std::generic_category().message(errno));
  close(std::exchange(events_, -1));
  return true;
}

// The folders of all files, of what links lead to, and those above, which may be put in the place of others;
// of a folder that is not there, the nearest one that is. Done again after each change, which may have
// brought new ones.
void file_watch::watch_folders() {
  std::set<fs::path> folders;
  const auto add = [&folders](const fs::path &folder) {
    folders.insert(folder);
    const fs::path normal = fs::absolute(folder).lexically_normal();
    folders.insert(folder_of(normal.has_filename() ? normal : folder_of(normal)));
    std::error_code none;
    const fs::path real = fs::canonical(folder, none);
    if (!none) folders.insert(real);
  };
  std::istringstream list(directories_);
  for (std::string directory; std::getline(list, directory, ':');) add(directory);
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

bool file_watch::wait() {
  pollfd until[] = {{events_, POLLIN, 0}, {end_signal, POLLIN, 0}, {STDOUT_FILENO, 0, 0}};
  while (poll(until, std::size(until), -1) < 0 && errno == EINTR) {
  }
  return until[1].revents == 0 && until[2].revents == 0;
}

void file_watch::gather() {
  const auto end = clock::now() + longest_gathering;
  pollfd more = {events_, POLLIN, 0};
  do {
    drain(events_);
  } while (clock::now() < end && poll(&more, 1, quiet_milliseconds) > 0);
}

std::optional<std::string> file_watch::next() {
  while (good() && wait()) {
    gather();
    watch_folders();
    const template_stamp now = look();
    const std::string changed = now.difference(seen_);
    seen_ = now;
    if (!changed.empty()) return changed;
  }
  return std::nullopt;
}

} // namespace tovra
