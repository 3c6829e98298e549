// Reads data files for the program.
#include "data_file.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "commands.hpp"
#include "output.hpp"
#include "progress.hpp"
#include "qmalloc/qmalloc.h"
#include "redis/open.hpp"
#include "zuapi/zuapi.h"

namespace tovra {

namespace {

// A device or a pipe may never end: reading stops at this size.
constexpr size_t most_from_a_stream = size_t{1} << 30;

bool is_standard_input(const std::string &path) {
  return path == "-" || path == "yaml:-" || path == "yang:-";
}

bool is_database(const std::string &path) {
  return path.starts_with("sqlite:") || zu_redis::is_place(path);
}

bool is_yaml(const std::string &path) {
  if (is_database(path) || is_yang(path)) return false;
  return path == "yaml:-" || path.ends_with(".yaml") || path.ends_with(".yml");
}

// Copies a text that the platform allocated, and frees it; nullopt for null.
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
    // No data file contains a NUL byte. Reading stops at one, since a device of zeros would never end.
    if (memchr(part, 0, static_cast<size_t>(length)) != nullptr) return true;
    if (text.size() > most) return say_failure(path, "more than 1 GiB that is not from a regular file");
  }
}

bool is_regular(const std::string &path) {
  struct stat about = {};
  return !is_standard_input(path) && !is_yang(path) && stat(path.c_str(), &about) == 0 &&
         S_ISREG(about.st_mode);
}

data_handle or_said(zu_data_ifc *data, zu_do_error *error) {
  if (data == nullptr) say_lines(error != nullptr ? zu_do_error_get_msg(error) : "tovra: out of memory");
  zu_do_error_deref(error);
  return data_handle(data);
}

// Reads a whole file; nullopt after a failure, which has been reported.
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

struct given_text {
  std::string path;
  std::optional<std::string> text; // nullopt: the store reads the file itself
};

std::vector<const char *> as_strings(const std::vector<std::string> &texts) {
  std::vector<const char *> strings;
  strings.reserve(texts.size());
  for (const std::string &each : texts) strings.push_back(each.c_str());
  return strings;
}

// Converts YANG data to the text of a data file; without data, only the classes of the modules. Nullopt after
// a failure, which has been reported.
std::optional<std::string> json_of_yang(const std::string &name, const std::optional<std::string> &text) {
  const auto directories = as_strings(yang().directories);
  const auto modules = as_strings(yang().names);
  const auto secrets = as_strings(yang().secrets);
  const zu_store_yang schema = {directories.data(), directories.size(), modules.data(),
                                modules.size(),     secrets.data(),     secrets.size()};
  zu_do_error *error = nullptr;
  auto made = taken(zu_store_json_of_yang(&schema, name.c_str(), text ? text->data() : nullptr,
                                          text ? text->size() : 0, &error));
  if (!made) or_said(nullptr, error);
  return made;
}

std::optional<std::string> read_yang(const std::string &path) {
  const bool is_file = !is_standard_input(path);
  const std::string file = is_file ? path.substr(yang_scheme.size()) : path;
  const auto text = read_text(file);
  return text ? json_of_yang(is_file ? file : data_name(path), text) : std::nullopt;
}

// The text of data in any of the forms; nullopt after a failure, which has been reported.
std::optional<std::string> text_of(const std::string &path) {
  if (is_yang(path)) return read_yang(path);
  if (!is_database(path)) return read_text(path);
  zu_do_error *error = nullptr;
  auto text = taken(zu_store_export(path.c_str(), &error));
  if (!text) or_said(nullptr, error);
  return text;
}

// Adds the classes of YANG modules to data of another form. False after a failure, which has been reported.
bool add_modules(std::vector<given_text> &given) {
  if (yang().names.empty() || is_yang(given.front().path)) return true;
  given.push_back({"YANG modules", json_of_yang("YANG modules", std::nullopt)});
  return given.back().text.has_value();
}

data_handle load_texts(const std::vector<given_text> &given) {
  std::vector<std::string> names;
  names.reserve(given.size());
  for (const given_text &each : given) names.push_back(data_name(each.path));
  std::vector<zu_store_text> sources;
  sources.reserve(given.size());
  for (size_t i = 0; i < given.size(); ++i) {
    const auto &text = given[i].text;
    sources.push_back({names[i].c_str(), text ? text->data() : nullptr, text ? text->size() : 0,
                       is_yaml(given[i].path) ? 1 : 0});
  }
  zu_do_error *error = nullptr;
  zu_data_ifc *data = zu_store_load(sources.data(), sources.data() + 1, sources.size() - 1, &error);
  return or_said(data, error);
}

} // namespace

yang_modules &yang() {
  static yang_modules all;
  return all;
}

bool has_good_modules() {
  return json_of_yang("YANG modules", std::nullopt).has_value();
}

std::vector<std::string> yang_arguments() {
  std::vector<std::string> made;
  for (const auto &each : yang().directories) made.push_back("--yang-dir=" + each);
  for (const auto &each : yang().names) made.push_back("--yang-module=" + each);
  for (const auto &each : yang().secrets) made.push_back("--yang-secret=" + each);
  return made;
}

std::string data_name(const std::string &path) {
  return is_standard_input(path) ? "standard input" : zu_redis::without_password(path);
}

std::string device_in(const std::string &database, const std::string &device) {
  if (device.empty()) return database;
  return database + (zu_redis::is_place(database) && database.find('?') != database.npos ? "&" : "?") +
         "device=" + device;
}

std::vector<std::string> data_files(const std::string &path) {
  if (is_standard_input(path) || zu_redis::is_place(path)) return {};
  if (is_yang(path)) return {path.substr(yang_scheme.size())};
  if (!is_database(path)) return {path};
  const size_t start = path.find(':') + 1;
  const std::string file = path.substr(start, path.rfind("?device=") - start);
  return {file, file + "-wal"};
}

data_handle load_data(const std::string &path, const std::vector<std::string> &classes) {
  const progress shown("loading " + data_name(path));
  if (classes.empty() && yang().names.empty() && is_database(path)) {
    zu_do_error *error = nullptr;
    zu_data_ifc *data = zu_store_open(path.c_str(), &error);
    return or_said(data, error);
  }
  std::vector<given_text> given = {{path, std::nullopt}};
  for (const std::string &each : classes) given.push_back({each, std::nullopt});
  for (given_text &each : given) {
    if (is_regular(each.path)) continue;
    each.text = text_of(each.path);
    if (!each.text) return nullptr;
  }
  if (!add_modules(given)) return nullptr;
  return load_texts(given);
}

int in_one_state(std::vector<loaded_data> &all, output *out, const std::function<int()> &step) {
  const auto any = [&all](auto &&is_so) {
    return std::any_of(all.begin(), all.end(),
                       [&](const loaded_data &each) { return is_so(each.data.get()); });
  };
  if (!any(zu_store_may_move)) return step();
  if (out != nullptr) out->hold();
  for (int tries = 1;; ++tries) {
    std::string said;
    int status = failed;
    {
      const kept_lines kept;
      status = step();
      said = kept.text();
    }
    const bool again = any(zu_store_moved) && tries < ZU_STORE_TRIES;
    const bool lost = any([](zu_data_ifc *data) { return taken(zu_store_fault(data)).has_value(); });
    if (out != nullptr && lost) out->drop();
    if (!again && any(zu_store_moved))
      said += "\ntovra: others changed the data each of " + std::to_string(tries) + " times that it was read";
    if (!again) {
      if (out != nullptr && !out->release()) status = failed;
      say_lines(said);
      return status;
    }
    for (loaded_data &each : all) {
      if (zu_store_moved(each.data.get()) && !each.load()) return failed;
    }
  }
}

void say_fault(zu_data_ifc *data) {
  if (const auto why = taken(zu_store_fault(data))) say("  " + *why);
}

std::optional<std::vector<std::string>> read_good_data(const std::string &path,
                                                       const std::vector<std::string> &classes) {
  // Each file is read once, for the store and for the caller: it may be a pipe.
  std::vector<given_text> given;
  given.push_back({path, path.empty() ? std::string(R"({"records": {}})") : text_of(path)});
  for (const std::string &each : classes) given.push_back({each, text_of(each)});
  for (const given_text &each : given) {
    if (!each.text) return std::nullopt;
  }
  if (!add_modules(given)) return std::nullopt;
  if (!load_texts(given)) return std::nullopt;
  std::vector<std::string> texts;
  for (const given_text &each : given) {
    auto json = is_yaml(each.path)
                    ? taken(zu_store_json_of_yaml("", each.text->data(), each.text->size(), nullptr))
                    : each.text;
    if (!json) return std::nullopt;
    texts.push_back(std::move(*json));
  }
  return texts;
}

} // namespace tovra
