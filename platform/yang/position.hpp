// Finds the place of data in a document.
#pragma once

#include <string>
#include <string_view>

#include <libyang/libyang.h>

namespace zu_yang {

struct position {
  std::string path; // of the data, with the keys of entries
  size_t line = 0;  // 0: it is not known
};

// libyang reports a line only for faults of parsing. For data that are parsed but not valid it reports a
// path: of the data, or of something that is missing in them. The data are those of the text (JSON or XML).
position find_position(const lyd_node *data, std::string_view text, const std::string &told);
// The line where a node of the data, or what it is part of, begins; 0: it is not known.
size_t line_of(const lyd_node *node, std::string_view text);

} // namespace zu_yang
