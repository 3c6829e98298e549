// Where in a module a statement stands, which libyang forgets once it has parsed it.
#pragma once

#include <cstddef>
#include <string_view>

namespace zu_yang {

// The line of what a path of the schema leads to, "/m:c/{uses='g'}/m:x", in the text of the module m. What
// comes by a uses stands elsewhere: then it is the line of that; of another thing that is not found, of the
// one around it. 0: it is not known.
size_t statement_line(std::string_view text, std::string_view path);

} // namespace zu_yang
