// The templates as the host sees them: loaded once into a tree of its own before anything is rendered, so
// that a fault in them is told with its file and line.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "zu_tovra/zu_tovra.h"

namespace tovra {

struct tree_deleter {
  void operator()(zu_tvr_tree *tree) const { zu_tvr_tree_delete(tree); }
};
using tree_handle = std::unique_ptr<zu_tvr_tree, tree_deleter>;

// Registers the library with its allocator and its trace service. False (said on standard error) on failure.
bool start_library();

// Loads the templates and resolves their links; none after a failure, which is said on standard error as
// `FILE:LINE: MESSAGE`, as far as file and line are known.
tree_handle load_templates(const std::optional<std::string> &directories);

// How a fault is told: `FILE:LINE: `, as far as it is known, and what it is.
std::string place_of(const zu_tvr_diagnostic &fault);
std::string words_of(const zu_tvr_diagnostic &fault);

// The directories that are loaded, separated by ':': the given ones, or what the library's own rule finds.
// None when it finds nothing, which is said.
std::optional<std::string> template_directories(const std::optional<std::string> &given);

// The id of every node of a tree.
std::map<const zu_tvr_node *, std::string> node_ids(const zu_tvr_tree &tree);
// `FILE:LINE ID`, as far as the node has them.
std::string place_of(const zu_tvr_node &node);
// What it does, as `Op:` says it.
const char *op_name(const zu_tvr_node &node);
// The node of an id, or none.
zu_tvr_node *find_node(const zu_tvr_tree &tree, const std::string &id);

} // namespace tovra
