// The keyword lines of a template text.
#pragma once

#include "record.hpp"

namespace tvr::loader {

// Adds a line that begins with a keyword to the record; any
// other line changes nothing. False: the line is refused.
bool take_keyword_line(parse_context &parse, const char *line) noexcept;

// Called after each keyword line: after the first one it checks that this loader can read the text's version.
bool check_version(parse_context &parse) noexcept;

// The lines that have a file of their own. False: the line is refused.
bool take_props(parse_context &parse, const char *value) noexcept;
bool take_location(parse_context &parse, const char *value) noexcept;
bool take_value_map(parse_context &parse, const char *value) noexcept;
// Keeps the text, and its eval pairs as properties. A fault in the pairs drops the properties with a trace,
// but never the line.
bool take_cond(parse_context &parse, const char *value) noexcept;
// The version, on the first keyword line only.
bool take_version(parse_context &parse, const char *value) noexcept;

} // namespace tvr::loader
