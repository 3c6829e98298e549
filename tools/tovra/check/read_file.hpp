// A file as one text.
#pragma once

#include <string>

namespace tovra::check {

// Reads a file or pipe to its end: 0, or the system's error number.
int read_file(const std::string &path, std::string &text);

} // namespace tovra::check
