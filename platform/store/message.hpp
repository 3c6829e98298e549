// What messages about a data file show: names from it, lines and columns.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "infra/text.hpp"

namespace store {

// A name from the file as it is shown in a message: in quotes, control bytes escaped, long ones cut.
std::string in_quotes(std::string_view text);

// A copy that is freed with qfree_named. Throws std::bad_alloc.
char *new_text(std::string_view text);

infra::place place_of(std::string_view text, size_t offset);

} // namespace store
