// The template tree: its tables, adding nodes, and linking them.
//
// Files are loaded in the order of their names, so a child may come before its parent. Such a child is an
// orphan: it waits in a table under the parent's id until a node with that id is added.
#include "zu_tovra/tree.h"

#include <glib.h>

#include <cstring>

#include "node.hpp"
#include "walk.hpp"
#include "zu_tovra/internal/cause.hpp"
#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/internal/uri_program.hpp"
#include "zu_tovra/jump.h"

namespace {

using tvr::or_error;
using tvr::text;
using table = tvr::unique<GHashTable, g_hash_table_destroy>;

constexpr const char *root_id = "ROOT";

// The nodes that wait for one parent.
struct tvr_orphan {
  zu_tvr_node *node;   // the first; the others follow as its siblings, in the order in which they were added
  const char *node_id; // its id, borrowed from the nodes table
};

// ---- The tables ----

void free_key(void *key) noexcept {
  TVR_ASSERT(key);
  const text freed(static_cast<char *>(key));
}
void delete_node(void *value) noexcept {
  TVR_ASSERT(value);
  zu_tvr_node_delete(static_cast<zu_tvr_node *>(value));
}
void free_orphan(void *value) noexcept {
  TVR_ASSERT(value);
  const tvr::block<tvr_orphan> freed(static_cast<tvr_orphan *>(value));
}

table new_table(void (*free_value)(void *)) noexcept {
  return table(g_hash_table_new_full(g_str_hash, g_str_equal, free_key, free_value));
}

zu_tvr_node *find_node(zu_tvr_tree *tree, const char *id) noexcept {
  return static_cast<zu_tvr_node *>(g_hash_table_lookup(tree->nodes, id));
}
tvr_orphan *find_orphan(zu_tvr_tree *tree, const char *parent_id) noexcept {
  if (tree->orphans == nullptr) return nullptr;
  return static_cast<tvr_orphan *>(g_hash_table_lookup(tree->orphans, parent_id));
}

// ---- Adding a node ----

// Ids that several template files may define, so that each
// file can hang its nodes below them. The first node is kept.
bool is_anchor(const char *id) noexcept {
  return std::strcmp(id, "config") == 0 || std::strcmp(id, "interface") == 0;
}

zu_tvr_node *elder_of(const zu_tvr_node *node) noexcept {
  return node->elder != nullptr ? node->elder : node->parent;
}

// The oldest ancestor, which has no parent. The search leaves shortcuts on its way; without them loading a
// long chain of nodes would take time in proportion to the square of its length. Shortcuts stay right,
// because a node never loses its parent.
zu_tvr_node *oldest_of(zu_tvr_node *node) noexcept {
  while (zu_tvr_node *elder = elder_of(node)) {
    zu_tvr_node *older = elder_of(elder);
    if (older == nullptr) return elder;
    node->elder = older;
    node = older;
  }
  return node;
}

// A circle would make walks endless. A new node can only close one by naming itself as parent, or by becoming
// the parent of a waiting node from which its own parent descends.
bool would_be_own_ancestor(zu_tvr_tree *tree, const char *id, const char *parent_id) noexcept {
  if (std::strcmp(id, parent_id) == 0) return true;
  const tvr_orphan *waiting = find_orphan(tree, id);
  zu_tvr_node *parent = waiting != nullptr ? find_node(tree, parent_id) : nullptr;
  if (parent == nullptr) return false;
  const zu_tvr_node *oldest = oldest_of(parent);
  if (oldest == tree->root) return false;
  for (const zu_tvr_node *node = waiting->node; node != nullptr; node = node->next_sibling) {
    if (node == oldest) return true;
  }
  return false;
}

// Makes the node that was added under `id` the parent of all nodes that wait for it.
void adopt_waiting(zu_tvr_tree *tree, zu_tvr_node *node, const char *id) noexcept {
  void *key = nullptr;
  void *value = nullptr;
  if (tree->orphans == nullptr || !g_hash_table_steal_extended(tree->orphans, id, &key, &value)) return;
  const text owned_key(static_cast<char *>(key));
  const tvr::block<tvr_orphan> orphan(static_cast<tvr_orphan *>(value));
  zu_tvr_node_connect_parent(node, orphan->node);
}

bool add_node(zu_tvr_tree *tree, zu_tvr_node *node, const char *id, const char *parent_id) noexcept {
  TVR_ASSERT(tree);
  TVR_ASSERT(node);
  TVR_ASSERT(id);
  if (find_node(tree, id) != nullptr) {
    if (!is_anchor(id)) {
      TVR_EXPLAIN("Attempting to add a duplicate node in tree: %s", id);
      return false;
    }
    zu_tvr_node_delete(node);
    return true;
  }
  if (parent_id == nullptr || *parent_id == '\0') parent_id = root_id;
  if (would_be_own_ancestor(tree, id, parent_id)) {
    TVR_EXPLAIN("Node would be its own ancestor: %s", id);
    return false;
  }
  TVR_DEBUG("tree: adding node %s", id);
  text key = or_error(tvr::copy_text(id), "Failed to allocate id");
  if (key == nullptr) return false;
  // All steps that can fail come before the first change: the caller deletes a refused node, which must not
  // have children or siblings by then.
  const tvr_orphan *siblings = find_orphan(tree, parent_id);
  zu_tvr_node *parent = find_node(tree, parent_id);
  const bool waits_first = siblings == nullptr && parent == nullptr;
  text missing_id;
  tvr::block<tvr_orphan> orphan;
  if (waits_first) {
    missing_id = or_error(tvr::copy_text(parent_id), "Failed to allocate parent id");
    if (missing_id == nullptr) return false;
    orphan = or_error(tvr::make_zeroed<tvr_orphan>(), "Failed to allocate orphan node");
    if (orphan == nullptr) return false;
    *orphan = {node, key.get()};
  }

  node->id = key.get();
  g_hash_table_insert(tree->nodes, key.release(), node);
  node->slot = ++tree->slots;
  adopt_waiting(tree, node, id);
  if (waits_first) {
    if (tree->orphans == nullptr) tree->orphans = new_table(free_orphan).release();
    g_hash_table_insert(tree->orphans, missing_id.release(), orphan.release());
  } else if (siblings != nullptr) {
    zu_tvr_node_connect_siblings(siblings->node, node);
  } else {
    zu_tvr_node_connect_parent(parent, node);
  }
  return true;
}

// ---- Resolving links ----

void trace_orphan(void *, void *value, void *) noexcept {
  TVR_ERROR("%s%s", "Unable to find parent for node: ", static_cast<tvr_orphan *>(value)->node_id);
}

void link_jump(void *, void *value, void *tree) noexcept {
  auto *node = static_cast<zu_tvr_node *>(value);
  if (node->type != TVR_NODE_JUMP) return;
  auto *jump = static_cast<zu_tvr_jump_data *>(node->data);
  zu_tvr_node *dest = find_node(static_cast<zu_tvr_tree *>(tree), jump->dest_id);
  if (dest == nullptr) {
    TVR_ERROR("Unresolved jump link to node: %s", jump->dest_id);
    return;
  }
  TVR_DEBUG("tree: jump from node %ld to node %ld (%s) resolved", tvr::node_address(node),
            tvr::node_address(dest), jump->dest_id);
  jump->dest = dest;
}

bool resolve_links(zu_tvr_tree *tree) noexcept {
  TVR_ASSERT(tree);
  TVR_INFO("tree: resolving links");
  if (tree->orphans != nullptr && g_hash_table_size(tree->orphans) != 0) {
    TVR_ERROR("zu_tvr_tree contains unresolved links");
    g_hash_table_foreach(tree->orphans, trace_orphan, nullptr);
    return false;
  }
  const table resolved(std::exchange(tree->orphans, nullptr));
  g_hash_table_foreach(tree->nodes, link_jump, tree);
  return true;
}

} // namespace

zu_tvr_tree *zu_tvr_tree_new(void) noexcept {
  auto tree = or_error(tvr::make_zeroed<zu_tvr_tree>(), "Failed to allocate zu_tvr_tree");
  if (tree == nullptr) return nullptr;
  table nodes = or_error(new_table(delete_node), "Failed to allocate tovra nodes hashtable");
  if (nodes == nullptr) return nullptr;
  text key = or_error(tvr::copy_text(root_id), "Failed to allocate key for root");
  if (key == nullptr) return nullptr;
  tree->root = or_error(zu_tvr_node_new_noop(), "Failed to allocate ROOT node");
  if (tree->root == nullptr) return nullptr;
  tree->root->slot = ++tree->slots;
  tree->root->id = key.get();
  g_hash_table_insert(nodes.get(), key.release(), tree->root);
  table orphans = or_error(new_table(free_orphan), "Failed to allocate tovra orphans hashtable");
  if (orphans == nullptr) return nullptr;
  tree->nodes = nodes.release();
  tree->orphans = orphans.release();
  tree->programs = tvr::uri_programs_new(); // without memory for it each template has its own
  tree->add_node = add_node;
  tree->resolve_links = resolve_links;
  tree->walk = tvr::walk_tree;
  return tree.release();
}

void zu_tvr_tree_delete(zu_tvr_tree *tree) noexcept {
  TVR_ASSERT(tree);
  const tvr::block<zu_tvr_tree> owner(tree);
  tvr::uri_programs_delete(tree->programs);
  const table orphans(tree->orphans); // destroyed after the nodes, whose ids its records borrow
  const table nodes(tree->nodes);
}

void zu_tvr_tree_print(FILE *fp, uint32_t indentation, zu_tvr_tree *tree) noexcept {
  TVR_ASSERT(fp);
  TVR_ASSERT(tree);
  // Along the links, so that a deep tree needs no deep stack.
  for (zu_tvr_node *node = tree->root; node != nullptr;) {
    zu_tvr_node_print(fp, indentation, node);
    if (node->first_child != nullptr) {
      node = node->first_child;
      ++indentation;
      continue;
    }
    while (node->next_sibling == nullptr && node->parent != nullptr) {
      node = node->parent;
      --indentation;
    }
    node = node->next_sibling;
  }
}
