// Where in a document its data stand.
#pragma once

#include <string>
#include <string_view>

#include <libyang/libyang.h>

namespace zu_yang {

struct position {
  std::string path; // of the data, with the keys of entries
  size_t line = 0;  // 0: it is not known
};

// libyang tells the line of what it cannot parse. Of what is parsed and not valid it tells a path: that of
// data, or of what is missing somewhere in them. The data are those of the text (JSON or XML).
position find_position(const lyd_node *data, std::string_view text, const std::string &told);

} // namespace zu_yang
