// `tovra tree`: the template tree as the loader has linked it.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>

#include "commands.hpp"
#include "output.hpp"
#include "templates.hpp"

namespace tovra {

namespace {

// What makes the node different from its siblings: its destination, URI or format.
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

// Indentation stops at this depth. Beyond it, indentation would only make the text grow with the square of
// the depth, and no walk goes so deep.
constexpr size_t deepest_shown = 1000;

bool show(output &out, const zu_tvr_node &node, size_t depth,
          const std::map<const zu_tvr_node *, std::string> &ids) {
  const std::string told = detail(node);
  const std::string line = ids.at(&node) + " " + op_name(node) + (told.empty() ? "" : " ") + told;
  return out.write(std::string(2 * std::min(depth, deepest_shown), ' ') + visible(line) + "\n");
}

// The library writes its dump to a stream. We collect it there, to make control characters visible.
bool show_raw(output &out, zu_tvr_tree &tree) {
  char *text = nullptr;
  size_t length = 0;
  FILE *stream = open_memstream(&text, &length);
  if (stream == nullptr) throw std::bad_alloc();
  zu_tvr_tree_print(stream, 0, &tree);
  if (std::fclose(stream) != 0) throw std::bad_alloc();
  const std::unique_ptr<char, decltype(&std::free)> owned(text, std::free);
  std::string shown = "\n"; // the output leaves out the first newline
  for (std::string_view rest(text, length); !rest.empty();) {
    const size_t end = std::min(rest.find('\n'), rest.size());
    const size_t tabs = std::min(rest.find_first_not_of('\t'), end); // its indentation
    shown += std::string(tabs, '\t') + visible(rest.substr(tabs, end - tabs)) + "\n";
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return out.write(shown);
}

} // namespace

int show_tree(const options &asked) {
  if (!start_library()) return failed;
  const tree_handle tree = load_templates(asked.templates);
  if (!tree) return failed;
  output out;
  if (asked.raw) return show_raw(out, *tree) && out.flush() ? done : failed;
  const auto ids = node_ids(*tree);
  size_t depth = 0;
  const zu_tvr_node *node = tree->root;
  while (node != nullptr) { // depth first without recursion, as a tree may be very deep
    if (!show(out, *node, depth, ids)) return failed;
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
  return out.flush() ? done : failed;
}

} // namespace tovra
