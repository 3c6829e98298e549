// The template parser: lines of a text become nodes of a tree.
#pragma once

#include "record.hpp"

namespace tvr::loader {

// Parses a text up to its NUL. `file` names it in traces; none for a text in memory. Failure as the public
// loading functions tell it.
bool parse_text(zu_tvr_tree *tree, const char *file, const char *source, zu_do_error **error) noexcept;

} // namespace tvr::loader
