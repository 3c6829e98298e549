// What a template text loads to, all of it as text.
#pragma once

#include <string>

namespace tovra::fmt {

struct nodes {
  bool loaded = false;
  std::string text;    // each node with its ids, in the order of loading
  std::string refusal; // when not loaded: ":LINE: MESSAGE", or ": MESSAGE"
};

nodes load_nodes(const std::string &text);

} // namespace tovra::fmt
