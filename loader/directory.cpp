// Template directories: which ones, and every template file in them, by name.
#include <dirent.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "load.hpp"
#include "zu_tovra/internal/cause.hpp"
#include "zu_tovra/loader.h"

namespace tvr::loader {

namespace {

constexpr size_t path_room = 4096;
constexpr char no_buffer[] = "Failed to allocate buffer";

// The directory text of the environment, in `room` if it has to be put together; null (traced) when no
// variable is set.
const char *default_directory(char (&room)[path_room], zu_do_error **error) noexcept {
  if (const char *given = std::getenv("ZU_TVR_DIR")) return given;
  if (const char *prefix = std::getenv("ORLIX_INSTALL_PREFIX")) {
    const int length = std::snprintf(room, sizeof room, "%s%s", prefix, "tvr");
    if (length >= 0 && static_cast<size_t>(length) < sizeof room) return room;
    refuse(error, "tvr dir path exceeds maximum path length");
    return nullptr;
  }
  if (const char *bay = std::getenv("TARVO_BAY_LOCAL"); bay != nullptr && *bay != '\0') {
    std::snprintf(room, sizeof room, "%s/%s/%s", "/tmp/sw/cfg", bay, "tvr");
    return room;
  }
  TVR_EXPLAIN("tvr bay env var is not set");
  return nullptr;
}

// The names of a directory's template files.
class file_names {
public:
  file_names() noexcept = default;
  file_names(const file_names &) = delete;
  file_names &operator=(const file_names &) = delete;
  ~file_names() {
    for (char *name : *this) const text freed(name);
  }

  [[nodiscard]] bool add(const char *name) noexcept {
    if (count_ == room_ && !make_room()) return false;
    char *copy = copy_text(name).release();
    if (copy == nullptr) return false;
    names_.get()[count_++] = copy;
    return true;
  }

  // By their bytes, so that a load is the same on every file system.
  void sort() noexcept {
    std::sort(begin(), end(), [](const char *a, const char *b) { return std::strcmp(a, b) < 0; });
  }

  char **begin() const noexcept { return names_.get(); }
  char **end() const noexcept { return names_.get() + count_; }

private:
  bool make_room() noexcept {
    const size_t room = room_ == 0 ? 16 : 2 * room_;
    if (!resize(names_, room)) return false;
    room_ = room;
    return true;
  }

  block<char *> names_;
  size_t count_ = 0;
  size_t room_ = 0;
};

bool read_names(const char *path, file_names *names, zu_do_error **error) noexcept {
  const unique<DIR, closedir> directory(opendir(path));
  if (directory == nullptr) {
    TVR_ERROR("Unable to open dir %s", path);
    return set_error(error, ZU_CANNOT_OPEN, "Unable to open directory");
  }
  errno = 0;
  while (const dirent *entry = readdir(directory.get())) {
    const bool is_template = std::string_view(entry->d_name).ends_with(".tvr");
    if (is_template && !names->add(entry->d_name)) return set_error(error, ZU_EXHAUSTED, no_buffer);
    errno = 0;
  }
  if (errno != 0) {
    TVR_ERROR("Unable to read dir %s", path);
    return set_error(error, ZU_CANNOT_OPEN, "Unable to read directory");
  }
  names->sort();
  return true;
}

bool load_directory(load_context &load, std::string_view directory) noexcept {
  growable path;
  if (!make_buffer(path, directory.size() + 2)) {
    set_error(load.error, ZU_EXHAUSTED, no_buffer);
    return tell_fault(load, {});
  }
  std::memcpy(path.chars.get(), directory.data(), directory.size());
  file_names names;
  zu_tvr_diagnostic fault{};
  fault.file = path.chars.get();
  if (!read_names(path.chars.get(), &names, load.error)) return tell_fault(load, fault);

  for (const char *name : names) {
    const size_t name_size = std::strlen(name) + 1;
    if (!grow(path, directory.size() + 1 + name_size, load.error)) return tell_fault(load, {});
    path.chars.get()[directory.size()] = '/';
    std::memcpy(path.chars.get() + directory.size() + 1, name, name_size);
    const bool loaded = load_file(load, path.chars.get());
    if (!loaded || *load.error != nullptr) return loaded;
  }
  return true;
}

} // namespace

// Each directory of the list in turn; empty entries are skipped.
bool load_list(load_context &load, const char *directories) noexcept {
  TVR_DEBUG("zu_tvr load dir %s", directories);
  forget_cause();
  char room[path_room];
  if (directories == nullptr) directories = default_directory(room, load.error);
  if (directories == nullptr) return tell_fault(load, {});
  TVR_INFO("loader loading from dir: %s", directories);
  for (std::string_view list = directories; !list.empty();) {
    const size_t length = std::min(list.find(':'), list.size());
    if (length > 0) {
      const bool loaded = load_directory(load, list.substr(0, length));
      if (!loaded || *load.error != nullptr) return loaded;
    }
    list.remove_prefix(std::min(length + 1, list.size()));
  }
  return true;
}

} // namespace tvr::loader

bool zu_tvr_load_directory(zu_tvr_tree *tree, const char *directory, zu_do_error **error) noexcept {
  using namespace tvr::loader;
  TVR_ASSERT(tree);
  TVR_ASSERT(error);
  load_context load{tree, error};
  return load_list(load, directory);
}

char *zu_tvr_template_directories(zu_do_error **error) noexcept {
  using namespace tvr::loader;
  TVR_ASSERT(error);
  char room[path_room];
  const char *found = default_directory(room, error);
  if (found == nullptr) return nullptr;
  char *copy = tvr::copy_text(found).release();
  if (copy == nullptr) exhausted(error, "Failed to allocate string");
  return copy;
}
