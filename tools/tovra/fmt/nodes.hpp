// What a template text loads to, all of it as text.
#pragma once

#include <optional>
#include <string>

namespace tovra::fmt {

struct nodes {
  bool loaded = false;
  std::string text;    // each node with its ids, in the order of loading
  std::string refusal; // when not loaded: ":LINE: MESSAGE", or ": MESSAGE"
};

nodes load_nodes(const std::string &text);

// A text formatted, once it is seen to load to the same nodes; none with the reason: ":LINE: MESSAGE", or
// ": MESSAGE".
std::optional<std::string> formatted_alike(const std::string &text, std::string &refusal);

} // namespace tovra::fmt
