// The walk engine: which operations of which node are called, in which order, and what stops a walk.
#include <gtest/gtest.h>

#include <deque>

#include "qmalloc/qmalloc.h"
#include "support.h"
#include "support/fake_walk.hpp"
#include "tree/scratch.hpp"
#include "tree/walk.hpp"
#include "zu_tovra/coll.h"
#include "zu_tovra/crudx.h"
#include "zu_tovra/iter.h"
#include "zu_tovra/print.h"

namespace {

constexpr uint32_t noop = TVR_NODE_NOOP, coll = TVR_NODE_COLL, get = TVR_NODE_CRUDX, iter = TVR_NODE_ITER,
                   print = TVR_NODE_PRINT;

std::string calls; // each after a space

std::string called() {
  return std::exchange(calls, "");
}

// A node whose operations only log that they are called
// (print nodes log their name) and return the given results.
class fake_node {
public:
  // `steps`: the answers of execute, next or walk; `instances`: those of iterate. What follows them is 0.
  fake_node(const char *name, uint32_t type, std::deque<int32_t> steps = {},
            std::deque<int32_t> instances = {})
      : node_(zu_tvr_node_new_noop()), steps_(std::move(steps)), instances_(std::move(instances)) {
    static uint32_t slots = 0;
    node_->type = type;
    node_->slot = ++slots % 4 == 0 ? 0 : slots / 2 * 7; // some outside of any tree, some of two trees
    node_->data = &data_;
    data_.self = this;
    data_.name = name;
    const auto pop = [](auto *scratch, auto *ctx) { of(nullptr, scratch, ctx)->log("pop"); };
    if (type == coll) {
      data_.coll.execute = [](auto *data, auto *scratch, auto *ctx, uint8_t is_start_node) {
        return take(of(data, scratch, ctx)->log(is_start_node != 0 ? "exec-start" : "exec")->steps_);
      };
      data_.coll.iterate = [](auto *data, auto *scratch, auto *ctx) {
        return take(of(data, scratch, ctx)->log("it")->instances_);
      };
      data_.coll.pop = pop;
      data_.coll.cleanup = [](auto *, int32_t step) { calls += " clean" + std::to_string(step); };
    } else if (type == get) {
      data_.get.walk = [](auto *data, zu_tvr_walk_ctx *ctx) {
        fake_node *self = of(data, nullptr, ctx)->log("get");
        const int32_t step = take(self->steps_);
        if (step == 1) zu_tvr_push_props_to_cache(ctx, self->record_, 0, 0);
        return step;
      };
      record_ = zu_do_properties_new();
    } else if (type == iter) {
      data_.iter.next = [](auto *scratch, auto *ctx) {
        return take(of(nullptr, scratch, ctx)->log("next")->steps_);
      };
      data_.iter.pop = pop;
      data_.iter.cleanup = [](auto *) { calls += " clean"; };
    } else if (type == print) {
      data_.print.walk = [](auto *data, auto *scratch, auto *ctx) {
        fake_node *self = of(data, scratch, ctx);
        return take(self->log(self->data_.name)->steps_);
      };
    }
  }
  ~fake_node() {
    node_->data = nullptr;
    zu_tvr_node_delete(node_);
    zu_do_properties_deref(record_);
  }
  fake_node(const fake_node &) = delete;
  fake_node &operator=(const fake_node &) = delete;

  void under(fake_node &parent) { zu_tvr_node_connect_parent(parent.node_, node_); }
  zu_tvr_node *node() { return node_; }

private:
  // The node of the data (null: the node with children that
  // is being walked), to which the scratch data belongs.
  static fake_node *of(void *data, void *scratch, zu_tvr_walk_ctx *ctx) {
    if (data == nullptr) data = ctx->frame->node->data;
    fake_node *self = static_cast<fake_data *>(data)->self;
    EXPECT_TRUE(self->node_->type == get || scratch == tvr::scratch_data(self->node_, ctx));
    return self;
  }
  static int32_t take(std::deque<int32_t> &answers) {
    if (answers.empty()) return 0;
    const int32_t answer = answers.front();
    answers.pop_front();
    return answer;
  }
  fake_node *log(const char *operation) {
    calls += std::string(" ") + operation;
    return this;
  }

  zu_tvr_node *node_;
  std::deque<int32_t> steps_, instances_;
  zu_do_properties *record_ = nullptr;
  struct fake_data {
    union {
      zu_tvr_coll_data coll;
      zu_tvr_crudx_data get;
      zu_tvr_iter_data iter;
      zu_tvr_print_data print;
    };
    fake_node *self;
    const char *name;
  } data_{};
};

// ---- The protocol ----

// A node n with the print nodes c and d below it.
const struct protocol_case {
  uint32_t type;
  std::deque<int32_t> steps, instances, child_steps;
  const char *expected;
  bool result;
} protocol_cases[] = {
    {9, {}, {}, {1}, " c d", true}, // an unknown type
    {noop, {}, {}, {-1}, " c", false},
    {print, {1}, {}, {1}, " n c d", true},
    {print, {7}, {}, {}, " n", true},
    {print, {-1}, {}, {}, " n", false},
    {get, {1}, {}, {1}, " get c d", true},
    {get, {-2}, {}, {}, " get", true},
    {get, {-1}, {}, {}, " get", false},
    {get, {1}, {}, {-1}, " get c", false},
    {iter, {1, 1}, {}, {1, 1}, " next c d pop next c d pop next clean", true},
    {iter, {-1}, {}, {}, " next clean", false},
    {iter, {1, -1}, {}, {1}, " next c d pop next clean", false},
    {iter, {1, 1, 1}, {}, {-1}, " next c pop next clean", false},
    {coll, {0}, {1, 1}, {1, 1}, " exec it c d pop it c d pop it clean0", true},
    {coll, {1, 1}, {0, 1}, {1}, " exec it clean1 exec it c d pop it clean1 exec it clean0", true},
    {coll, {3}, {1, 2}, {1}, " exec it c d pop it clean3", true},
    {coll, {-1}, {}, {}, " exec", true},
    {coll, {1, -1}, {1}, {1}, " exec it c d pop it clean1 exec", true},
    {coll, {1, -1}, {1}, {-1}, " exec it c pop it clean1 exec", false},
    {coll, {0}, {1, -1}, {1}, " exec it c d pop it clean0", false},
    // After a failure the other instances are only gone through, but the next batch is walked.
    {coll, {0}, {1, 1}, {-1, 1}, " exec it c pop it pop it clean0", false},
    {coll, {1}, {1, 0, 1}, {-1, 1}, " exec it c pop it clean1 exec it c d pop it clean0", true},
};

TEST(walk, calls_the_operations_in_their_order) {
  for (const auto &c : protocol_cases) {
    SCOPED_TRACE(std::to_string(c.type) + c.expected);
    fake_node node("n", c.type, c.steps, c.instances);
    fake_node child("c", print, c.child_steps), second("d", print, {1, 1, 1});
    child.under(node), second.under(node);
    test::fake_walk walk;
    test::trace_log traces(7);
    EXPECT_EQ(tvr_node_walk(node.node(), walk), c.result);
    EXPECT_EQ(called(), c.expected);
    EXPECT_EQ(walk.error_text(), "");
    EXPECT_EQ(walk->depth, 0u);
    // A get-one node keeps the record of children that failed.
    EXPECT_EQ(walk->props_cache != nullptr && walk->props_cache->top != nullptr,
              c.type == get && c.steps[0] == 1 && !c.result);
    char key[32];
    std::snprintf(key, sizeof(key), "(debug): node %p: ", static_cast<void *>(node.node()));
    const std::string prefix = key, type = " (type " + std::to_string(c.type) + ")";
    EXPECT_TRUE(traces.has(prefix + "wolking" + type));
    const bool gave_up = c.type == coll && c.steps.back() == -1; // says nothing at its end
    EXPECT_EQ(traces.has(prefix + "done waolking" + type), !gave_up);
  }
}

TEST(walk, tells_of_collections) {
  fake_node node("n", coll, {0}, {1, 2}), child("c", print, {-1});
  child.under(node);
  test::fake_walk walk;
  walk->starting_node = node.node();
  test::trace_log traces(7);
  EXPECT_FALSE(tvr_node_walk(node.node(), walk));
  EXPECT_EQ(called(), " exec-start it c pop it clean0");
  EXPECT_EQ(traces.count(": collection returned 0"), 1);
  EXPECT_EQ(traces.count(": iteration returned 2: stopping"), 1);
  EXPECT_EQ(traces.count("4 (warn): node "), 1);
  EXPECT_EQ(traces.count(": children walk failed"), 1);
}

TEST(walk, reports_what_it_cannot_walk) {
  fake_node node("n", noop), first("f", print), broken("b", print), last("l", print);
  for (auto *child : {&first, &broken, &last}) child->under(node);
  broken.node()->walk = nullptr;
  for (const bool with_path : {false, true}) {
    test::fake_walk walk;
    if (with_path) walk->node_path = zu_tvr_stack_new(nullptr);
    test::trace_log traces;
    EXPECT_FALSE(tvr_node_walk(node.node(), walk));
    EXPECT_EQ(called(), with_path ? "" : " f");
    EXPECT_EQ(walk->node_path, nullptr);
    const std::string message =
        with_path ? "Incomplete path for partial tovra\n" : "Walk callback not initialized\n";
    EXPECT_EQ(traces.text(), "3 (ERR): " + message);
    EXPECT_EQ(walk.error_text(), "10000 " + message);
  }
}

// ---- Scratch data ----

TEST(walk, keeps_scratch_data_for_the_whole_walk) {
  test::trace_log traces(7);
  test::fake_walk walk, other;
  std::deque<fake_node> nodes;
  std::vector<void *> first;
  for (int i = 0; i < 30; ++i) {
    nodes.emplace_back("n", i % 3 == 0 ? coll : i % 3 == 1 ? iter : print);
    first.push_back(tvr::scratch_data(nodes.back().node(), walk));
  }
  for (size_t i = 0; i < nodes.size(); ++i) {
    EXPECT_EQ(tvr::scratch_data(nodes[i].node(), walk), first[i]);
    EXPECT_NE(tvr::scratch_data(nodes[i].node(), other), first[i]);
  }
  zu_tvr_node *last = nodes.back().node();
  last->slot = 1000;
  EXPECT_EQ(tvr::scratch_data(last, walk), first.back());
  qmalloc_fail_nth(1, true); // what its slot knows is found without a key
  EXPECT_EQ(tvr::scratch_data(last, walk), first.back());
  qmalloc_fail_nth(0, false);
  EXPECT_EQ(htSize(walk->scratch_nodes), nodes.size());
  for (const char *word : {"coll", "iter", "print"}) {
    EXPECT_EQ(traces.count(std::string("6 (info): add ") + word + " scratch node 0x"), 20);
  }
}

} // namespace
