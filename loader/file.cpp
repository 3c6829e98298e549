// Template text from a file or from memory.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include "parser.hpp"
#include "zu_tovra/internal/report.hpp"
#include "zu_tovra/loader.h"

namespace tvr::loader {

namespace {

using open_file = unique<FILE, std::fclose>;

// Opens without waiting: a pipe that is named like a template file must not hold up the host. It cannot be
// positioned, and is refused for that.
open_file open_for_reading(const char *path) noexcept {
  const int number = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (number < 0) return nullptr;
  open_file file(fdopen(number, "r"));
  if (file == nullptr) (void)close(number);
  return file;
}

// The whole file as a text, read in one block; none (traced, in one case with an error object) on failure.
text read_whole(FILE *file, const char *path, zu_do_error **error) noexcept {
  if (std::fseek(file, 0, SEEK_END) != 0) {
    TVR_ERROR("Unable to seek to end of file %s", path);
    set_error(error, ZU_CANNOT_OPEN, "Unable to seek to end of file");
    return nullptr;
  }
  const long position = std::ftell(file);
  if (position < 0 || std::fseek(file, 0, SEEK_SET) != 0) {
    TVR_ERROR("Unable to get file position in %s", path);
    return nullptr;
  }
  const size_t size = static_cast<size_t>(position);
  text contents = or_error(make_room<char>(size + 1), "Failed to allocate string");
  if (contents == nullptr) return nullptr;
  if (std::fread(contents.get(), size, 1, file) != 1) {
    TVR_ERROR("Unable to read contents of file %s", path);
    return nullptr;
  }
  contents.get()[size] = '\0';
  return contents;
}

} // namespace

} // namespace tvr::loader

bool zu_tvr_load_file(zu_tvr_tree *tree, const char *path_to_file, zu_do_error **error) noexcept {
  using namespace tvr::loader;
  TVR_ASSERT(tree);
  TVR_ASSERT(path_to_file);
  TVR_ASSERT(error);
  TVR_INFO("loader loading file: %s", path_to_file);
  open_file file = open_for_reading(path_to_file);
  if (file == nullptr) {
    TVR_ERROR("Unable to open file for reading: %s", path_to_file);
    return set_error(error, ZU_CANNOT_OPEN, "Unable to open file for reading");
  }
  const tvr::text contents = read_whole(file.get(), path_to_file, error);
  file.reset();
  return contents != nullptr && parse_text(tree, path_to_file, contents.get(), error);
}

bool zu_tvr_load_meta_from_str(zu_tvr_tree *tree, const char *data_str, zu_do_error **error) noexcept {
  TVR_ASSERT(tree);
  TVR_ASSERT(data_str);
  TVR_ASSERT(error);
  TVR_INFO("loader loading metadata from string");
  return tvr::loader::parse_text(tree, nullptr, data_str, error);
}
