// A file written whole or not at all.
#pragma once

#include <filesystem>
#include <string>

namespace tovra {

// A file that is there keeps its rights, and a link to it stays one. Throws filesystem_error.
void write_file(const std::filesystem::path &path, const std::string &text);

} // namespace tovra
