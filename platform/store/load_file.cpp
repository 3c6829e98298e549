// Loads data files: reads them whole, and turns every way to fail into an error object.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

#include "store/interfaces.hpp"
#include "store/loader.hpp"
#include "yaml/document.hpp"

namespace store {

namespace {

class file_handle {
public:
  explicit file_handle(const char *path) : number_(open(path, O_RDONLY | O_CLOEXEC)) {}
  ~file_handle() {
    if (number_ >= 0) close(number_);
  }
  file_handle(const file_handle &) = delete;
  file_handle &operator=(const file_handle &) = delete;
  int number() const { return number_; }

private:
  int number_;
};

// Reads a file or pipe to its end: 0 or the system's error number. Throws std::bad_alloc.
int read_whole(const char *path, padded_text &text) {
  const file_handle file(path);
  if (file.number() < 0) return errno;
  struct stat about = {};
  if (fstat(file.number(), &about) != 0) return errno;
  if (S_ISDIR(about.st_mode)) return EISDIR;
  constexpr size_t least = size_t{64} << 10;
  // One byte more than the file is said to have, so that its end is seen without growing.
  text.reserve(S_ISREG(about.st_mode) ? static_cast<size_t>(about.st_size) + 1 : least);
  for (;;) {
    if (text.room() == 0) text.reserve(text.view().size() * 2 + least);
    const ssize_t length = read(file.number(), text.end(), text.room());
    if (length == 0) return 0;
    if (length > 0) {
      text.extend(static_cast<size_t>(length));
    } else if (errno != EINTR) {
      return errno;
    }
  }
}

void report(zu_do_error **error, int32_t code, const std::string &message) {
  if (error != nullptr) *error = zu_do_error_new(code, message.c_str());
}

void refuse(zu_do_error **error, const char *name, infra::place at, const std::string &message) {
  report(error, ZU_FAILED,
         std::string(name) + ":" + std::to_string(at.line) + ":" + std::to_string(at.column) + ": " +
             message);
}

// `yaml`: what the text was made of, or null.
zu_data_ifc *load(const char *name, padded_text &text, const zu_yaml::document *yaml, zu_do_error **error) {
  data_object *object = data_object_new();
  try {
    load_json(text, object->data);
    return &object->ifc;
  } catch (const zu_json::refusal &refused) {
    data_object_release(object);
    const auto at = yaml != nullptr ? yaml->place_of(refused.offset) : place_of(text.view(), refused.offset);
    refuse(error, name, at, refused.message);
    return nullptr;
  } catch (...) {
    data_object_release(object);
    throw;
  }
}

// The text as JSON; false after a refusal, which is reported.
bool convert(const char *name, std::string_view text, zu_yaml::document &made, zu_do_error **error) {
  try {
    made = zu_yaml::read_document(text);
    return true;
  } catch (const zu_yaml::refusal &refused) {
    refuse(error, name, refused.at, refused.message);
    return false;
  }
}

zu_data_ifc *load_yaml(const char *name, std::string_view text, zu_do_error **error) {
  zu_yaml::document made;
  if (!convert(name, text, made, error)) return nullptr;
  padded_text json;
  json.append(made.json);
  return load(name, json, &made, error);
}

bool is_yaml_name(std::string_view path) {
  return path.ends_with(".yaml") || path.ends_with(".yml");
}

// Runs a way to load, which may throw std::bad_alloc.
template <class Load>
auto guarded(const char *name, zu_do_error **error, Load &&load_it) noexcept -> decltype(load_it()) {
  if (error != nullptr) *error = nullptr;
  try {
    return load_it();
  } catch (...) {
    try {
      report(error, ZU_EXHAUSTED, std::string(name) + ": out of memory");
    } catch (...) {
      if (error != nullptr) *error = zu_do_error_new(ZU_EXHAUSTED, "out of memory");
    }
    return nullptr;
  }
}

} // namespace

} // namespace store

zu_data_ifc *zu_store_load_file(const char *path, zu_do_error **error) {
  if (path == nullptr) path = "";
  return store::guarded(path, error, [&]() -> zu_data_ifc * {
    store::padded_text text;
    const int number = store::read_whole(path, text);
    if (number == 0) {
      return store::is_yaml_name(path) ? store::load_yaml(path, text.view(), error)
                                       : store::load(path, text, nullptr, error);
    }
    store::report(error, ZU_CANNOT_OPEN, std::string(path) + ": " + std::generic_category().message(number));
    return nullptr;
  });
}

zu_data_ifc *zu_store_load_text(const char *name, const char *text, size_t length, zu_do_error **error) {
  if (name == nullptr) name = "";
  return store::guarded(name, error, [&] {
    store::padded_text copy;
    copy.append({text, length});
    return store::load(name, copy, nullptr, error);
  });
}

zu_data_ifc *zu_store_load_yaml(const char *name, const char *text, size_t length, zu_do_error **error) {
  if (name == nullptr) name = "";
  return store::guarded(name, error, [&] { return store::load_yaml(name, {text, length}, error); });
}

char *zu_store_json_of_yaml(const char *name, const char *text, size_t length, zu_do_error **error) {
  if (name == nullptr) name = "";
  return store::guarded(name, error, [&]() -> char * {
    zu_yaml::document made;
    if (!store::convert(name, {text, length}, made, error)) return nullptr;
    return store::new_text(made.json);
  });
}
