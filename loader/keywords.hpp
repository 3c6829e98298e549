// The keyword lines of a template text.
#pragma once

#include "record.hpp"

namespace tvr::loader {

// Takes a line that begins with a keyword into the record; a line that begins with none changes nothing.
// False: the line is refused.
bool take_keyword_line(parse_context &parse, const char *line) noexcept;

// After a keyword line: the first one settles the version, which must be one that this loader reads.
bool check_version(parse_context &parse) noexcept;

// The lines that have a file of their own. False: the line is refused.
bool take_props(parse_context &parse, const char *value) noexcept;
bool take_location(parse_context &parse, const char *value) noexcept;
bool take_value_map(parse_context &parse, const char *value) noexcept;
// Keeps the text, and the eval pairs that it holds as properties. A fault in the pairs drops the properties
// with a trace, never the line.
bool take_cond(parse_context &parse, const char *value) noexcept;
// The version, on the first keyword line only.
bool take_version(parse_context &parse, const char *value) noexcept;

} // namespace tvr::loader
