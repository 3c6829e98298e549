// The walk engine: which operations of which node are called, in which order, and what stops a walk.
#include <gtest/gtest.h>

#include <deque>
#include <map>

#include "qmalloc/qmalloc.h"
#include "support.h"
#include "support/fake_walk.hpp"
#include "support/stream_text.hpp"
#include "tree/scratch.hpp"
#include "tree/walk.hpp"
#include "zu_tovra/coll.h"
#include "zu_tovra/crudx.h"
#include "zu_tovra/iter.h"
#include "zu_tovra/jump.h"
#include "zu_tovra/print.h"
#include "zu_tovra/tree.h"

namespace {

// ---- Nodes whose data records only log what is called (print nodes log their name) and answer as told ----

class fake_node;
std::vector<std::string> calls;
std::map<void *, fake_node *> by_data; // also by scratch, once it was seen

class fake_node {
public:
  // `steps`: the answers of execute, next or walk; `instances`: those of iterate. What follows them is 0.
  fake_node(const char *name, uint32_t type, std::deque<int32_t> steps = {},
            std::deque<int32_t> instances = {})
      : node_(zu_tvr_node_new_noop()), name_(name), steps_(std::move(steps)),
        instances_(std::move(instances)) {
    static uint32_t slots = 0;
    node_->type = type;
    node_->slot = ++slots % 4 == 0 ? 0 : slots / 2 * 7; // some outside of any tree, some of two trees
    switch (type) {
    case TVR_NODE_COLL:
      data_.coll.execute = [](zu_tvr_coll_data *data, zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *,
                              uint8_t is_start_node) {
        return of(data, scratch)->step(is_start_node != 0 ? "execute-start" : "execute");
      };
      data_.coll.iterate = [](zu_tvr_coll_data *data, zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *) {
        of(data, scratch)->log("iterate");
        return take(of(data, scratch)->instances_);
      };
      data_.coll.pop = [](zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *) {
        by_data.at(scratch)->log("pop");
      };
      data_.coll.cleanup = [](zu_tvr_coll_scratch_data *scratch, int32_t step) {
        by_data.at(scratch)->log("cleanup" + std::to_string(step));
      };
      break;
    case TVR_NODE_CRUDX:
      data_.crudx.walk = [](zu_tvr_crudx_data *data, zu_tvr_walk_ctx *ctx) {
        fake_node *self = by_data.at(data);
        const int32_t step = self->step("get");
        if (step == 1) {
          EXPECT_EQ(zu_tvr_push_props_to_cache(ctx, self->record_, 0, 0), 1u);
        }
        return step;
      };
      record_ = zu_do_properties_new();
      break;
    case TVR_NODE_ITER:
      data_.iter.next = [](zu_tvr_iter_scratch_data *scratch, zu_tvr_walk_ctx *ctx) {
        // Iterations are told by their scratch alone: the one that is being walked.
        if (!by_data.contains(scratch)) by_data[scratch] = by_data.at(ctx->frame->node->data);
        return by_data.at(scratch)->step("next");
      };
      data_.iter.pop = [](zu_tvr_iter_scratch_data *scratch, zu_tvr_walk_ctx *) {
        by_data.at(scratch)->log("pop");
      };
      data_.iter.cleanup = [](zu_tvr_iter_scratch_data *scratch) { by_data.at(scratch)->log("cleanup"); };
      break;
    case TVR_NODE_PRINT:
      data_.print.walk = [](zu_tvr_print_data *data, zu_tvr_print_scratch_data *scratch, zu_tvr_walk_ctx *) {
        return of(data, scratch)->step(of(data, scratch)->name_);
      };
      break;
    case TVR_NODE_JUMP:
      node_->data = zu_tvr_jump_data_new(name);
      return;
    default:
      return;
    }
    node_->data = &data_;
    by_data[&data_] = this;
  }
  ~fake_node() {
    if (node_->type != TVR_NODE_JUMP) node_->data = nullptr;
    zu_tvr_node_delete(node_);
    zu_do_properties_deref(record_);
    std::erase_if(by_data, [this](const auto &known) { return known.second == this; });
  }
  fake_node(const fake_node &) = delete;
  fake_node &operator=(const fake_node &) = delete;

  fake_node &under(fake_node &parent) {
    zu_tvr_node_connect_parent(parent.node_, node_);
    return *this;
  }
  fake_node &leads_to(fake_node &dest) {
    static_cast<zu_tvr_jump_data *>(node_->data)->dest = dest.node_;
    return *this;
  }
  zu_tvr_node *get() { return node_; }

private:
  static fake_node *of(void *data, void *scratch) {
    EXPECT_NE(scratch, nullptr);
    fake_node *self = by_data.at(data);
    by_data[scratch] = self;
    return self;
  }
  static int32_t take(std::deque<int32_t> &answers) {
    if (answers.empty()) return 0;
    const int32_t answer = answers.front();
    answers.pop_front();
    return answer;
  }
  void log(const std::string &operation) { calls.push_back(operation); }
  int32_t step(const std::string &operation) {
    log(operation);
    return take(steps_);
  }

  zu_tvr_node *node_;
  std::string name_;
  std::deque<int32_t> steps_, instances_;
  zu_do_properties *record_ = nullptr;
  union {
    zu_tvr_coll_data coll;
    zu_tvr_crudx_data crudx;
    zu_tvr_iter_data iter;
    zu_tvr_print_data print;
  } data_{};
};

std::string called() {
  std::string all;
  for (const auto &call : calls) all += (all.empty() ? "" : " ") + call;
  calls.clear();
  return all;
}

size_t cached(zu_tvr_walk_ctx *ctx) {
  size_t count = 0;
  if (ctx->props_cache == nullptr) return 0;
  for (auto *entry = ctx->props_cache->top; entry != nullptr; entry = entry->next) ++count;
  return count;
}

// ---- The protocol ----

struct protocol_case {
  const char *what;
  uint32_t type;
  std::deque<int32_t> steps, instances, child_steps;
  const char *expected;
  bool result;
};

const protocol_case protocol_cases[] = {
    {"no-op", TVR_NODE_NOOP, {}, {}, {1}, "c d", true},
    {"unknown type", 9, {}, {}, {1}, "c d", true},
    {"no-op, child fails", TVR_NODE_NOOP, {}, {}, {-1}, "c", false},
    {"print 1", TVR_NODE_PRINT, {1}, {}, {1}, "n c d", true},
    {"print 0", TVR_NODE_PRINT, {0}, {}, {}, "n", true},
    {"print other", TVR_NODE_PRINT, {7}, {}, {}, "n", true},
    {"print -1", TVR_NODE_PRINT, {-1}, {}, {}, "n", false},
    {"print 1, child fails", TVR_NODE_PRINT, {1}, {}, {-1}, "n c", false},
    {"get 1", TVR_NODE_CRUDX, {1}, {}, {1}, "get c d", true},
    {"get 0", TVR_NODE_CRUDX, {0}, {}, {}, "get", true},
    {"get other", TVR_NODE_CRUDX, {-2}, {}, {}, "get", true},
    {"get -1", TVR_NODE_CRUDX, {-1}, {}, {}, "get", false},
    {"get 1, child fails", TVR_NODE_CRUDX, {1}, {}, {-1}, "get c", false},
    {"iterate two", TVR_NODE_ITER, {1, 1, 0}, {}, {1, 1}, "next c d pop next c d pop next cleanup", true},
    {"iterate none", TVR_NODE_ITER, {0}, {}, {}, "next cleanup", true},
    {"iterate fails first", TVR_NODE_ITER, {-1}, {}, {}, "next cleanup", false},
    {"iterate fails second", TVR_NODE_ITER, {1, -1}, {}, {1}, "next c d pop next cleanup", false},
    {"iterate, child fails", TVR_NODE_ITER, {1, 1, 1}, {}, {-1}, "next c pop next cleanup", false},
    {"one batch of two",
     TVR_NODE_COLL,
     {0},
     {1, 1, 0},
     {1, 1},
     "execute iterate c d pop iterate c d pop iterate cleanup0",
     true},
    {"three batches",
     TVR_NODE_COLL,
     {1, 1, 0},
     {1, 0, 0, 1, 0},
     {1, 1},
     "execute iterate c d pop iterate cleanup1 execute iterate cleanup1 "
     "execute iterate c d pop iterate cleanup0",
     true},
    {"execute other", TVR_NODE_COLL, {3}, {1, 2}, {1}, "execute iterate c d pop iterate cleanup3", true},
    {"a later batch is walked anew",
     TVR_NODE_COLL,
     {1, 0},
     {1, 0, 1, 0},
     {-1, 1},
     "execute iterate c pop iterate cleanup1 execute iterate c d pop iterate cleanup0",
     true},
    {"execute fails", TVR_NODE_COLL, {-1}, {}, {}, "execute", true},
    {"execute fails second",
     TVR_NODE_COLL,
     {1, -1},
     {1, 0},
     {1},
     "execute iterate c d pop iterate cleanup1 execute",
     true},
    {"execute fails after children",
     TVR_NODE_COLL,
     {1, -1},
     {1, 0},
     {-1},
     "execute iterate c pop iterate cleanup1 execute",
     false},
    {"iterate step fails",
     TVR_NODE_COLL,
     {0},
     {1, -1},
     {1},
     "execute iterate c d pop iterate cleanup0",
     false},
    {"later instances are only gone through",
     TVR_NODE_COLL,
     {0},
     {1, 1, 1, 0},
     {-1, 1, 1},
     "execute iterate c pop iterate pop iterate pop iterate cleanup0",
     false},
};

TEST(Walk, CallsTheOperationsInTheirOrder) {
  for (const auto &c : protocol_cases) {
    for (const int level : {4, 7}) { // with the plain steps, too
      const test::balanced_memory balanced;
      fake_node node("n", c.type, c.steps, c.instances);
      fake_node child("c", TVR_NODE_PRINT, c.child_steps);
      child.under(node);
      fake_node second("d", TVR_NODE_PRINT, {1, 1, 1});
      second.under(node);
      test::fake_walk walk;
      test::trace_log traces(level);
      EXPECT_EQ(tvr_node_walk(node.get(), walk), c.result) << c.what;
      EXPECT_EQ(called(), c.expected) << c.what;
      EXPECT_EQ(walk.error_text(), "") << c.what;
      EXPECT_EQ(walk->frame, nullptr);
      EXPECT_EQ(walk->depth, 0u);
      // A get-one node keeps the record of children that failed.
      EXPECT_EQ(cached(walk), c.type == TVR_NODE_CRUDX && c.steps[0] == 1 && !c.result ? 1u : 0u) << c.what;
      if (level == 7) {
        char key[32];
        std::snprintf(key, sizeof(key), "(debug): node %p: ", static_cast<void *>(node.get()));
        const std::string prefix = key, type = " (type " + std::to_string(c.type) + ")";
        EXPECT_TRUE(traces.has(prefix + "wolking" + type)) << traces.text();
        const bool gave_up = c.type == TVR_NODE_COLL && c.steps.back() == -1; // says nothing at its end
        EXPECT_EQ(traces.has(prefix + "done waolking" + type), !gave_up) << c.what;
      }
    }
  }
}

TEST(Walk, TellsACollectionThatItIsTheStart) {
  fake_node node("n", TVR_NODE_COLL);
  test::fake_walk walk;
  walk->starting_node = node.get();
  test::trace_log traces(7);
  EXPECT_TRUE(tvr_node_walk(node.get(), walk));
  EXPECT_EQ(called(), "execute-start iterate cleanup0");
  EXPECT_EQ(traces.count("iteration returned 0: stopping"), 1);
  EXPECT_EQ(traces.count("collection returned 0"), 1);
  EXPECT_EQ(traces.count("7 (debug): node 0x"), 5) << traces.text();
}

TEST(Walk, WarnsOfFailedChildren) {
  fake_node node("n", TVR_NODE_COLL, {0}, {1});
  fake_node child("c", TVR_NODE_PRINT, {-1});
  child.under(node);
  test::fake_walk walk;
  test::trace_log traces;
  EXPECT_FALSE(tvr_node_walk(node.get(), walk));
  EXPECT_EQ(traces.lines().size(), 1u);
  EXPECT_EQ(traces.count("4 (warn): node "), 1);
  EXPECT_EQ(traces.count(": children walk failed"), 1);
  called();
}

TEST(Walk, ReportsANodeWithoutAWalk) {
  fake_node node("n", TVR_NODE_NOOP);
  fake_node first("f", TVR_NODE_PRINT, {1}), broken("b", TVR_NODE_PRINT, {1}), last("l", TVR_NODE_PRINT, {1});
  for (auto *child : {&first, &broken, &last}) child->under(node);
  broken.get()->walk = nullptr;
  test::fake_walk walk;
  test::trace_log traces;
  EXPECT_FALSE(tvr_node_walk(node.get(), walk));
  EXPECT_EQ(called(), "f");
  EXPECT_EQ(traces.text(), "3 (ERR): Walk callback not initialized\n");
  EXPECT_EQ(walk.error_text(), "10000 Walk callback not initialized\n");
}

// ---- Paths ----

TEST(Walk, ConsumesThePathOnTheFirstInstance) {
  const test::balanced_memory balanced;
  fake_node root("r", TVR_NODE_NOOP), coll("n", TVR_NODE_COLL, {0}, {1, 1, 0});
  fake_node a("a", TVR_NODE_PRINT, {1, 1}), b("b", TVR_NODE_PRINT, {1, 1}),
      below("x", TVR_NODE_PRINT, {1, 1});
  coll.under(root), a.under(coll), b.under(coll), below.under(b);
  test::fake_walk walk;
  walk->node_path = zu_tvr_stack_new(nullptr);
  for (auto *node : {&below, &b, &coll}) EXPECT_TRUE(zu_tvr_stack_push(walk->node_path, node->get()));
  EXPECT_TRUE(tvr_node_walk(root.get(), walk));
  EXPECT_EQ(called(), "execute iterate b x pop iterate a b x pop iterate "
                      "cleanup0");
  EXPECT_EQ(walk->node_path, nullptr);
}

TEST(Walk, ReportsAnIncompletePath) {
  const test::balanced_memory balanced;
  fake_node root("r", TVR_NODE_NOOP), child("c", TVR_NODE_PRINT);
  child.under(root);
  test::fake_walk walk;
  walk->node_path = zu_tvr_stack_new(nullptr);
  test::trace_log traces;
  EXPECT_FALSE(tvr_node_walk(root.get(), walk));
  EXPECT_EQ(called(), "");
  EXPECT_EQ(walk->node_path, nullptr);
  EXPECT_EQ(traces.text(), "3 (ERR): Incomplete path for partial tovra\n");
  EXPECT_EQ(walk.error_text(), "10000 Incomplete path for partial tovra\n");
}

// ---- Depth ----

TEST(Walk, GoesAThousandNodesDeep) {
  for (const size_t depth : {1000u, 1001u}) {
    std::deque<fake_node> chain;
    for (size_t i = 0; i < depth; ++i) {
      chain.emplace_back("n", TVR_NODE_NOOP);
      if (i > 0) chain[i].under(chain[i - 1]);
    }
    test::fake_walk walk;
    test::trace_log traces;
    EXPECT_EQ(tvr_node_walk(chain[0].get(), walk), depth == 1000);
    EXPECT_EQ(walk.error_text(), depth == 1000 ? "" : "10000 Template tree nested too deep\n");
    EXPECT_EQ(traces.text(), depth == 1000 ? "" : "3 (ERR): Template tree nested too deep\n");
    EXPECT_EQ(walk->depth, 0u);
  }
}

// ---- Scratch data ----

TEST(Walk, KeepsScratchDataForTheWholeWalk) {
  const test::balanced_memory balanced;
  for (const int level : {0, 7}) {
    test::trace_log traces(level);
    test::fake_walk walk, other;
    std::deque<fake_node> nodes;
    std::vector<void *> first;
    for (int i = 0; i < 30; ++i) {
      const uint32_t types[] = {TVR_NODE_COLL, TVR_NODE_ITER, TVR_NODE_PRINT};
      nodes.emplace_back("n", types[i % 3]);
      first.push_back(tvr::scratch_data(nodes.back().get(), walk));
      ASSERT_NE(first.back(), nullptr);
    }
    for (size_t i = 0; i < nodes.size(); ++i) {
      EXPECT_EQ(tvr::scratch_data(nodes[i].get(), walk), first[i]);
      EXPECT_NE(tvr::scratch_data(nodes[i].get(), other), first[i]);
    }
    EXPECT_EQ(htSize(walk->scratch_nodes), nodes.size());
    if (level == 7) {
      EXPECT_EQ(traces.count("6 (info): add coll scratch node 0x"), 20);
      EXPECT_EQ(traces.count("6 (info): add iter scratch node 0x"), 20);
      EXPECT_EQ(traces.count("6 (info): add print scratch node 0x"), 20);
    }
  }
}

TEST(Walk, FailsWithoutScratchData) {
  for (const uint32_t type : {TVR_NODE_COLL, TVR_NODE_ITER, TVR_NODE_PRINT}) {
    for (uint64_t n = 1;; ++n) {
      const test::balanced_memory balanced;
      fake_node node("n", type, {0}, {0});
      node.get()->slot = 3;
      test::fake_walk walk;
      test::trace_log traces;
      qmalloc_fail_nth(n, false);
      const bool result = tvr_node_walk(node.get(), walk);
      const bool fired = qmalloc_fail_fired() != 0;
      qmalloc_fail_nth(0, false);
      // Without memory for the slots the walk goes on with the table.
      EXPECT_EQ(result, walk.errors.empty());
      EXPECT_EQ(called().empty(), !result);
      if (!result) {
        EXPECT_EQ(walk.error_text(), "10002 Failed to allocate tovra node\n");
        EXPECT_GE(traces.count("3 (ERR): Failed to "), 1) << traces.text();
      }
      if (!fired) break;
      ASSERT_LT(n, 20u);
    }
  }
}

// ---- Jumps ----

TEST(Jump, WritesTagsOneLevelDeeper) {
  const test::balanced_memory balanced;
  for (const bool tags : {true, false}) {
    fake_node root("r", TVR_NODE_NOOP), first("one", TVR_NODE_JUMP), second("two", TVR_NODE_JUMP),
        again("two", TVR_NODE_JUMP), outer("o", TVR_NODE_NOOP), inner("i", TVR_NODE_PRINT, {0, 0});
    first.under(root).leads_to(outer);
    second.under(outer).leads_to(inner);
    again.under(root).leads_to(inner);
    test::fake_walk walk({.tag_submodes = tags});
    test::trace_log traces(7);
    EXPECT_TRUE(tvr_node_walk(root.get(), walk));
    EXPECT_EQ(called(), "i i");
    EXPECT_EQ(walk->indentation, 0u);
    EXPECT_EQ(traces.count("done waolking (type 1)"), 0);
    EXPECT_EQ(walk.text(), !tags ? ""
                                 : "\n ! <submode> \"one\"\n  ! <submode> \"two\"\n  ! </submode> \"two\""
                                   "\n ! </submode> \"one\"\n ! <submode> \"two\"\n ! </submode> \"two\"");
  }
}

TEST(Jump, EndsWhatItBeganWhenTheDestinationFails) {
  fake_node root("r", TVR_NODE_NOOP), jump("mode", TVR_NODE_JUMP), dest("d", TVR_NODE_PRINT, {-1}),
      after("a", TVR_NODE_PRINT);
  jump.under(root).leads_to(dest);
  after.under(root);
  test::fake_walk walk({.tag_submodes = true});
  EXPECT_FALSE(tvr_node_walk(root.get(), walk));
  EXPECT_EQ(called(), "d");
  EXPECT_EQ(walk.text(), "\n ! <submode> \"mode\"\n ! </submode> \"mode\"");
  EXPECT_EQ(walk->indentation, 0u);
}

TEST(Jump, EndsWhereItCannotGo) {
  fake_node root("r", TVR_NODE_NOOP), jump("mode", TVR_NODE_JUMP), deeper("deeper", TVR_NODE_JUMP),
      dest("d", TVR_NODE_NOOP), after("a", TVR_NODE_PRINT);
  jump.under(root);
  after.under(root);
  deeper.under(dest);
  const struct {
    fake_node *jump_dest, *deeper_dest;
    const char *message;
  } cases[] = {
      {nullptr, nullptr, "Unable to find destination for jump node"},
      {&root, nullptr, "Jump into a node that is being walked"},
      {&jump, nullptr, "Jump into a node that is being walked"},
      {&dest, &root, "Jump into a node that is being walked"},
      {&dest, &dest, "Jump into a node that is being walked"},
      {&dest, nullptr, "Unable to find destination for jump node"},
  };
  for (const auto &c : cases) {
    static_cast<zu_tvr_jump_data *>(jump.get()->data)->dest =
        c.jump_dest != nullptr ? c.jump_dest->get() : nullptr;
    static_cast<zu_tvr_jump_data *>(deeper.get()->data)->dest =
        c.deeper_dest != nullptr ? c.deeper_dest->get() : nullptr;
    test::fake_walk walk;
    test::trace_log traces;
    EXPECT_FALSE(tvr_node_walk(root.get(), walk));
    EXPECT_EQ(called(), "");
    const std::string code = c.message[0] == 'U' ? "10002 " : "10000 ";
    EXPECT_EQ(walk.error_text(), code + c.message + "\n");
    EXPECT_EQ(traces.text(), std::string("3 (ERR): ") + c.message + "\n");
    EXPECT_EQ(walk->indentation, 0u);
  }
}

TEST(Jump, MayLoseItsTags) {
  const test::balanced_memory balanced;
  fake_node jump("mode", TVR_NODE_JUMP), dest("d", TVR_NODE_NOOP), leaf("l", TVR_NODE_PRINT);
  jump.leads_to(dest);
  leaf.under(dest);
  const char *opening = "\n ! <submode> \"mode\"", *closing = "\n ! </submode> \"mode\"";
  for (const int refused : {1, 2}) {
    test::fake_walk walk({.tag_submodes = true});
    walk.refuse_nth = refused;
    test::trace_log traces;
    EXPECT_TRUE(tvr_node_walk(jump.get(), walk));
    EXPECT_EQ(called(), "l");
    EXPECT_EQ(walk.text(), refused == 1 ? closing : opening);
    EXPECT_EQ(traces.text() + walk.error_text(), "");
  }
  test::fake_walk walk({.tag_submodes = true});
  test::trace_log traces;
  qmalloc_fail_nth(1, false);
  EXPECT_TRUE(tvr_node_walk(jump.get(), walk));
  qmalloc_fail_nth(0, false);
  EXPECT_EQ(called(), "l");
  EXPECT_EQ(walk.text(), closing);
  EXPECT_EQ(traces.text(), "3 (ERR): Failed to allocate buffer\n");
}

TEST(Walk, NodesAreNamedByTheirAddressInKeys) {
  const test::balanced_memory balanced;
  char *key = zu_tovra_create_key_from_ptr(reinterpret_cast<void *>(0x1234));
  EXPECT_STREQ(key, "0x1234");
  qfree_named(key);
  test::trace_log traces;
  qmalloc_fail_nth(1, false);
  EXPECT_EQ(zu_tovra_create_key_from_ptr(&traces), nullptr);
  qmalloc_fail_nth(0, false);
  EXPECT_EQ(traces.text(), "3 (ERR): Failed to create ht key from ptr\n");
}

} // namespace
