// A file as one text.
#pragma once

#include <string>

namespace tovra::check {

// Reads a file or a pipe to its end. Returns 0, or the system's error number.
int read_file(const std::string &path, std::string &text);

} // namespace tovra::check
