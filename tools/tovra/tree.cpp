// `tovra tree`: the template tree as the loader linked it.
#include <algorithm>
#include <cstdio>

#include "commands.hpp"
#include "templates.hpp"

namespace tovra {

namespace {

const char *op_name(const zu_tvr_node &node) {
  static constexpr const char *names[] = {"no_op",   "push_mode", "get_collection",
                                          "get_one", "iter",      "print_if"};
  return node.type < std::size(names) ? names[node.type] : "?";
}

// What tells a node from its siblings: its destination, URI or format.
std::string detail(const zu_tvr_node &node) {
  switch (node.type) {
  case TVR_NODE_JUMP: {
    const auto *jump = static_cast<const zu_tvr_jump_data *>(node.data);
    return std::string("-> ") + jump->dest_id + (jump->dest == nullptr ? " (no such node)" : "");
  }
  case TVR_NODE_COLL:
    return static_cast<const zu_tvr_coll_data *>(node.data)->coll_uri->text;
  case TVR_NODE_CRUDX:
    return static_cast<const zu_tvr_crudx_data *>(node.data)->uri->text;
  case TVR_NODE_PRINT:
    return std::string("\"") + static_cast<const zu_tvr_print_data *>(node.data)->format + "\"";
  default:
    return "";
  }
}

// Deeper than any walk goes, indentation would only make the text grow with the square of the depth.
constexpr size_t deepest_shown = 1000;

void show(const zu_tvr_node &node, size_t depth, const std::map<const zu_tvr_node *, std::string> &ids) {
  const std::string told = detail(node);
  const auto indentation = static_cast<int>(2 * std::min(depth, deepest_shown));
  std::printf("%*s%s %s%s%s\n", indentation, "", ids.at(&node).c_str(), op_name(node),
              told.empty() ? "" : " ", told.c_str());
}

} // namespace

int show_tree(const options &asked) {
  if (!start_library()) return failed;
  const tree_handle tree = load_templates(asked.templates);
  if (!tree) return failed;
  if (asked.raw) {
    zu_tvr_tree_print(stdout, 0, tree.get());
    return done;
  }
  const auto ids = node_ids(*tree);
  size_t depth = 0;
  const zu_tvr_node *node = tree->root;
  while (node != nullptr) { // depth first without recursion: a tree may be as deep as its author likes
    show(*node, depth, ids);
    if (node->first_child != nullptr) {
      node = node->first_child;
      ++depth;
      continue;
    }
    while (node != nullptr && node->next_sibling == nullptr) {
      node = node->parent;
      depth -= depth > 0 ? 1 : 0;
    }
    if (node != nullptr) node = node->next_sibling;
  }
  return done;
}

} // namespace tovra
