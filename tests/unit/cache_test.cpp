// The stack, the caches of records and groups on it, the iteration over a group, the walk context that owns
// them.
#include <gtest/gtest.h>

#include <algorithm>

#include "support.h"
#include "support/fake_walk.hpp"
#include "support/objects.hpp"
#include "support/stream_text.hpp"
#include "tree/props_match.hpp"
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

std::string uri_text(zu_do_properties *record) {
  if (record == nullptr) return "(no record)";
  return test::text_of(zu_do_properties_get_mr_uri(record, ZU_DO_NAME_URI, nullptr));
}

// The URIs of the records on the cache from its top, or for a location record its collection and keys.
texts cached(zu_tvr_walk_ctx *ctx) {
  texts all;
  for (auto *entry = ctx->props_cache->top; entry != nullptr; entry = entry->next) {
    auto *record = static_cast<zu_do_properties *>(entry->item);
    std::string text = uri_text(record);
    if (text == "(none)") {
      const test::own_buffer buffer(zu_do_strbuf_new());
      zu_do_properties_to_strbuf(record, 0, buffer.get());
      text = test::text_of(buffer.get());
    }
    all.push_back(text);
  }
  return all;
}

// ---- The stack ----

TEST(Stack, GivesLastFirst) {
  const test::balanced_memory balanced;
  int items[3];
  zu_tvr_stack *stack = zu_tvr_stack_new(nullptr);
  EXPECT_EQ(zu_tvr_stack_pop(stack), nullptr);
  EXPECT_EQ(zu_tvr_stack_lookup(nullptr, &items[0], nullptr), nullptr);
  EXPECT_EQ(zu_tvr_stack_lookup(stack, &items[0], nullptr), nullptr);
  std::vector<uint64_t> stamps;
  for (int round = 0; round < 2; ++round) {
    for (int &item : items) {
      EXPECT_TRUE(zu_tvr_stack_push(stack, &item));
      stamps.push_back(stack->top->stamp);
    }
    EXPECT_EQ(zu_tvr_stack_lookup(stack, &items[1], nullptr), &items[1]);
    EXPECT_EQ(zu_tvr_stack_lookup(stack, stack, nullptr), nullptr);
    EXPECT_EQ(zu_tvr_stack_pop(stack), &items[2]);
    EXPECT_EQ(stack->top->stamp, stamps[stamps.size() - 2]); // the entry below is the one it was
    EXPECT_EQ(zu_tvr_stack_pop(stack), &items[1]);
    EXPECT_EQ(zu_tvr_stack_pop(stack), &items[0]);
    EXPECT_EQ(zu_tvr_stack_pop(stack), nullptr);
  }
  std::sort(stamps.begin(), stamps.end());
  EXPECT_EQ(std::adjacent_find(stamps.begin(), stamps.end()), stamps.end());
  EXPECT_NE(stamps[0], 0u);
  zu_tvr_stack_push(stack, &items[0]);
  zu_tvr_stack_push(stack, &items[1]);
  static std::vector<void *> released;
  released.clear();
  zu_tvr_stack_delete(stack, [](void *item) { released.push_back(item); });
  EXPECT_EQ(released, (std::vector<void *>{&items[1], &items[0]}));
  EXPECT_DEATH(zu_tvr_stack_push(nullptr, &items[0]), "stack");
}

// ---- Which record answers ----

TEST(Match, ByTextAndByQueryOnly) {
  const char *const records[] = {"/a/b", "/a/bc",    "/a/b/c",       "/a/b?x=1",
                                 "/a",   "/a/b;k=1", "//?locations", "//locations;loc=1/a/b",
                                 "",     nullptr};
  const char *const looked_up[] = {
      "/a/b", "/a", "/a/b;k=1", "/a/b?x=1", "/a/b?x", "//?locations", "/", "//", "//locations;loc=1/a/b",
      "/a/bc"};
  for (const char *record_text : records) {
    for (const bool by_collection : {false, true}) {
      const test::balanced_memory balanced;
      test::fake_walk walk;
      const char *name = by_collection ? ZU_DO_NAME_COLL_URI : ZU_DO_NAME_URI;
      // The other property never answers.
      const auto record =
          by_collection ? record_of("/other", record_text) : record_of(record_text, "/other?x");
      ASSERT_EQ(zu_tvr_push_props_to_cache(walk, record.get(), 0, 0), 1u);
      for (const char *text : looked_up) {
        const own_uri uri = uri_of(text);
        const std::string_view looked = zu_do_uri_get_uri_str(uri.get());
        std::string expected_trace;
        bool expected = false;
        if (record_text != nullptr && *record_text != '\0') {
          const std::string have = record_text;
          expected = have == looked || have.starts_with(std::string(looked) + "?");
          expected_trace =
              std::string("7 (debug): stack ") + (expected ? "match: " : "nomatch: ") + have + "\n";
        } else if (record_text != nullptr) {
          expected_trace = "3 (ERR): Failed to read uri from value\n";
        }
        test::trace_log traces(7);
        void *found = zu_tvr_stack_lookup(walk->props_cache, uri.get(), const_cast<char *>(name));
        EXPECT_EQ(found != nullptr, expected) << record_text << " " << looked;
        EXPECT_EQ(traces.text(), expected_trace);
        traces.clear();
        EXPECT_EQ(
            walk->props_cache->find_text(walk->props_cache, looked.data(), looked.size(), by_collection),
            found);
        EXPECT_EQ(traces.text(), expected_trace[0] == '3' ? expected_trace : "");
      }
    }
  }
}

TEST(Match, TheInnermostRecordWins) {
  const test::balanced_memory balanced;
  test::fake_walk walk;
  const auto bottom = record_of("/a/b", "/a?b"), middle = record_of("/a/b?x=1"),
             top = record_of("/a/bc", "/a?b");
  for (const auto &record : {bottom.get(), middle.get(), top.get()})
    zu_tvr_push_props_to_cache(walk, record, 0, 0);
  const own_uri path = uri_of("/a/b"), coll = uri_of("/a?b");
  zu_tvr_stack *cache = walk->props_cache;
  EXPECT_EQ(zu_tvr_stack_lookup(cache, path.get(), const_cast<char *>(ZU_DO_NAME_URI)), middle.get());
  EXPECT_EQ(zu_tvr_stack_lookup(cache, coll.get(), const_cast<char *>(ZU_DO_NAME_COLL_URI)), top.get());
  EXPECT_EQ(cache->find_text(cache, "/a/b", 4, false), middle.get());
  EXPECT_EQ(cache->find_text(cache, "/a?bbb", 4, true), top.get());
  zu_tvr_pop_props_from_cache(walk);
  EXPECT_EQ(cache->find_text(cache, "/a?b", 4, true), bottom.get());
  EXPECT_EQ(cache->find_text(cache, "/a/b", 4, true), nullptr);
}

TEST(Match, AGroupAnswersByItsFirstRecord) {
  const test::balanced_memory balanced;
  test::fake_walk walk;
  const auto first = record_of("/a/b;k=1", "/a?b"), second = record_of("/a/c;k=1", "/a?c");
  EXPECT_TRUE(zu_tvr_push_props_group_to_cache(walk, first.get(), 0));
  EXPECT_TRUE(zu_tvr_push_props_group_to_cache(walk, second.get(), 1));
  zu_tvr_stack *groups = walk->props_groups_cache;
  const own_uri one = uri_of("/a?b"), two = uri_of("/a?c");
  test::trace_log traces(7);
  EXPECT_EQ(zu_tvr_stack_lookup(groups, one.get(), nullptr), groups->top->item);
  EXPECT_EQ(zu_tvr_stack_lookup(groups, two.get(), nullptr), nullptr);
  EXPECT_EQ(traces.text(), "7 (debug): stack lookup (group): /a?b\n7 (debug): stack match: /a?b\n"
                           "7 (debug): stack lookup (group): /a?c\n7 (debug): stack nomatch: /a?b\n");
}

// ---- Records with their location ----

TEST(Cache, PushesTheLocationOfARecord) {
  const struct {
    const char *uri, *location;
  } cases[] = {
      {"//locations;loc=1.4/a;k=1", "_coll_uri=//?locations, loc=1.4"},
      {"//chassis;unit=2;loc=1/a", "_coll_uri=//?locations, unit=2, loc=1"},
      {"//locations/a", "_coll_uri=//?locations"},
      {"/a;k=1", "_coll_uri=//?locations, loc=0"},
  };
  for (const auto &c : cases) {
    const test::balanced_memory balanced;
    test::fake_walk walk;
    const auto record = record_of(c.uri);
    test::trace_log traces(7);
    EXPECT_EQ(zu_tvr_push_props_to_cache(walk, record.get(), 1, 0), 2u);
    EXPECT_EQ(cached(walk), (texts{c.location, c.uri}));
    EXPECT_TRUE(traces.has(std::string("(debug): stack: pushing location instance to cache: ") + c.location));
    EXPECT_EQ(walk->props_cache->find_text(walk->props_cache, "//?locations", 12, true),
              walk->props_cache->top->item);
    zu_tvr_pop_props_from_cache(walk);
    zu_tvr_pop_props_from_cache(walk);
    EXPECT_EQ(walk.error_text(), "");
    zu_tvr_pop_props_from_cache(walk);
    EXPECT_EQ(walk.error_text(), "10000 Failed to pop from properties cache\n");
  }
}

TEST(Cache, AddsAMemberOfEachGroupUnderTheSameRoot) {
  const test::balanced_memory balanced;
  test::fake_walk walk;
  const char *const groups[][3] = {
      {"//l;loc=10/x", "//l;loc=1/outer", "//l;loc=1/second"}, // the first that fits
      {"//l;loc=1/middle", "//l;loc=1/m2", nullptr},
      {"//l;loc=2/elsewhere", "/relative", nullptr},
      {"//l;loc=1/inner", nullptr, nullptr},
  };
  for (const auto &group : groups) {
    for (size_t i = 0; i < 3 && group[i] != nullptr; ++i) {
      EXPECT_TRUE(zu_tvr_push_props_group_to_cache(walk, record_of(group[i]).get(), i > 0));
    }
  }
  const auto record = record_of("//l;loc=1/a;k=1");
  const texts expected = {"//l;loc=1/outer", "//l;loc=1/middle", "//l;loc=1/inner",
                          "_coll_uri=//?locations, loc=1", "//l;loc=1/a;k=1"};
  EXPECT_EQ(zu_tvr_push_props_to_cache(walk, record.get(), 1, 0), 5u);
  EXPECT_EQ(cached(walk), expected);
  for (int i = 0; i < 5; ++i) zu_tvr_pop_props_from_cache(walk);
  EXPECT_EQ(zu_tvr_push_props_to_cache(walk, record.get(), 1, 1), 4u);
  EXPECT_EQ(cached(walk), (texts{expected[0], expected[1], expected[3], expected[4]}));
  EXPECT_EQ(walk.error_text(), "");
}

TEST(Cache, ReportsWhatHasNoLocation) {
  const struct {
    const char *uri, *member;
    const char *traces, *errors;
    size_t left; // on the cache
  } cases[] = {
      {nullptr, nullptr, "3 (ERR): Failed to find URI in props\n", "10000 Failed to find URI in props\n", 1},
      {"", nullptr, "3 (ERR): Failed to get URI from value of type 102 (rc=10000)\n",
       "10000 Failed to get URI from value\n", 1},
      {"//?x", nullptr, "3 (ERR): Failed to allocate memory\n", "10002 Failed to allocate memory\n", 1},
      {"/a", "", "3 (ERR): Failed to extract URI from props\n", "10000 Failed to extract URI from props\n",
       2},
  };
  for (const auto &c : cases) {
    const test::balanced_memory balanced;
    test::fake_walk walk;
    if (c.member != nullptr) zu_tvr_push_props_group_to_cache(walk, record_of(c.member).get(), 0);
    test::trace_log traces;
    EXPECT_EQ(zu_tvr_push_props_to_cache(walk, record_of(c.uri).get(), 1, 0), 0u);
    EXPECT_EQ(traces.text(), c.traces);
    EXPECT_EQ(walk.error_text(), c.errors);
    EXPECT_EQ(cached(walk).size(), c.left);
  }
}

TEST(Cache, GroupsArePushedAppendedAndPopped) {
  const test::balanced_memory balanced;
  test::fake_walk walk;
  const auto record = record_of("/a", "/?a");
  EXPECT_FALSE(zu_tvr_push_props_group_to_cache(walk, record.get(), 1));
  EXPECT_TRUE(zu_tvr_push_props_group_to_cache(walk, record.get(), 0));
  const uint64_t stamp = walk->props_groups_cache->top->stamp;
  EXPECT_TRUE(zu_tvr_push_props_group_to_cache(walk, record.get(), 1));
  EXPECT_NE(walk->props_groups_cache->top->stamp, stamp);
  EXPECT_EQ(zu_do_properties_list_get_len(
                static_cast<zu_do_properties_list *>(walk->props_groups_cache->top->item)),
            2u);
  zu_tvr_pop_props_group_from_cache(walk);
  EXPECT_FALSE(zu_tvr_push_props_group_to_cache(walk, record.get(), 1));
  zu_tvr_pop_props_group_from_cache(walk);
  EXPECT_EQ(walk.error_text(), "10000 location prop cache corrupted\n10000 location prop cache corrupted\n"
                               "10000 Failed to pop from properties group cache\n");
  test::fake_walk fresh;
  EXPECT_DEATH(zu_tvr_pop_props_from_cache(fresh), "stack");
  EXPECT_DEATH(zu_tvr_pop_props_group_from_cache(fresh), "stack");
}

TEST(Cache, EveryFailedAllocationIsReportedAndLeavesNothing) {
  const auto record = record_of("//l;loc=1;unit=2/a", "//l;loc=1;unit=2?a"),
             member = record_of("//l;loc=1;unit=2/b");
  test::fail_each_allocation([&] {
    test::fake_walk walk;
    if (walk.ctx() == nullptr) return false;
    const bool done = zu_tvr_push_props_group_to_cache(walk, member.get(), 0) &&
                      zu_tvr_push_props_group_to_cache(walk, record.get(), 1) &&
                      zu_tvr_push_props_to_cache(walk, record.get(), 1, 0) == 3;
    EXPECT_EQ(done, walk.errors.empty());
    return done;
  });
}

// ---- Locations and the iteration over a group ----

TEST(Location, IsReadFromTheUri) {
  const struct {
    const char *uri;
    tarvo_location expected;
  } cases[] = {
      {"//locations;loc=1.4.2.7/a", {1, 4, 2, 7, 0}},
      {"//locations;loc=3/a", {3, 0xffff, 0xffff, 0, 0}},
      {"//locations;loc=none/a", {0, 0xffff, 0xffff, 0, 0}},
      {"/a", {0, 0xffff, 0xffff, 0, 0}},
  };
  for (const auto &c : cases) {
    test::fake_walk walk;
    const own_value value(zu_do_value_new_mr_uri(uri_of(c.uri).get()));
    tarvo_location location{};
    EXPECT_TRUE(zu_tvr_extract_loc_id_from_uri(walk, value.get(), &location));
    EXPECT_EQ(std::tie(location.rack, location.slot, location.subslot, location.port),
              std::tie(c.expected.rack, c.expected.slot, c.expected.subslot, c.expected.port))
        << c.uri;
  }
  test::fake_walk walk;
  test::trace_log traces;
  tarvo_location location{};
  const own_value number(zu_do_value_new_int(1)),
      keyless(zu_do_value_new_mr_uri(uri_of("//locations/a").get()));
  EXPECT_FALSE(zu_tvr_extract_loc_id_from_uri(walk, number.get(), &location));
  EXPECT_FALSE(zu_tvr_extract_loc_id_from_uri(walk, keyless.get(), &location));
  EXPECT_EQ(traces.text(), "3 (ERR): Failed to get MR URI from value\n"
                           "3 (ERR): Failed to get location string from MR URI\n");
  EXPECT_EQ(walk.error_text(), "10000 Failed to get MR URI from value\n"
                               "10000 Failed to get location string from MR URI\n");
}

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
    EXPECT_EQ(scratch->list, nullptr);
    EXPECT_EQ(scratch->iter, nullptr);
    return step;
  }
  // The cache as the children saw it, record by record; then "step N", the last answer.
  texts run(zu_tvr_walk_ctx *ctx) {
    texts seen;
    const int32_t step = walk(ctx, [&] {
      std::string all;
      for (const auto &text : cached(ctx)) all += text + " ";
      seen.push_back(all);
    });
    seen.push_back("step " + std::to_string(step));
    return seen;
  }
};

TEST(Iteration, GoesThroughTheTopGroupInLocationOrder) {
  const test::balanced_memory balanced;
  test::fake_walk walk;
  iteration iteration;
  EXPECT_EQ(iteration.run(walk), texts{"step 0"}); // no groups yet
  zu_tvr_push_props_group_to_cache(walk, record_of("//l;loc=1.2/outer").get(), 0);
  bool append = false;
  for (const char *uri : {"//l;loc=1.10/a", "//l;loc=1.2/b", "//l;loc=1.2/c", "//l;loc=1/d"}) {
    zu_tvr_push_props_group_to_cache(walk, record_of(uri).get(), append ? 1 : 0);
    append = true;
  }
  const texts expected = {"_coll_uri=//?locations, loc=1 //l;loc=1/d ",
                          "//l;loc=1.2/outer _coll_uri=//?locations, loc=1.2 //l;loc=1.2/b ",
                          "//l;loc=1.2/outer _coll_uri=//?locations, loc=1.2 //l;loc=1.2/c ",
                          "_coll_uri=//?locations, loc=1.10 //l;loc=1.10/a ", "step 0"};
  EXPECT_EQ(iteration.run(walk), expected);
  EXPECT_EQ(iteration.run(walk), expected); // afresh
  EXPECT_EQ(cached(walk), texts{});
  zu_tvr_pop_props_group_from_cache(walk);
  EXPECT_EQ(iteration.run(walk), (texts{"_coll_uri=//?locations, loc=1.2 //l;loc=1.2/outer ", "step 0"}));
  zu_tvr_pop_props_group_from_cache(walk);
  EXPECT_EQ(iteration.run(walk), texts{"step 0"});
  EXPECT_EQ(walk.error_text(), "");
}

TEST(Iteration, TracesItsSteps) {
  test::fake_walk walk;
  zu_tvr_push_props_group_to_cache(walk, record_of("/a").get(), 0);
  iteration iteration;
  test::trace_log traces(7);
  iteration.run(walk);
  EXPECT_EQ(traces.text(),
            "7 (debug): iter node: starting iteration\n"
            "7 (debug): iter node: pushing 1 instance to cache: _uri=/a\n"
            "7 (debug): stack: pushing location instance to cache: _coll_uri=//?locations, loc=0\n"
            "7 (debug): iter node: pushed 2 props to cache\n"
            "7 (debug): iter node: popping 2 items from props from cache\n"
            "7 (debug): iter node: cleaning up\n");
}

TEST(Iteration, ReportsWhatCannotBeSorted) {
  const struct {
    const char *uri, *errors;
  } cases[] = {
      {nullptr, "10000 Failed to get URI from properties\n10000 Failed to sort data by location\n"},
      {"//locations/a", "10000 Failed to get location string from MR URI\n"
                        "10000 Failed to extract location ID form properties\n"
                        "10000 Failed to sort data by location\n"},
  };
  for (const auto &c : cases) {
    const test::balanced_memory balanced;
    test::fake_walk walk;
    iteration iteration;
    zu_tvr_push_props_group_to_cache(walk, record_of("//l;loc=1/a").get(), 0);
    zu_tvr_push_props_group_to_cache(walk, record_of(c.uri).get(), 1);
    EXPECT_EQ(iteration.run(walk), texts{"step -1"});
    EXPECT_EQ(walk.error_text(), c.errors);
  }
}

TEST(Iteration, EveryFailedAllocationIsReportedAndLeavesNothing) {
  const auto one = record_of("//l;loc=2/a"), two = record_of("//l;loc=1/b");
  test::fail_each_allocation([&] {
    test::fake_walk walk;
    if (walk.ctx() == nullptr) return false;
    iteration iteration;
    if (iteration.data == nullptr || iteration.scratch == nullptr) return false;
    const bool ready = zu_tvr_push_props_group_to_cache(walk, one.get(), 0) &&
                       zu_tvr_push_props_group_to_cache(walk, two.get(), 1);
    const bool done = ready && iteration.walk(walk, [] {}) == 0;
    EXPECT_EQ(done, walk.errors.empty()) << walk.error_text();
    return done;
  });
}

// ---- The walk context ----

TEST(WalkContext, KeepsWhatItIsGiven) {
  const test::balanced_memory balanced;
  test::fake_data data;
  const auto arguments = record_of("/a");
  {
    test::fake_walk walk({.data = data.get(),
                          .config_name = "saved",
                          .arguments = arguments.get(),
                          .render_defaults = true,
                          .flags = 0x123456789ab,
                          .fetch_count = 7,
                          .tag_submodes = true});
    EXPECT_EQ(data.references, 1);
    EXPECT_EQ(walk->render_defaults, 1);
    EXPECT_EQ(walk->flags, 0x123456789abu);
    EXPECT_EQ(walk->fetch_count, 7u);
    EXPECT_EQ(walk->tag_submodes, 1);
    zu_tvr_node *node = zu_tvr_node_new_noop();
    zu_tvr_node *below = zu_tvr_node_new_noop();
    const std::string number = std::to_string(node->ordinal), second = std::to_string(below->ordinal);
    EXPECT_EQ(test::stream_text([&](FILE *stream) { zu_tvr_walk_ctx_print(stream, 0, walk); }),
              "config_name: saved\nindentation: 0\narguments:\n\t_uri: /a\nstarting node: 0\n");
    walk->starting_node = node;
    walk->indentation = 3;
    walk->node_path = zu_tvr_stack_new(nullptr);
    zu_tvr_stack_push(walk->node_path, node);
    zu_tvr_stack_push(walk->node_path, below);
    zu_tvr_push_props_to_cache(walk, record_of("/b").get(), 0, 0);
    EXPECT_EQ(test::stream_text([&](FILE *stream) { zu_tvr_walk_ctx_print(stream, 1, walk); }),
              "\tconfig_name: saved\n\tindentation: 3\nnode path: " + second + "  " + number +
                  " \n\targuments:\n\t\t_uri: /a\n\t\t_uri: /b\n\n\tstarting node: " + number + "\n");
    zu_tvr_node_delete(node);
    zu_tvr_node_delete(below);
  }
  EXPECT_EQ(data.references, 0);
  test::fake_walk plain;
  EXPECT_EQ(test::stream_text([&](FILE *stream) { zu_tvr_walk_ctx_print(stream, 0, plain); }).substr(0, 35),
            "config_name: (null)\nindentation: 0\n");
}

int close_code = 0;
int closed = 0;
template <class Interface>
int count_free(Interface *) {
  ++closed;
  return close_code;
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
      test::fake_walk walk({.data = data.get()});
      walk->coll_ifc = &coll;
      walk->crudx_ifc = &crudx;
      walk->node_path = zu_tvr_stack_new(nullptr);
      zu_tvr_stack_push(walk->node_path, &coll);
      zu_tvr_push_props_to_cache(walk, record_of("/a").get(), 1, 0);
      zu_tvr_push_props_group_to_cache(walk, record_of("/a").get(), 0);
      walk->mr_cache = htMake(0);
      htAdd(walk->mr_cache, qstrdup_named(ZU_TVR_AREA, "/a"), record_of("/a").release());
      walk->mr_cache_cursor = htMake(0);
      htAdd(walk->mr_cache_cursor, qstrdup_named(ZU_TVR_AREA, "/?a"), nullptr);
      auto *waiting =
          static_cast<cursor_cache_entry *>(qcalloc_named(ZU_TVR_AREA, 1, sizeof(cursor_cache_entry)));
      waiting->props_list = static_cast<queue *>(qcalloc_named(ZU_TVR_AREA, 1, sizeof(queue)));
      queue_init(waiting->props_list, 0);
      auto *item = static_cast<props_item *>(qcalloc_named(ZU_TVR_AREA, 1, sizeof(props_item)));
      item->props = record_of("/b").release();
      queue_enqueue(waiting->props_list, item);
      htAdd(walk->mr_cache_cursor, qstrdup_named(ZU_TVR_AREA, "/?b"), waiting);
      walk->line = zu_do_strbuf_new();
      walk->text = zu_do_strbuf_new();
      zu_do_strbuf_add_string(walk->line, "half a line");
    }
    EXPECT_EQ(closed, 2);
    EXPECT_EQ(data.references, 0);
    EXPECT_EQ(traces.text(), code == 0
                                 ? ""
                                 : "3 (ERR): Failed to free coll ifc\n3 (ERR): Failed to free crudx ifc\n"
                                   "3 (ERR): Failed to free data ifc\n");
  }
}

TEST(WalkContext, IsNotMadeHalf) {
  const test::balanced_memory balanced;
  const auto make = [](zu_data_ifc *data) {
    return zu_tvr_walk_ctx_new(data, nullptr, nullptr, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr);
  };
  test::fake_data data;
  for (uint64_t n = 1;; ++n) {
    test::trace_log traces;
    qmalloc_fail_nth(n, false);
    zu_tvr_walk_ctx *ctx = make(data.get());
    const bool fired = qmalloc_fail_fired() != 0;
    qmalloc_fail_nth(0, false);
    EXPECT_EQ(ctx == nullptr, fired);
    EXPECT_EQ(traces.text(), fired ? "3 (ERR): Failed to allocate tovra walk context\n" : "");
    if (ctx != nullptr) zu_tvr_walk_ctx_delete(ctx);
    EXPECT_EQ(data.references, 0);
    if (!fired) break;
  }
  data.ref_code = 1;
  test::trace_log traces;
  EXPECT_EQ(make(data.get()), nullptr);
  EXPECT_EQ(traces.text(), "3 (ERR): Failed to ref data_ifc\n");
  EXPECT_EQ(data.references, 0);
}

} // namespace
