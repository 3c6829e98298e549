// The keyword lines of a template text.
#pragma once

#include "record.hpp"

namespace tvr::loader {

// Takes a line that begins with a keyword into the record; a line that begins with none changes nothing.
// False: the line is refused.
bool take_keyword_line(parse_context &parse, const char *line) noexcept;

} // namespace tvr::loader
