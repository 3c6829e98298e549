// Writes a file whole or not at all.
#include "output_file.hpp"

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "output.hpp"

namespace tovra {

namespace {

// The paths of unfinished files, in static memory so that a signal handler can remove them. An empty path is
// a free place.
char unfinished[output_file::most_at_once][PATH_MAX];
std::mutex taking;

void end_by_signal(int number) {
  drop_output_files();
  std::signal(number, SIG_DFL);
  raise(number);
}

// Removes unfinished files at signals that would end the program. A signal that the program ignores or
// handles itself is left alone.
void remove_at_signals() {
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction now = {};
    if (sigaction(number, nullptr, &now) == 0 && now.sa_handler == SIG_DFL) {
      std::signal(number, end_by_signal);
    }
  }
}

// Puts the path into a free place and returns it; null when all are taken.
char *take_place(const std::string &path) {
  const std::lock_guard alone(taking);
  for (char *place : unfinished) {
    if (place[0] != '\0') continue;
    std::memcpy(place, path.c_str(), path.size() + 1);
    return place;
  }
  return nullptr;
}

void give_back(char *place) {
  const std::lock_guard alone(taking);
  place[0] = '\0';
}

std::string folder_of(const std::string &path) {
  const size_t slash = path.rfind('/');
  return slash == path.npos ? "." : path.substr(0, slash + 1);
}

// Writes the folder to disk too, so that the new name survives a crash of the machine.
void settle_folder(const std::string &path) {
  const int folder = ::open(folder_of(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder < 0) return;
  fsync(folder);
  close(folder);
}

// The permissions of a new file. The umask can only be read by setting it, which affects all threads: so it
// is read once.
mode_t new_mode() {
  static const mode_t mask = [] {
    const mode_t now = umask(0);
    umask(now);
    return now;
  }();
  return 0666 & ~mask;
}

} // namespace

void drop_output_files() {
  for (char *place : unfinished) {
    if (place[0] != '\0') unlink(place);
  }
}

bool output_file::refuse(const std::string &reason) {
  why_ = asked_ + ": " + reason;
  return false;
}

bool output_file::refuse(int failure) {
  return refuse(std::generic_category().message(failure));
}

output_file::~output_file() {
  if (number_ >= 0) close(number_);
  if (unfinished_ == nullptr) return;
  unlink(unfinished_);
  give_back(unfinished_);
}

bool output_file::open(const std::string &path) {
  asked_ = path_ = path;
  struct stat about = {};
  mode_t mode = 0;
  if (stat(path.c_str(), &about) == 0) {
    // A device or a pipe would be replaced, not written.
    if (!S_ISREG(about.st_mode)) return refuse("not a regular file");
    char real[PATH_MAX];
    if (realpath(path.c_str(), real) == nullptr) return refuse(errno);
    path_ = real;
    mode = about.st_mode & 07777;
  } else {
    mode = new_mode();
  }
  const std::string beside = path_ + ".XXXXXX";
  if (beside.size() >= PATH_MAX) return refuse(ENAMETOOLONG);
  remove_at_signals();
  unfinished_ = take_place(beside);
  if (unfinished_ == nullptr) return refuse(EMFILE);
  number_ = mkostemp(unfinished_, O_CLOEXEC);
  if (number_ < 0) {
    const int failure = errno;
    give_back(std::exchange(unfinished_, nullptr));
    return refuse(failure);
  }
  return fchmod(number_, mode) == 0 || refuse(errno);
}

bool output_file::write(std::string_view text) {
  return write_all(number_, text) || refuse(errno);
}

bool output_file::put_in_place() {
  if (fsync(number_) != 0) return refuse(errno);
  if (close(std::exchange(number_, -1)) != 0) return refuse(errno);
  if (rename(unfinished_, path_.c_str()) != 0) return refuse(errno);
  give_back(std::exchange(unfinished_, nullptr));
  settle_folder(path_);
  return true;
}

std::string write_file(const std::string &path, std::string_view text) {
  output_file file;
  return file.open(path) && file.write(text) && file.put_in_place() ? "" : file.why();
}

} // namespace tovra
