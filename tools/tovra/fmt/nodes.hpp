// All nodes that a template text loads to, as text. Formatting must not change what a template does: the
// nodes before and after are compared.
#pragma once

#include <optional>
#include <string>

namespace tovra::fmt {

struct nodes {
  bool loaded = false;
  std::string text;    // each node with its ids, in loading order
  std::string refusal; // if it does not load: ":LINE: MESSAGE", or ": MESSAGE"
};

nodes load_nodes(const std::string &text);

// The formatted text, after a check that it loads to the same nodes. Otherwise nullopt, with the reason:
// ":LINE: MESSAGE", or ": MESSAGE".
std::optional<std::string> formatted_alike(const std::string &text, std::string &refusal);

} // namespace tovra::fmt
