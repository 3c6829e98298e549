// Written beside the file, and then put in its place.
#include "write_file.hpp"

#include <fstream>

namespace tovra {

namespace fs = std::filesystem;

void write_file(const fs::path &path, const std::string &text) {
  const bool there = fs::exists(path);
  const fs::path file = there ? fs::canonical(path) : path;
  const fs::path fresh = file.string() + ".tovra-new";
  if (there) fs::copy_file(file, fresh, fs::copy_options::overwrite_existing); // its rights
  std::ofstream out(fresh, std::ios::binary);
  out << text;
  out.close();
  if (!out) {
    std::error_code ignored;
    fs::remove(fresh, ignored);
    throw fs::filesystem_error("write", path, std::make_error_code(std::errc::io_error));
  }
  fs::rename(fresh, file);
}

} // namespace tovra
