// A file that is written whole or not at all.
#include "output_file.hpp"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "output.hpp"

namespace tovra {

namespace {

char unfinished[PATH_MAX] = ""; // the new file's path, here so that a signal handler can remove it

bool refuse(const std::string &path, const std::string &why) {
  say("tovra: --output " + path + ": " + why);
  return false;
}

bool refuse(const std::string &path, int failure) {
  return refuse(path, std::generic_category().message(failure));
}

void end_by_signal(int number) {
  drop_output_file();
  std::signal(number, SIG_DFL);
  raise(number);
}

std::string folder_of(const std::string &path) {
  const size_t slash = path.rfind('/');
  return slash == path.npos ? "." : path.substr(0, slash + 1);
}

// So that a crash of the machine does not lose the new name.
void settle_folder(const std::string &path) {
  const int folder = ::open(folder_of(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder < 0) return;
  fsync(folder);
  close(folder);
}

} // namespace

void drop_output_file() {
  if (unfinished[0] != '\0') unlink(unfinished);
  unfinished[0] = '\0';
}

output_file::~output_file() {
  if (number_ >= 0) close(number_);
  drop_output_file();
}

bool output_file::open(const std::string &path) {
  path_ = path;
  struct stat about = {};
  mode_t mode = 0;
  if (stat(path.c_str(), &about) == 0) {
    // A device or a pipe would be replaced, not written.
    if (!S_ISREG(about.st_mode)) return refuse(path, "not a regular file");
    char real[PATH_MAX];
    if (realpath(path.c_str(), real) == nullptr) return refuse(path, errno);
    path_ = real;
    mode = about.st_mode & 07777;
  } else {
    const mode_t mask = umask(0);
    umask(mask);
    mode = 0666 & ~mask;
  }
  std::string beside = path_ + ".XXXXXX";
  if (beside.size() >= sizeof unfinished) return refuse(path, ENAMETOOLONG);
  number_ = mkostemp(beside.data(), O_CLOEXEC);
  if (number_ < 0) return refuse(path, errno);
  std::memcpy(unfinished, beside.c_str(), beside.size() + 1);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) std::signal(number, end_by_signal);
  return fchmod(number_, mode) == 0 || refuse(path, errno);
}

bool output_file::put_in_place() {
  if (fsync(number_) != 0) return refuse(path_, errno);
  if (close(std::exchange(number_, -1)) != 0) return refuse(path_, errno);
  if (rename(unfinished, path_.c_str()) != 0) return refuse(path_, errno);
  unfinished[0] = '\0';
  settle_folder(path_);
  return true;
}

} // namespace tovra
