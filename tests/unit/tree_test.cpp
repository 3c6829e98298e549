// Nodes and their tree: the order in which children are linked, who waits for whom, dumps, where walks start.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>

#include "qmalloc/qmalloc.h"
#include "support.h"
#include "support/fake_walk.hpp"
#include "support/stream_text.hpp"
#include "zu_tovra/jump.h"
#include "zu_tovra/tree.h"

namespace {

struct delete_tree {
  void operator()(zu_tvr_tree *tree) const { zu_tvr_tree_delete(tree); }
};
using tree_ptr = std::unique_ptr<zu_tvr_tree, delete_tree>;

tree_ptr new_tree() {
  return tree_ptr(zu_tvr_tree_new());
}

// Adds a no-op node; a refused one is deleted, as the loader does. The node that the tree now holds, or none.
zu_tvr_node *add(const tree_ptr &tree, const char *id, const char *parent_id,
                 zu_tvr_node *node = zu_tvr_node_new_noop()) {
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

TEST(Node, LinksChildrenInOrderWithTheirChains) {
  const test::balanced_memory balanced;
  test::trace_log traces;
  nodes n;
  for (int i = 0; i < 7; ++i) n.push_back(zu_tvr_node_new_noop());
  zu_tvr_node_connect_parent(n[0], n[1]);
  zu_tvr_node_connect_siblings(n[2], n[3]); // a chain of two joins a child
  zu_tvr_node_connect_siblings(n[2], n[4]);
  EXPECT_EQ(n[4]->parent, nullptr);
  zu_tvr_node_connect_parent(n[0], n[2]);
  zu_tvr_node_connect_parent(n[0], n[5]);
  EXPECT_EQ(children(n[0]), (nodes{n[1], n[2], n[3], n[4], n[5]}));
  zu_tvr_node_connect_siblings(n[1], n[6]); // to the end of children, without a parent
  EXPECT_EQ(n[5]->next_sibling, n[6]);
  EXPECT_EQ(n[6]->parent, nullptr);
  EXPECT_EQ(traces.text(), "");

  zu_tvr_node_connect_parent(n[6], n[3]);
  EXPECT_EQ(traces.text(), "3 (ERR): Attempting to reparent tovra node\n");
  EXPECT_EQ(n[6]->first_child, nullptr);
  EXPECT_EQ(n[3]->parent, n[0]);
  for (zu_tvr_node *node : n) zu_tvr_node_delete(node);
}

TEST(Node, FailsToAllocateWithoutRest) {
  const test::balanced_memory balanced;
  const struct {
    const char *what;
    zu_tvr_node *(*make)();
    std::vector<const char *> traces; // when allocation n fails
  } cases[] = {
      {"noop", [] { return zu_tvr_node_new_noop(); }, {"3 (ERR): Failed to allocate tovra node\n"}},
      {"jump",
       [] { return zu_tvr_node_new_jump("there"); },
       {"3 (ERR): Failed to allocate tovra node\n",
        "3 (ERR): Failed to allocate tovra node data\n3 (ERR): Failed to allocate tovra node\n",
        "3 (ERR): Failed to allocate key in node data\n3 (ERR): Failed to allocate tovra node\n"}},
      {"iter",
       [] { return zu_tvr_node_new_iter("SLOT"); },
       {"3 (ERR): Failed to allocate tovra node\n",
        "3 (ERR): Failed to allocate tovra node\n3 (ERR): Failed to allocate tovra node\n"}},
  };
  for (const auto &c : cases) {
    for (size_t n = 0; n <= c.traces.size(); ++n) {
      test::trace_log traces;
      qmalloc_fail_nth(n + 1, false);
      zu_tvr_node *node = c.make();
      qmalloc_fail_nth(0, false);
      EXPECT_EQ(traces.text(), n < c.traces.size() ? c.traces[n] : "") << c.what << " " << n;
      EXPECT_EQ(node == nullptr, n < c.traces.size()) << c.what << " " << n;
      if (node != nullptr) zu_tvr_node_delete(node);
    }
  }
}

TEST(Node, MissingArgumentsEndTheProcess) {
  EXPECT_DEATH(zu_tvr_node_delete(nullptr), "node");
  EXPECT_DEATH(zu_tvr_node_connect_siblings(nullptr, nullptr), "oldest_node");
  EXPECT_DEATH(zu_tvr_node_new_coll(nullptr, nullptr, nullptr, nullptr, 0), "coll_uri");
  EXPECT_DEATH(zu_tvr_node_new_print(nullptr, nullptr, 0, nullptr, nullptr), "format");
}

TEST(Tree, WaitingNodesComeFirstUnderTheirParent) {
  const test::balanced_memory balanced;
  const tree_ptr tree = new_tree();
  auto *one = add(tree, "one", "late");
  auto *two = add(tree, "two", "late");
  auto *three = add(tree, "three", "late");
  auto *below = add(tree, "below", "two");
  auto *late = add(tree, "late", "");
  auto *four = add(tree, "four", "late");
  auto *top = add(tree, "top", nullptr);
  auto *named = add(tree, "named", "ROOT");
  EXPECT_EQ(children(late), (nodes{one, two, three, four}));
  EXPECT_EQ(children(two), nodes{below});
  EXPECT_EQ(children(tree->root), (nodes{late, top, named}));
  EXPECT_TRUE(tree->resolve_links(tree.get()));
  EXPECT_EQ(tree->orphans, nullptr);
  // Every node has a slot of its own.
  nodes all{tree->root, one, two, three, below, late, four, top, named};
  std::sort(all.begin(), all.end(), [](auto *a, auto *b) { return a->slot < b->slot; });
  for (size_t i = 0; i < all.size(); ++i) EXPECT_EQ(all[i]->slot, i + 1);
  // After the links are resolved a node may still come before its parent.
  auto *early = add(tree, "early", "later");
  auto *later = add(tree, "later", "top");
  EXPECT_EQ(children(later), nodes{early});
  EXPECT_TRUE(tree->resolve_links(tree.get()));
}

TEST(Tree, OnlyAnchorsMayComeTwice) {
  const test::balanced_memory balanced;
  const tree_ptr tree = new_tree();
  test::trace_log traces;
  for (const char *anchor : {"config", "interface"}) {
    zu_tvr_node *first = add(tree, anchor, nullptr);
    EXPECT_TRUE(tree->add_node(tree.get(), zu_tvr_node_new_noop(), anchor, "elsewhere"));
    zu_tvr_node *child = add(tree, (std::string(anchor) + "-child").c_str(), anchor);
    EXPECT_EQ(children(first), nodes{child});
  }
  EXPECT_EQ(traces.text(), "");
  add(tree, "a", "config");
  EXPECT_EQ(add(tree, "a", nullptr), nullptr);
  EXPECT_EQ(add(tree, "ROOT", nullptr), nullptr);
  EXPECT_EQ(traces.text(), "3 (ERR): Attempting to add a duplicate node in tree: a\n"
                           "3 (ERR): Attempting to add a duplicate node in tree: ROOT\n");
  EXPECT_TRUE(tree->resolve_links(tree.get())); // a dropped anchor waits for nobody
}

TEST(Tree, NamesWhoWaitsInVain) {
  const test::balanced_memory balanced;
  const tree_ptr tree = new_tree();
  add(tree, "first", "gone");
  add(tree, "second", "gone");
  add(tree, "other", "lost");
  zu_tvr_node *jump = add(tree, "jump", nullptr, zu_tvr_node_new_jump("other"));
  test::trace_log traces(6);
  EXPECT_FALSE(tree->resolve_links(tree.get()));
  EXPECT_EQ(traces.lines().size(), 4u) << traces.text();
  EXPECT_EQ(traces.lines()[1], "3 (ERR): zu_tvr_tree contains unresolved links");
  EXPECT_TRUE(traces.has("(info): tree: resolving links"));
  EXPECT_TRUE(traces.has("(ERR): Unable to find parent for node: first"));
  EXPECT_TRUE(traces.has("(ERR): Unable to find parent for node: other"));
  EXPECT_EQ(static_cast<zu_tvr_jump_data *>(jump->data)->dest, nullptr);
  EXPECT_NE(tree->orphans, nullptr);
}

TEST(Tree, RefusesCircles) {
  const test::balanced_memory balanced;
  const tree_ptr tree = new_tree();
  test::trace_log traces;
  EXPECT_EQ(add(tree, "self", "self"), nullptr);
  // c waits for b, b for a; a under c would close the circle, and so would a under a sibling's child.
  auto *c = add(tree, "c", "b");
  auto *side = add(tree, "side", "a");
  auto *b = add(tree, "b", "a");
  EXPECT_EQ(add(tree, "a", "c"), nullptr);
  EXPECT_EQ(add(tree, "a", "a"), nullptr);
  EXPECT_EQ(add(tree, "a", "b"), nullptr);
  EXPECT_EQ(traces.text(), "3 (ERR): Node would be its own ancestor: self\n"
                           "3 (ERR): Node would be its own ancestor: a\n"
                           "3 (ERR): Node would be its own ancestor: a\n"
                           "3 (ERR): Node would be its own ancestor: a\n");
  // Who waits is not lost with the refused.
  auto *elsewhere = add(tree, "elsewhere", "nowhere");
  auto *a = add(tree, "a", "elsewhere");
  EXPECT_EQ(children(a), (nodes{side, b}));
  EXPECT_EQ(children(b), nodes{c});
  EXPECT_EQ(children(elsewhere), nodes{a});
  EXPECT_EQ(add(tree, "nowhere", "c"), nullptr);
  add(tree, "nowhere", nullptr);
  EXPECT_TRUE(tree->resolve_links(tree.get()));
}

TEST(Tree, DumpsNodesBeforeTheirChildren) {
  const test::balanced_memory balanced;
  const tree_ptr tree = new_tree();
  add(tree, "config", nullptr);
  zu_tvr_node *jump = add(tree, "jump", "config", zu_tvr_node_new_jump("mode"));
  zu_tvr_node *lost = add(tree, "lost", "config", zu_tvr_node_new_jump("none"));
  zu_tvr_node *mode = add(tree, "mode", nullptr, zu_tvr_node_new_iter("SLOT"));
  const uint64_t base = tree->root->ordinal;
  EXPECT_EQ(mode->ordinal, base + 4);

  test::trace_log traces(7);
  EXPECT_TRUE(tree->resolve_links(tree.get()));
  EXPECT_TRUE(traces.has("(ERR): Unresolved jump link to node: none"));
  EXPECT_TRUE(traces.has("(debug): tree: jump from node " + std::to_string(jump->ordinal) + " to node " +
                         std::to_string(mode->ordinal) + " (mode) resolved"))
      << traces.text();
  EXPECT_EQ(static_cast<zu_tvr_jump_data *>(lost->data)->dest, nullptr);

  const auto number = [&](uint64_t offset) { return std::to_string(base + offset); };
  EXPECT_EQ(test::stream_text([&](FILE *stream) { zu_tvr_tree_print(stream, 1, tree.get()); }),
            "\n\tNode " + number(0) + " Type: 0\n" + "\n\t\tNode " + number(1) + " Type: 0\n" +
                "\n\t\t\tNode " + number(2) + " Type: 1\n" + "\t\t\t\tDestination: " + number(4) + "\n" +
                "\n\t\t\tNode " + number(3) + " Type: 1\n" + "\t\t\t\tDestination: 0\n" + "\n\t\tNode " +
                number(4) + " Type: 4\n");
}

TEST(Tree, FailedAllocationLeavesItAsItWas) {
  const test::balanced_memory balanced;
  for (uint64_t n = 1;; ++n) {
    test::trace_log traces;
    qmalloc_fail_nth(n, false);
    tree_ptr tree = new_tree();
    const bool fired = qmalloc_fail_fired() != 0;
    qmalloc_fail_nth(0, false);
    EXPECT_EQ(tree == nullptr, fired);
    if (!fired) break;
    EXPECT_GE(traces.count("(ERR): Failed to allocate"), 1) << n;
  }
  // A node that others wait for and that must wait itself: whoever waits for it still does.
  const char *expected[] = {"3 (ERR): Failed to allocate id\n", "3 (ERR): Failed to allocate parent id\n",
                            "3 (ERR): Failed to allocate orphan node\n", ""};
  const tree_ptr tree = new_tree();
  zu_tvr_node *child = add(tree, "child", "middle");
  for (uint64_t n = 1; n <= 4; ++n) {
    test::trace_log traces;
    zu_tvr_node *node = zu_tvr_node_new_noop();
    qmalloc_fail_nth(n, false);
    const bool added = tree->add_node(tree.get(), node, "middle", "top");
    qmalloc_fail_nth(0, false);
    EXPECT_EQ(traces.text(), expected[n - 1]);
    EXPECT_EQ(added, n == 4);
    EXPECT_EQ(child->parent, added ? node : nullptr);
    if (!added) zu_tvr_node_delete(node);
  }
  add(tree, "top", nullptr);
  EXPECT_TRUE(tree->resolve_links(tree.get()));
}

// ---- Where walks start ----

std::vector<zu_tvr_node *> walked;

bool note_walk(zu_tvr_node *node, zu_tvr_walk_ctx *) {
  walked.push_back(node);
  return true;
}

TEST(Tree, WalksDownThePathToTheStartingNode) {
  const test::balanced_memory balanced;
  const tree_ptr tree = new_tree();
  add(tree, "config", nullptr);
  add(tree, "a", "config");
  add(tree, "a1", "a");
  add(tree, "a2", "a");
  add(tree, "b", "config");
  add(tree, "beside", nullptr);
  nodes leaves;
  for (const char *parent : {"a1", "a2", "b", "beside"}) {
    zu_tvr_node *leaf = add(tree, (std::string(parent) + "-leaf").c_str(), parent);
    leaf->walk = note_walk;
    leaves.push_back(leaf);
  }
  zu_tvr_node *adrift = add(tree, "adrift", "never");
  add(tree, "below", "adrift")->walk = note_walk;
  const struct {
    const char *id;
    nodes expected;
  } cases[] = {
      {nullptr, {leaves[0], leaves[1], leaves[2]}},
      {"config", {leaves[0], leaves[1], leaves[2]}},
      {"ROOT", leaves},
      {"a", {leaves[0], leaves[1]}},
      {"a2", {leaves[1]}},
      {"b-leaf", {leaves[2]}},
      {"adrift", {adrift->first_child}}, // a tree that was never completed
      {"below", {adrift->first_child}},
  };
  for (const auto &c : cases) {
    test::fake_walk walk;
    walked.clear();
    EXPECT_TRUE(tree->walk(tree.get(), c.id, walk));
    EXPECT_EQ(walked, c.expected) << (c.id != nullptr ? c.id : "none");
    EXPECT_EQ(walk->node_path, nullptr);
    EXPECT_EQ(walk.error_text(), "");
    EXPECT_NE(walk->starting_node, nullptr);
  }
  test::fake_walk walk;
  test::trace_log traces;
  EXPECT_FALSE(tree->walk(tree.get(), "nobody", walk));
  EXPECT_EQ(traces.text(), "3 (ERR): Invalid node id: nobody\n");
  EXPECT_EQ(walk.error_text(), "10000 Invalid node id for walk start\n");
}

TEST(Tree, ReportsAPathThatCannotBeBuilt) {
  const test::balanced_memory balanced;
  const tree_ptr tree = new_tree();
  add(tree, "config", nullptr);
  const struct {
    const char *traces, *errors;
  } expected[] = {
      {"3 (ERR): Failed to allocate node stack\n", ""},
      {"3 (ERR): Failed to allocate item in the stack\n", "10000 Failed to push to node path stack\n"},
      {"", ""},
  };
  for (uint64_t n = 1; n <= 3; ++n) {
    test::fake_walk walk;
    test::trace_log traces;
    qmalloc_fail_nth(n, false);
    EXPECT_EQ(tree->walk(tree.get(), nullptr, walk), n == 3);
    qmalloc_fail_nth(0, false);
    EXPECT_EQ(traces.text(), expected[n - 1].traces);
    EXPECT_EQ(walk.error_text(), expected[n - 1].errors);
  }
}

// ---- Large trees ----

enum class shape { siblings, waiting_siblings, waiting_chain };

double seconds_to_load(shape s, int count) {
  const auto start = std::chrono::steady_clock::now();
  const tree_ptr tree = new_tree();
  for (int i = 0; i < count; ++i) {
    const std::string id = "n" + std::to_string(i);
    const std::string parent = s == shape::waiting_chain ? "n" + std::to_string(i + 1) : "parent";
    if (s == shape::siblings && i == 0) add(tree, "parent", nullptr);
    EXPECT_NE(add(tree, id.c_str(), parent.c_str()), nullptr);
  }
  if (s == shape::waiting_siblings) add(tree, "parent", nullptr);
  if (s == shape::waiting_chain) add(tree, ("n" + std::to_string(count)).c_str(), nullptr);
  EXPECT_TRUE(tree->resolve_links(tree.get()));
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

TEST(Tree, LoadsLargeTreesInLinearTime) {
  for (const shape s : {shape::siblings, shape::waiting_siblings, shape::waiting_chain}) {
    const double few = seconds_to_load(s, 20000);
    const double many = seconds_to_load(s, 100000); // five times as much: a square would take 25 times
    EXPECT_LT(many, 15 * few + 0.2) << static_cast<int>(s) << ": " << few << " and " << many;
  }
}

} // namespace
