// Condition lines: the text for the print node, and the eval properties read out of it.
#pragma once

#include "record.hpp"

namespace tvr::loader {

// "Cond:": keeps the text, and the eval pairs that it holds as properties. A fault in the pairs drops the
// properties with a trace, never the line.
bool take_cond(parse_context &parse, const char *value) noexcept;

} // namespace tvr::loader
