// The stack, the caches of records and groups on it, the iteration over a group, the walk context that owns
// them.
#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "support.h"
#include "support/fake_walk.hpp"
#include "support/objects.hpp"
#include "support/stream_text.hpp"
#include "zu_tovra/iter.h"
#include "zu_tovra/record_cache.h"

namespace {

using test::own_record;
using test::own_uri;
using test::own_value;
using texts = std::vector<std::string>;

own_uri uri_of(const char *text) {
  own_uri uri(zu_do_uri_new(text));
  EXPECT_NE(uri, nullptr) << text;
  return uri;
}

// A record with its URI and the URI of its collection; none leaves the property out, "" makes it a number.
own_record record_of(const char *uri, const char *coll_uri = nullptr) {
  own_record record(zu_do_properties_new());
  const auto set = [&](const char *name, const char *text, auto set_uri) {
    if (text == nullptr) return;
    if (*text == '\0') {
      EXPECT_EQ(zu_do_properties_set_int(record.get(), name, 1), 0);
    } else {
      EXPECT_EQ(set_uri(record.get(), name, uri_of(text).get()), 0);
    }
  };
  set(ZU_DO_NAME_URI, uri, zu_do_properties_set_mr_uri);
  set(ZU_DO_NAME_COLL_URI, coll_uri, zu_do_properties_set_coll_uri);
  return record;
}

// The records on the cache from its top, a row; for a location record its collection and keys.
std::string cached(zu_tvr_walk_ctx *ctx) {
  std::string all;
  for (auto *entry = ctx->props_cache->top; entry != nullptr; entry = entry->next) {
    auto *record = static_cast<zu_do_properties *>(entry->item);
    zu_do_uri *uri = zu_do_properties_get_mr_uri(record, ZU_DO_NAME_URI, nullptr);
    const test::own_buffer buffer(zu_do_strbuf_new());
    zu_do_properties_to_strbuf(record, 0, buffer.get());
    all += (uri != nullptr ? test::text_of(uri) : test::text_of(buffer.get())) + " ";
  }
  return all;
}

void push_groups(zu_tvr_walk_ctx *ctx, const std::vector<std::vector<const char *>> &groups) {
  for (const auto &group : groups) {
    uint8_t append = 0;
    for (const char *uri : group) {
      EXPECT_TRUE(zu_tvr_push_props_group_to_cache(ctx, record_of(uri).get(), append));
      append = 1;
    }
  }
}

// ---- The stack ----

TEST(Stack, GivesLastFirst) {
  const test::balanced_memory balanced;
  int items[2];
  zu_tvr_stack *stack = zu_tvr_stack_new(nullptr);
  EXPECT_EQ(zu_tvr_stack_lookup(nullptr, &items[0], nullptr), nullptr);
  std::set<uint64_t> stamps = {0};
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(zu_tvr_stack_pop(stack), nullptr);
    EXPECT_EQ(zu_tvr_stack_lookup(stack, &items[0], nullptr), nullptr);
    EXPECT_TRUE(zu_tvr_stack_push(stack, &items[0]));
    const uint64_t below = stack->top->stamp;
    EXPECT_TRUE(zu_tvr_stack_push(stack, &items[1]));
    EXPECT_TRUE(stamps.insert(below).second && stamps.insert(stack->top->stamp).second);
    EXPECT_EQ(zu_tvr_stack_lookup(stack, &items[0], nullptr), &items[0]);
    EXPECT_EQ(zu_tvr_stack_pop(stack), &items[1]);
    EXPECT_EQ(stack->top->stamp, below);
    EXPECT_EQ(zu_tvr_stack_pop(stack), &items[0]);
  }
  zu_tvr_stack_push(stack, &items[0]);
  zu_tvr_stack_push(stack, &items[1]);
  static std::vector<void *> released;
  released.clear();
  zu_tvr_stack_delete(stack, [](void *item) { released.push_back(item); });
  EXPECT_EQ(released, (std::vector<void *>{&items[1], &items[0]}));
}

// ---- Which record answers ----

TEST(Match, ByTextAndByQueryOnly) {
  const struct {
    const char *record, *looked_up;
    bool answers;
  } cases[] = {
      {"/a/b", "/a/b", true},        {"/a/b?x=1", "/a/b", true}, {"/a/b?x=1", "/a/b?x=1", true},
      {"/a/b?x=1", "/a/b?x", false}, {"/a/bc", "/a/b", false},   {"/a/b/c", "/a/b", false},
      {"/a/b;k=1", "/a/b", false},   {"/a", "/a/b", false},      {"//?locations", "//", true},
      {"//?locations", "/", false},  {"", "/a", false},          {nullptr, "/a", false},
  };
  for (const auto &c : cases) {
    for (const bool by_collection : {false, true}) {
      test::fake_walk walk;
      const char *name = by_collection ? ZU_DO_NAME_COLL_URI : ZU_DO_NAME_URI;
      // The other property would answer.
      const auto record = by_collection ? record_of(c.looked_up, c.record) : record_of(c.record, c.looked_up);
      ASSERT_EQ(zu_tvr_push_props_to_cache(walk, record.get(), 0, 0), 1u);
      zu_tvr_stack *cache = walk->props_cache;
      const bool is_uri = c.record != nullptr && *c.record != '\0';
      const std::string error =
          c.record != nullptr && !is_uri ? "3 (ERR): Failed to read uri from value\n" : "";
      const std::string word = c.answers ? "match: " : "nomatch: ";
      test::trace_log traces(7);
      EXPECT_EQ(zu_tvr_stack_lookup(cache, uri_of(c.looked_up).get(), const_cast<char *>(name)) != nullptr,
                c.answers)
          << c.record << " " << c.looked_up;
      EXPECT_EQ(traces.text(), is_uri ? "7 (debug): stack " + word + c.record + "\n" : error);
      traces.clear();
      EXPECT_EQ(cache->find_text(cache, c.looked_up, std::strlen(c.looked_up), by_collection) != nullptr,
                c.answers);
      EXPECT_EQ(traces.text(), error);
    }
  }
}

TEST(Match, AGroupAnswersByItsFirstRecord) {
  test::fake_walk walk;
  EXPECT_TRUE(zu_tvr_push_props_group_to_cache(walk, record_of("/a/b;k=1", "/a?b").get(), 0));
  EXPECT_TRUE(zu_tvr_push_props_group_to_cache(walk, record_of("/a/c;k=1", "/a?c").get(), 1));
  zu_tvr_stack *groups = walk->props_groups_cache;
  test::trace_log traces(7);
  EXPECT_EQ(zu_tvr_stack_lookup(groups, uri_of("/a?b").get(), nullptr), groups->top->item);
  EXPECT_EQ(zu_tvr_stack_lookup(groups, uri_of("/a?c").get(), nullptr), nullptr);
  EXPECT_EQ(traces.text(), "7 (debug): stack lookup (group): /a?b\n7 (debug): stack match: /a?b\n"
                           "7 (debug): stack lookup (group): /a?c\n7 (debug): stack nomatch: /a?b\n");
}

// ---- Records with their location ----

TEST(Cache, PushesTheLocationAndAMemberOfEachGroupUnderTheSameRoot) {
  const std::vector<std::vector<const char *>> groups = {
      {"//l;loc=10/x", "//l;loc=1/outer", "//l;loc=1/second"}, // the first that fits
      {"//l;loc=2/elsewhere", "/relative"},
      {"//l;loc=1/inner"},
  };
  const struct {
    const char *uri;
    uint8_t skip_top;
    uint32_t pushed;
    const char *cached;
  } cases[] = {
      {"//l;loc=1/a;k=1", 0, 4, "//l;loc=1/outer //l;loc=1/inner _coll_uri=//?locations, loc=1 "},
      {"//l;loc=1/a;k=1", 1, 3, "//l;loc=1/outer _coll_uri=//?locations, loc=1 "},
      {"//chassis;unit=2;loc=1/a", 0, 2, "_coll_uri=//?locations, unit=2, loc=1 "},
      {"//locations/a", 0, 2, "_coll_uri=//?locations "},
      {"/a;k=1", 1, 4, "//l;loc=10/x //l;loc=2/elsewhere _coll_uri=//?locations, loc=0 "},
  };
  for (const auto &c : cases) {
    const test::balanced_memory balanced;
    test::fake_walk walk;
    push_groups(walk, groups);
    EXPECT_EQ(zu_tvr_push_props_to_cache(walk, record_of(c.uri).get(), 1, c.skip_top), c.pushed) << c.uri;
    EXPECT_EQ(cached(walk), std::string(c.cached) + c.uri + " ");
    EXPECT_NE(walk->props_cache->find_text(walk->props_cache, "//?locations", 12, true), nullptr);
    for (uint32_t i = 0; i < c.pushed; ++i) zu_tvr_pop_props_from_cache(walk);
    EXPECT_EQ(walk.error_text(), "");
    zu_tvr_pop_props_from_cache(walk);
    EXPECT_EQ(walk.error_text(), "10000 Failed to pop from properties cache\n");
  }
}

TEST(Cache, ReportsWhatHasNoLocation) {
  const struct {
    const char *uri, *member, *trace, *error;
    const char *left; // on the cache
  } cases[] = {
      {nullptr, "/m", "Failed to find URI in props", "10000 Failed to find URI in props", " "},
      {"", "/m", "Failed to get URI from value of type 102 (rc=10000)", "10000 Failed to get URI from value",
       "_uri=1 "},
      {"//?x", "/m", "Failed to allocate memory", "10002 Failed to allocate memory", "//?x "},
      {"/a", "", "Failed to extract URI from props", "10000 Failed to extract URI from props",
       "_coll_uri=//?locations, loc=0 /a "},
  };
  for (const auto &c : cases) {
    const test::balanced_memory balanced;
    test::fake_walk walk;
    push_groups(walk, {{c.member}});
    test::trace_log traces;
    EXPECT_EQ(zu_tvr_push_props_to_cache(walk, record_of(c.uri).get(), 1, 0), 0u);
    EXPECT_EQ(traces.text(), std::string("3 (ERR): ") + c.trace + "\n");
    EXPECT_EQ(walk.errors, texts{c.error});
    EXPECT_EQ(cached(walk), c.left);
  }
}

TEST(Cache, GroupsArePushedAppendedAndPopped) {
  const test::balanced_memory balanced;
  test::fake_walk walk;
  const auto record = record_of("/a", "/?a");
  EXPECT_DEATH(zu_tvr_pop_props_group_from_cache(walk), "stack");
  EXPECT_FALSE(zu_tvr_push_props_group_to_cache(walk, record.get(), 1));
  EXPECT_TRUE(zu_tvr_push_props_group_to_cache(walk, record.get(), 0));
  EXPECT_TRUE(zu_tvr_push_props_group_to_cache(walk, record.get(), 1));
  auto *group = static_cast<zu_do_properties_list *>(walk->props_groups_cache->top->item);
  EXPECT_EQ(zu_do_properties_list_get_len(group), 2u);
  zu_tvr_pop_props_group_from_cache(walk);
  EXPECT_FALSE(zu_tvr_push_props_group_to_cache(walk, record.get(), 1));
  zu_tvr_pop_props_group_from_cache(walk);
  EXPECT_EQ(walk.error_text(), "10000 location prop cache corrupted\n10000 location prop cache corrupted\n"
                               "10000 Failed to pop from properties group cache\n");
}

// ---- The iteration over a group ----

// An iteration's data and scratch data, driven as the walk engine does.
struct iteration {
  zu_tvr_iter_data *data = zu_tvr_iter_data_new("SLOT");
  zu_tvr_iter_scratch_data *scratch = zu_tvr_iter_scratch_data_new();

  ~iteration() {
    zu_tvr_iter_scratch_data_delete(scratch);
    zu_tvr_iter_data_delete(data);
  }
  // Calls `children` for every record; the last answer.
  template <class Children>
  int32_t walk(zu_tvr_walk_ctx *ctx, Children children) {
    int32_t step;
    while ((step = data->next(scratch, ctx)) == 1) {
      children();
      data->pop(scratch, ctx);
    }
    data->cleanup(scratch);
    return step;
  }
  // The cache as the children saw it, record by record; then "step N", the last answer.
  texts run(zu_tvr_walk_ctx *ctx) {
    texts seen;
    const int32_t step = walk(ctx, [&] { seen.push_back(cached(ctx)); });
    seen.push_back("step " + std::to_string(step));
    return seen;
  }
};

TEST(Iteration, GoesThroughTheTopGroupInLocationOrder) {
  const test::balanced_memory balanced;
  test::fake_walk walk;
  iteration iteration;
  EXPECT_EQ(iteration.run(walk), texts{"step 0"}); // no groups yet
  push_groups(walk, {{"//l;loc=1.2/outer"}, {"//l;loc=1.10/a", "//l;loc=1.2/b", "//l;loc=1.2/c"}});
  const texts expected = {"//l;loc=1.2/outer _coll_uri=//?locations, loc=1.2 //l;loc=1.2/b ",
                          "//l;loc=1.2/outer _coll_uri=//?locations, loc=1.2 //l;loc=1.2/c ",
                          "_coll_uri=//?locations, loc=1.10 //l;loc=1.10/a ", "step 0"};
  EXPECT_EQ(iteration.run(walk), expected);
  EXPECT_EQ(iteration.run(walk), expected); // afresh
  EXPECT_EQ(cached(walk), "");
  zu_tvr_pop_props_group_from_cache(walk);
  EXPECT_EQ(iteration.run(walk), (texts{"_coll_uri=//?locations, loc=1.2 //l;loc=1.2/outer ", "step 0"}));
  zu_tvr_pop_props_group_from_cache(walk);
  EXPECT_EQ(iteration.run(walk), texts{"step 0"});
  EXPECT_EQ(walk.error_text(), "");
}

TEST(Iteration, TracesItsSteps) {
  test::fake_walk walk;
  push_groups(walk, {{"/m"}, {"/a"}});
  iteration iteration;
  test::trace_log traces(7);
  iteration.run(walk);
  EXPECT_EQ(traces.text(),
            "7 (debug): iter node: starting iteration\n"
            "7 (debug): iter node: pushing 1 instance to cache: _uri=/a\n"
            "7 (debug): stack: pushing location instance to cache: _coll_uri=//?locations, loc=0\n"
            "7 (debug): stack push (from group): _uri=/m\n"
            "7 (debug): iter node: pushed 3 props to cache\n"
            "7 (debug): iter node: popping 3 items from props from cache\n"
            "7 (debug): iter node: cleaning up\n");
}

TEST(Iteration, ReportsWhatCannotBeSorted) {
  const struct {
    const char *uri, *errors;
  } cases[] = {
      {nullptr, "10000 Failed to get URI from properties\n"},
      {"", "10000 Failed to get MR URI from value\n10000 Failed to extract location ID form properties\n"},
      {"//locations/a", "10000 Failed to get location string from MR URI\n"
                        "10000 Failed to extract location ID form properties\n"},
  };
  for (const auto &c : cases) {
    const test::balanced_memory balanced;
    test::fake_walk walk;
    iteration iteration;
    push_groups(walk, {{"//l;loc=1/a", c.uri}});
    EXPECT_EQ(iteration.run(walk), texts{"step -1"});
    EXPECT_EQ(walk.error_text(), std::string(c.errors) + "10000 Failed to sort data by location\n");
  }
}

TEST(Iteration, EveryFailedAllocationIsReportedAndLeavesNothing) {
  const auto outer = record_of("//l;loc=1;unit=2/o"), one = record_of("//l;loc=2/a"),
             two = record_of("//l;loc=1;unit=2/b");
  test::fail_each_allocation([&] {
    test::fake_walk walk;
    if (walk.ctx() == nullptr) return false;
    iteration iteration;
    if (iteration.data == nullptr || iteration.scratch == nullptr) return false;
    const bool ready = zu_tvr_push_props_group_to_cache(walk, outer.get(), 0) &&
                       zu_tvr_push_props_group_to_cache(walk, one.get(), 0) &&
                       zu_tvr_push_props_group_to_cache(walk, two.get(), 1);
    const bool done = ready && iteration.walk(walk, [] {}) == 0;
    EXPECT_EQ(done, walk.errors.empty()) << walk.error_text();
    return done;
  });
}

// ---- The walk context ----

TEST(WalkContext, ShowsItself) {
  const auto arguments = record_of("/a");
  test::fake_walk plain, walk({.config_name = "saved", .arguments = arguments.get()});
  const auto shown = [](zu_tvr_walk_ctx *ctx, int32_t indentation) {
    return test::stream_text([&](FILE *stream) { zu_tvr_walk_ctx_print(stream, indentation, ctx); });
  };
  EXPECT_EQ(shown(plain, 0), "config_name: (null)\nindentation: 0\narguments:\nstarting node: 0\n");
  zu_tvr_node *node = zu_tvr_node_new_noop();
  zu_tvr_node *below = zu_tvr_node_new_noop();
  const std::string first = std::to_string(node->ordinal), second = std::to_string(below->ordinal);
  walk->starting_node = node;
  walk->indentation = 3;
  walk->node_path = zu_tvr_stack_new(nullptr);
  zu_tvr_stack_push(walk->node_path, node);
  zu_tvr_stack_push(walk->node_path, below);
  zu_tvr_push_props_to_cache(walk, record_of("/b").get(), 0, 0);
  const std::string path = "node path: " + second + "  " + first + " \n";
  EXPECT_EQ(shown(walk, 1), "\tconfig_name: saved\n\tindentation: 3\n" + path +
                                "\targuments:\n\t\t_uri: /a\n\t\t_uri: /b\n\n\tstarting node: " + first +
                                "\n");
  EXPECT_EQ(shown(walk, -2), "config_name: saved\nindentation: 3\n" + path +
                                 "arguments:\n_uri: /a\n_uri: /b\n\nstarting node: " + first + "\n");
  zu_tvr_node_delete(node);
  zu_tvr_node_delete(below);
}

int close_code = 0;
int closed = 0;
template <class Interface>
int count_free(Interface *) {
  ++closed;
  return close_code;
}

cursor_cache_entry *waiting_record(const char *uri) {
  auto *entry = static_cast<cursor_cache_entry *>(qcalloc_named(ZU_TVR_AREA, 1, sizeof(cursor_cache_entry)));
  entry->props_list = static_cast<queue *>(qcalloc_named(ZU_TVR_AREA, 1, sizeof(queue)));
  queue_init(entry->props_list, 0);
  auto *item = static_cast<props_item *>(qcalloc_named(ZU_TVR_AREA, 1, sizeof(props_item)));
  item->props = record_of(uri).release();
  queue_enqueue(entry->props_list, item);
  return entry;
}

TEST(WalkContext, ReleasesWhatAFailedWalkLeft) {
  const zu_coll_ifc_ops coll_ops{nullptr, nullptr, count_free<zu_coll_ifc>, nullptr};
  const zu_crudx_ifc_ops crudx_ops{nullptr, nullptr, count_free<zu_crudx_ifc>, nullptr, nullptr};
  zu_coll_ifc coll{&coll_ops};
  zu_crudx_ifc crudx{&crudx_ops};
  for (const int code : {0, 1}) {
    const test::balanced_memory balanced;
    test::trace_log traces;
    close_code = code;
    closed = 0;
    test::fake_data data;
    data.free_code = code;
    {
      const auto arguments = record_of("/a");
      test::fake_walk walk({.data = data.get(), .arguments = arguments.get()});
      EXPECT_EQ(data.references, 1);
      walk->coll_ifc = &coll;
      walk->crudx_ifc = &crudx;
      walk->node_path = zu_tvr_stack_new(nullptr);
      zu_tvr_stack_push(walk->node_path, &coll);
      push_groups(walk, {{"/a"}});
      zu_tvr_push_props_to_cache(walk, record_of("/a").get(), 1, 0);
      walk->mr_cache = htMake(0);
      htAdd(walk->mr_cache, qstrdup_named(ZU_TVR_AREA, "/a"), record_of("/a").release());
      walk->mr_cache_cursor = htMake(0);
      htAdd(walk->mr_cache_cursor, qstrdup_named(ZU_TVR_AREA, "/?a"), nullptr);
      htAdd(walk->mr_cache_cursor, qstrdup_named(ZU_TVR_AREA, "/?b"), waiting_record("/b"));
      walk->line = zu_do_strbuf_new();
      walk->text = zu_do_strbuf_new();
    }
    EXPECT_EQ(closed, 2);
    EXPECT_EQ(data.references, 0);
    EXPECT_EQ(traces.text(), code == 0
                                 ? ""
                                 : "3 (ERR): Failed to free coll ifc\n3 (ERR): Failed to free crudx ifc\n"
                                   "3 (ERR): Failed to free data ifc\n");
  }
}

TEST(WalkContext, NeedsItsDataInterface) {
  const test::balanced_memory balanced;
  test::fake_data data;
  data.ref_code = 1;
  test::trace_log traces;
  EXPECT_EQ(zu_tvr_walk_ctx_new(data.get(), nullptr, nullptr, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr),
            nullptr);
  EXPECT_EQ(traces.text(), "3 (ERR): Failed to ref data_ifc\n");
}

} // namespace
