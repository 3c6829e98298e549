// Loads the templates into a tree of the host's own, before anything is rendered, so that a fault in them is
// reported with its file and line.
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

// Registers the library with its allocator and its trace service. False after a failure, which has been
// reported.
bool start_library();

// Loads the templates and resolves their links. Null after a failure, which has been reported as `FILE:LINE:
// MESSAGE`, as far as file and line are known.
tree_handle load_templates(const std::optional<std::string> &directories);

// How a fault is reported: its place `FILE:LINE: `, as far as it is known, and the message.
std::string place_of(const zu_tvr_diagnostic &fault);
std::string words_of(const zu_tvr_diagnostic &fault);

// The directories that are loaded, separated by ':': the given ones, or those that the library itself would
// use. Nullopt when there are none, which has been reported.
std::optional<std::string> template_directories(const std::optional<std::string> &given);

// The id of every node of a tree.
std::map<const zu_tvr_node *, std::string> node_ids(const zu_tvr_tree &tree);
// `FILE:LINE ID`, as far as they are known.
std::string place_of(const zu_tvr_node &node);
// The op of the node, as `Op:` names it.
const char *op_name(const zu_tvr_node &node);
// The node with that id, or null.
zu_tvr_node *find_node(const zu_tvr_tree &tree, const std::string &id);

} // namespace tovra
