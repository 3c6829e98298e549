// Template text from a file or from memory.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include "load.hpp"
#include "zu_tovra/internal/cause.hpp"
#include "zu_tovra/loader.h"

namespace tvr::loader {

namespace {

using open_file = unique<FILE, std::fclose>;

// Opens without waiting: a pipe that is named like a template file must not block the host. It is refused
// later, because it cannot be positioned.
open_file open_for_reading(const char *path) noexcept {
  const int number = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (number < 0) return nullptr;
  open_file file(fdopen(number, "r"));
  if (file == nullptr) (void)close(number);
  return file;
}

// The whole file as a text, read in one block; null (traced, in one case with an error object) on failure.
text read_whole(FILE *file, const char *path, zu_do_error **error) noexcept {
  if (std::fseek(file, 0, SEEK_END) != 0) {
    TVR_ERROR("Unable to seek to end of file %s", path);
    set_error(error, ZU_CANNOT_OPEN, "Unable to seek to end of file");
    return nullptr;
  }
  const long position = std::ftell(file);
  if (position < 0 || std::fseek(file, 0, SEEK_SET) != 0) {
    TVR_EXPLAIN("Unable to get file position in %s", path);
    return nullptr;
  }
  const size_t size = static_cast<size_t>(position);
  text contents = or_error(make_room<char>(size + 1), "Failed to allocate string");
  if (contents == nullptr) return nullptr;
  if (std::fread(contents.get(), size, 1, file) != 1) {
    TVR_EXPLAIN("Unable to read contents of file %s", path);
    return nullptr;
  }
  contents.get()[size] = '\0';
  return contents;
}

text read_file(const char *path, zu_do_error **error) noexcept {
  TVR_INFO("loader loading file: %s", path);
  const open_file file = open_for_reading(path);
  if (file != nullptr) return read_whole(file.get(), path, error);
  TVR_ERROR("Unable to open file for reading: %s", path);
  set_error(error, ZU_CANNOT_OPEN, "Unable to open file for reading");
  return nullptr;
}

} // namespace

bool load_file(load_context &load, const char *path) noexcept {
  forget_cause();
  const text contents = read_file(path, load.error);
  if (contents != nullptr) return parse_text(load, path, contents.get());
  zu_tvr_diagnostic fault{};
  fault.kind = ZU_TVR_FAULT_FILE;
  fault.file = path;
  return tell_fault(load, fault);
}

} // namespace tvr::loader

bool zu_tvr_load_file(zu_tvr_tree *tree, const char *path_to_file, zu_do_error **error) noexcept {
  using namespace tvr::loader;
  TVR_ASSERT(tree);
  TVR_ASSERT(path_to_file);
  TVR_ASSERT(error);
  load_context load{tree, error};
  return load_file(load, path_to_file);
}

bool zu_tvr_load_meta_from_str(zu_tvr_tree *tree, const char *data_str, zu_do_error **error) noexcept {
  using namespace tvr::loader;
  TVR_ASSERT(tree);
  TVR_ASSERT(data_str);
  TVR_ASSERT(error);
  TVR_INFO("loader loading metadata from string");
  load_context load{tree, error};
  return parse_text(load, nullptr, data_str);
}
