// Data files as the program reads them.
#include "data_file.hpp"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "output.hpp"
#include "progress.hpp"
#include "qmalloc/qmalloc.h"
#include "zuapi/zuapi.h"

namespace tovra {

namespace {

// A device or a pipe may have no end: it gives at most this much.
constexpr size_t most_from_a_stream = size_t{1} << 30;

bool is_standard_input(const std::string &path) {
  return path == "-" || path == "yaml:-";
}

bool is_database(const std::string &path) {
  return path.starts_with("sqlite:");
}

bool is_yaml(const std::string &path) {
  if (is_database(path)) return false;
  return path == "yaml:-" || path.ends_with(".yaml") || path.ends_with(".yml");
}

// A text of the platform's, which is freed; none when it has none.
std::optional<std::string> taken(char *text) {
  const std::unique_ptr<char, void (*)(void *)> held(text, qfree_named);
  return held ? std::optional<std::string>(held.get()) : std::nullopt;
}

struct file_number {
  explicit file_number(const std::string &path)
      : number(is_standard_input(path) ? dup(STDIN_FILENO) : open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
  ~file_number() {
    if (number >= 0) close(number);
  }
  file_number(const file_number &) = delete;
  file_number &operator=(const file_number &) = delete;
  int number;
};

bool say_failure(const std::string &path, const std::string &why) {
  say(data_name(path) + ": " + why);
  return false;
}

bool say_system(const std::string &path, int failure) {
  return say_failure(path, std::generic_category().message(failure));
}

bool read_all(const std::string &path, int file, size_t most, std::string &text) {
  char part[size_t{64} * 1024];
  for (;;) {
    const ssize_t length = read(file, part, sizeof part);
    if (length == 0) return true;
    if (length < 0 && errno == EAGAIN) {
      pollfd until = {file, POLLIN, 0};
      poll(&until, 1, -1);
      continue;
    }
    if (length < 0 && errno == EINTR) continue;
    if (length < 0) return say_system(path, errno);
    text.append(part, static_cast<size_t>(length));
    // No data file holds a NUL: where one is, reading on finds no end, as in a device of zeros.
    if (memchr(part, 0, static_cast<size_t>(length)) != nullptr) return true;
    if (text.size() > most) return say_failure(path, "more than 1 GiB that is not from a regular file");
  }
}

bool is_regular(const std::string &path) {
  struct stat about = {};
  return !is_standard_input(path) && stat(path.c_str(), &about) == 0 && S_ISREG(about.st_mode);
}

data_handle or_said(zu_data_ifc *data, zu_do_error *error) {
  if (data == nullptr) say(error != nullptr ? zu_do_error_get_msg(error) : "tovra: out of memory");
  zu_do_error_deref(error);
  return data_handle(data);
}

// A whole file as one text; none after a failure, which is said.
std::optional<std::string> read_text(const std::string &path) {
  const file_number file(path);
  struct stat about = {};
  if (file.number < 0 || fstat(file.number, &about) != 0) {
    say_system(path, errno);
    return std::nullopt;
  }
  std::string text;
  if (S_ISREG(about.st_mode)) text.reserve(static_cast<size_t>(about.st_size) + 1);
  const size_t most = S_ISREG(about.st_mode) ? std::string::npos : most_from_a_stream;
  if (!read_all(path, file.number, most, text)) return std::nullopt;
  return text;
}

data_handle load_text(const std::string &path, const std::string &text) {
  zu_do_error *error = nullptr;
  const auto load = is_yaml(path) ? zu_store_load_yaml : zu_store_load_text;
  zu_data_ifc *data = load(data_name(path).c_str(), text.data(), text.size(), &error);
  return or_said(data, error);
}

} // namespace

std::string data_name(const std::string &path) {
  return is_standard_input(path) ? "standard input" : path;
}

data_handle load_data(const std::string &path) {
  const progress shown("loading " + data_name(path));
  if (!is_regular(path) && !is_database(path)) {
    const auto text = read_text(path);
    return text ? load_text(path, *text) : nullptr;
  }
  zu_do_error *error = nullptr;
  zu_data_ifc *data = zu_store_open(path.c_str(), &error);
  return or_said(data, error);
}

void say_fault(zu_data_ifc *data) {
  if (const auto why = taken(zu_store_fault(data))) say("  " + *why);
}

std::optional<std::string> read_good_data(const std::string &path) {
  // Once, for the store and for who asks: it may be a pipe.
  zu_do_error *error = nullptr;
  const bool database = is_database(path);
  auto read = database ? taken(zu_store_export(path.c_str(), &error)) : read_text(path);
  if (!read) {
    if (database) or_said(nullptr, error);
    return std::nullopt;
  }
  if (!load_text(path, *read)) return std::nullopt;
  if (!is_yaml(path)) return read;
  return taken(zu_store_json_of_yaml("", read->data(), read->size(), nullptr));
}

} // namespace tovra
