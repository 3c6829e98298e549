// The style of template files.
#pragma once

#include <string>
#include <string_view>

namespace tovra::fmt {

// The formatted text of a file that loads. It loads to the same nodes, in the same order.
std::string formatted(std::string_view text);

} // namespace tovra::fmt
