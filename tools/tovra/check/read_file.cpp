// Reads a file as one text.
#include "read_file.hpp"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace tovra::check {

int read_file(const std::string &path, std::string &text) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return errno;
  int failure = 0;
  char part[64 * 1024];
  for (ssize_t length = 1; length != 0 && failure == 0;) {
    length = read(file, part, sizeof part);
    if (length > 0) text.append(part, static_cast<size_t>(length));
    if (length < 0 && errno != EINTR) failure = errno;
  }
  close(file);
  return failure;
}

} // namespace tovra::check
