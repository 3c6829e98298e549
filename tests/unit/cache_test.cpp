// The stack, the caches of records and groups on it, the
// iteration over a group, the walk context that owns them.
#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "support.h"
#include "support/fake_walk.hpp"
#include "support/objects.hpp"
#include "support/stream_text.hpp"
#include "zu_tovra/internal/records_cache.hpp"
#include "zu_tovra/iter.h"
#include "zu_tovra/record_cache.h"

namespace {

using test::own_record;
using test::own_uri;

own_uri uri_of(const char *text) {
  own_uri uri(zu_do_uri_new(text));
  EXPECT_NE(uri, nullptr) << text;
  return uri;
}

// A record with its URI and the URI of its collection; null leaves the property out, "" makes it a number.
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

TEST(stack, gives_last_first) {
  int items[2];
  zu_tvr_stack *stack = zu_tvr_stack_new(nullptr);
  EXPECT_EQ(zu_tvr_stack_lookup(nullptr, &items[0], nullptr), nullptr);
  EXPECT_EQ(zu_tvr_stack_lookup(stack, &items[0], nullptr), nullptr);
  EXPECT_EQ(zu_tvr_stack_pop(stack), nullptr);
  std::set<uint64_t> stamps;
  const auto push = [&](int &item) {
    EXPECT_TRUE(zu_tvr_stack_push(stack, &item));
    EXPECT_TRUE(stamps.insert(stack->top->stamp).second);
  };
  push(items[0]), push(items[1]);
  EXPECT_EQ(zu_tvr_stack_lookup(stack, &items[0], nullptr), &items[0]);
  EXPECT_EQ(zu_tvr_stack_pop(stack), &items[1]);
  EXPECT_EQ(stack->top->stamp, *stamps.begin());
  push(items[1]); // again, with a stamp of its own
  static std::vector<void *> released;
  released.clear();
  zu_tvr_stack_delete(stack, [](void *item) { released.push_back(item); });
  EXPECT_EQ(released, (std::vector<void *>{&items[1], &items[0]}));
}

// ---- Which record answers ----

TEST(match, by_text_and_by_query_only) {
  const struct {
    const char *record, *looked_up;
    bool answers;
  } cases[] = {
      {"/a/b", "/a/b", true},        {"/a/b?x=1", "/a/b", true}, {"/a/b?x=1", "/a/b?x=1", true},
      {"/a/b?x=1", "/a/b?x", false}, {"/a/bc", "/a/b", false},   {"/a", "/a/b", false},
      {"//?locations", "//", true},  {"", "/a", false},          {nullptr, "/a", false},
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
      const std::string traced = traces.text();
      traces.clear();
      const std::string_view text = c.looked_up; // in two parts, too
      const tvr::looked_up parts = {text.substr(0, text.size() / 2), text.substr(text.size() / 2)};
      EXPECT_EQ(tvr::look_up_text(cache, parts, by_collection).record() != nullptr, c.answers);
      EXPECT_EQ(traces.text(), traced);
    }
  }
}

// ---- Records with their location ----

TEST(cache, pushes_the_location_and_a_member_of_each_group_under_the_same_root) {
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
      {"/a;k=1", 1, 4, "//l;loc=10/x //l;loc=2/elsewhere _coll_uri=//?locations, loc=0 "},
  };
  for (const auto &c : cases) {
    test::fake_walk walk;
    push_groups(walk, groups);
    EXPECT_EQ(zu_tvr_push_props_to_cache(walk, record_of(c.uri).get(), 1, c.skip_top), c.pushed) << c.uri;
    EXPECT_EQ(cached(walk), std::string(c.cached) + c.uri + " ");
    EXPECT_NE(tvr::look_up_text(walk->props_cache, {"//?locations"}, true).record(), nullptr);
    for (uint32_t i = 0; i < c.pushed; ++i) zu_tvr_pop_props_from_cache(walk);
    EXPECT_EQ(walk.error_text(), "");
    zu_tvr_pop_props_from_cache(walk);
    EXPECT_EQ(walk.error_text(), "10000 Failed to pop from properties cache\n");
  }
}

TEST(cache, reports_what_has_no_location) {
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
    test::fake_walk walk;
    push_groups(walk, {{c.member}});
    test::trace_log traces;
    EXPECT_EQ(zu_tvr_push_props_to_cache(walk, record_of(c.uri).get(), 1, 0), 0u);
    EXPECT_EQ(traces.text(), std::string("3 (ERR): ") + c.trace + "\n");
    EXPECT_EQ(walk.error_text(), c.error + std::string("\n"));
    EXPECT_EQ(cached(walk), c.left);
  }
}

TEST(cache, groups_are_pushed_appended_and_popped) {
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

// Iterates as the walk engine does; the last answer.
int32_t iterate(zu_tvr_walk_ctx *ctx) {
  zu_tvr_iter_data *data = zu_tvr_iter_data_new("SLOT");
  zu_tvr_iter_scratch_data *scratch = zu_tvr_iter_scratch_data_new();
  int32_t step;
  while ((step = data->next(scratch, ctx)) == 1) data->pop(scratch, ctx);
  data->cleanup(scratch);
  zu_tvr_iter_scratch_data_delete(scratch);
  zu_tvr_iter_data_delete(data);
  return step;
}

TEST(iteration, traces_its_steps) {
  test::fake_walk walk;
  push_groups(walk, {{"/m"}, {"/a"}});
  test::trace_log traces(7);
  EXPECT_EQ(iterate(walk), 0);
  EXPECT_EQ(traces.text(),
            "7 (debug): iter node: starting iteration\n"
            "7 (debug): iter node: pushing 1 instance to cache: _uri=/a\n"
            "7 (debug): stack: pushing location instance to cache: _coll_uri=//?locations, loc=0\n"
            "7 (debug): stack push (from group): _uri=/m\n"
            "7 (debug): iter node: pushed 3 props to cache\n"
            "7 (debug): iter node: popping 3 items from props from cache\n"
            "7 (debug): iter node: cleaning up\n");
  EXPECT_EQ(cached(walk), "");
}

TEST(iteration, reports_what_cannot_be_sorted) {
  const std::pair<const char *, const char *> cases[] = {
      {nullptr, "10000 Failed to get URI from properties\n"},
      {"", "10000 Failed to get MR URI from value\n10000 Failed to extract location ID form properties\n"},
      {"//locations/a", "10000 Failed to get location string from MR URI\n"
                        "10000 Failed to extract location ID form properties\n"},
  };
  for (const auto &[uri, errors] : cases) {
    test::fake_walk walk;
    push_groups(walk, {{"//l;loc=1/a", uri}});
    EXPECT_EQ(iterate(walk), -1);
    EXPECT_EQ(walk.error_text(), std::string(errors) + "10000 Failed to sort data by location\n");
  }
}

// ---- The walk context ----

TEST(walk_context, shows_itself) {
  const auto arguments = record_of("/a");
  test::fake_walk plain, walk({.config_name = "saved", .arguments = arguments.get()});
  const auto shown = [](zu_tvr_walk_ctx *ctx, int32_t indentation) {
    return test::stream_text([&](FILE *stream) { zu_tvr_walk_ctx_print(stream, indentation, ctx); });
  };
  EXPECT_EQ(shown(plain, -2), "config_name: (null)\nindentation: 0\narguments:\nstarting node: 0\n");
  zu_tvr_node *node = zu_tvr_node_new_noop();
  const std::string number = std::to_string(node->ordinal);
  walk->starting_node = node;
  walk->indentation = 3;
  walk->node_path = zu_tvr_stack_new(nullptr);
  for (int i = 0; i < 2; ++i) zu_tvr_stack_push(walk->node_path, node);
  zu_tvr_push_props_to_cache(walk, record_of("/b").get(), 0, 0);
  EXPECT_EQ(shown(walk, 1), "\tconfig_name: saved\n\tindentation: 3\nnode path: " + number + "  " + number +
                                " \n\targuments:\n\t\t_uri: /a\n\t\t_uri: /b\n\n\tstarting node: " + number +
                                "\n");
  zu_tvr_node_delete(node);
}

TEST(walk_context, tells_of_interfaces_that_it_cannot_take_or_release) {
  static int closed;
  closed = 0;
  const auto refuse_free = [](auto *) { return ++closed; };
  const zu_coll_ifc_ops coll_ops{nullptr, nullptr, refuse_free, nullptr};
  const zu_crudx_ifc_ops crudx_ops{nullptr, nullptr, refuse_free, nullptr, nullptr};
  zu_coll_ifc coll{&coll_ops};
  zu_crudx_ifc crudx{&crudx_ops};
  test::fake_data data;
  data.free_code = 1;
  test::trace_log traces;
  {
    test::fake_walk walk({.data = data.get()});
    EXPECT_EQ(data.references, 1);
    walk->coll_ifc = &coll;
    walk->crudx_ifc = &crudx;
  }
  EXPECT_EQ(closed, 2);
  EXPECT_EQ(data.references, 0);
  data.ref_code = 1;
  EXPECT_EQ(test::fake_walk({.data = data.get()}).ctx(), nullptr);
  EXPECT_EQ(traces.text(), "3 (ERR): Failed to free coll ifc\n3 (ERR): Failed to free crudx ifc\n"
                           "3 (ERR): Failed to free data ifc\n3 (ERR): Failed to ref data_ifc\n");
}

} // namespace
