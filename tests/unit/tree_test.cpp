// Nodes and their tree: the order in which children are linked, who waits for whom, where walks start.
#include <gtest/gtest.h>

#include <memory>

#include "support.h"
#include "support/fake_walk.hpp"
#include "zu_tovra/tree.h"

namespace {

using tree_ptr = std::unique_ptr<zu_tvr_tree, decltype(&zu_tvr_tree_delete)>;

tree_ptr new_tree() {
  return tree_ptr(zu_tvr_tree_new(), zu_tvr_tree_delete);
}

// Adds a no-op node; a refused one is deleted, as the loader
// does. Returns the node that the tree now has, or null.
zu_tvr_node *add(const tree_ptr &tree, const char *id, const char *parent_id) {
  zu_tvr_node *node = zu_tvr_node_new_noop();
  if (tree->add_node(tree.get(), node, id, parent_id)) return node;
  zu_tvr_node_delete(node);
  return nullptr;
}

std::vector<zu_tvr_node *> children(const zu_tvr_node *parent) {
  std::vector<zu_tvr_node *> all;
  for (zu_tvr_node *child = parent->first_child; child != nullptr; child = child->next_sibling) {
    EXPECT_EQ(child->parent, parent);
    all.push_back(child);
  }
  return all;
}

using nodes = std::vector<zu_tvr_node *>;

TEST(node, links_children_in_order_with_their_chains) {
  test::trace_log traces;
  nodes n;
  for (int i = 0; i < 7; ++i) n.push_back(zu_tvr_node_new_noop());
  zu_tvr_node_connect_parent(n[0], n[1]);
  zu_tvr_node_connect_siblings(n[2], n[3]); // a chain of two joins a child
  zu_tvr_node_connect_siblings(n[2], n[4]);
  zu_tvr_node_connect_parent(n[0], n[2]);
  zu_tvr_node_connect_parent(n[0], n[5]);
  EXPECT_EQ(children(n[0]), (nodes{n[1], n[2], n[3], n[4], n[5]}));
  zu_tvr_node_connect_parent(n[6], n[3]);
  EXPECT_EQ(traces.text(), "3 (ERR): Attempting to reparent tovra node\n");
  EXPECT_EQ(n[6]->first_child, nullptr);
  EXPECT_EQ(n[3]->parent, n[0]);
  for (zu_tvr_node *node : n) zu_tvr_node_delete(node);
}

TEST(tree, tells_of_the_first_node_that_waits) {
  const tree_ptr tree = new_tree();
  add(tree, "one", "late");
  add(tree, "first", "gone");
  add(tree, "second", "gone");
  add(tree, "late", "");
  test::trace_log traces;
  EXPECT_FALSE(tree->resolve_links(tree.get()));
  EXPECT_EQ(traces.text(), "3 (ERR): zu_tvr_tree contains unresolved links\n"
                           "3 (ERR): Unable to find parent for node: first\n");
}

TEST(tree, anchors_may_come_twice) {
  const tree_ptr tree = new_tree();
  test::trace_log traces;
  for (const char *anchor : {"config", "interface"}) {
    for (const char *parent : {"ROOT", "elsewhere"}) { // for which a dropped anchor does not wait
      EXPECT_TRUE(tree->add_node(tree.get(), zu_tvr_node_new_noop(), anchor, parent));
    }
  }
  EXPECT_TRUE(tree->resolve_links(tree.get()));
  EXPECT_EQ(add(tree, "ROOT", nullptr), nullptr);
  EXPECT_EQ(traces.text(), "3 (ERR): Attempting to add a duplicate node in tree: ROOT\n");
}

TEST(tree, refuses_circles) {
  const tree_ptr tree = new_tree();
  test::trace_log traces;
  EXPECT_EQ(add(tree, "self", "self"), nullptr);
  // c waits for b, b for a; a under c would close the circle.
  auto *c = add(tree, "c", "b");
  auto *side = add(tree, "side", "a");
  auto *b = add(tree, "b", "a");
  for (const char *parent : {"c", "b"}) EXPECT_EQ(add(tree, "a", parent), nullptr);
  EXPECT_EQ(traces.text(), "3 (ERR): Node would be its own ancestor: self\n"
                           "3 (ERR): Node would be its own ancestor: a\n"
                           "3 (ERR): Node would be its own ancestor: a\n");
  // Who waits is not lost with the refused.
  auto *a = add(tree, "a", "elsewhere");
  EXPECT_EQ(children(a), (nodes{side, b}));
  EXPECT_EQ(children(b), nodes{c});
  EXPECT_EQ(add(tree, "elsewhere", "c"), nullptr);
  add(tree, "elsewhere", nullptr);
  EXPECT_TRUE(tree->resolve_links(tree.get()));
}

// Where walks start, besides what the golden cases of partial renders show.
TEST(tree, walks_from_any_node_that_it_has) {
  const tree_ptr tree = new_tree();
  static int walks;
  walks = 0;
  add(tree, "leaf", "never")->walk = [](auto *, auto *) { return ++walks > 0; };
  test::fake_walk walk;
  EXPECT_TRUE(tree->walk(tree.get(), "leaf", walk));
  EXPECT_EQ(walks, 1);
  test::trace_log traces;
  EXPECT_FALSE(tree->walk(tree.get(), "nobody", walk));
  EXPECT_EQ(traces.text(), "3 (ERR): Invalid node id: nobody\n");
}

} // namespace
