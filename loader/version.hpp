// The language version of a template text.
#pragma once

#include "record.hpp"

namespace tvr::loader {

// "TvrLangVersion:": the version, on the first keyword line only.
bool take_version(parse_context &parse, const char *value) noexcept;
// After a keyword line: the first one settles the version, which must be one that this loader reads.
bool check_version(parse_context &parse) noexcept;

} // namespace tvr::loader
