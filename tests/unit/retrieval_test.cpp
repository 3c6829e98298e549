// Collection nodes: their protocol, what they ask the data store for, what they push, how they fail.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "qmalloc/qmalloc.h"
#include "retrieval/coll_node.hpp"
#include "retrieval/coll_text.hpp"
#include "support.h"
#include "support/fake_walk.hpp"
#include "support/objects.hpp"
#include "support/scripted_data.hpp"
#include "zu_tovra/coll_uri.h"

namespace {

using lines = std::vector<std::string>;

struct node_options {
  const char *uri = "/sys?ifc";
  std::vector<std::pair<std::string, std::string>> query = {}; // name, JSON value
  std::vector<std::string> orderby = {};
  bool location = false;
  bool group = false;
};

std::string record_text(zu_do_properties *record) {
  int code = 0;
  return test::text_of(zu_do_properties_get_mr_uri(record, ZU_DO_NAME_URI, &code)) + " of " +
         test::text_of(zu_do_properties_get_coll_uri(record, ZU_DO_NAME_COLL_URI, &code));
}

// A collection node with its scratch data.
class coll_node {
public:
  explicit coll_node(const node_options &options) {
    test::own_nvlist query(options.query.empty() ? nullptr : zu_do_nvlist_new());
    for (const auto &[name, value] : options.query) {
      zu_do_nvlist_add(query.get(), name.c_str(), test::json(value).get());
    }
    test::own_nlist orderby(options.orderby.empty() ? nullptr : zu_do_nlist_new());
    for (const auto &name : options.orderby) zu_do_nlist_add_string(orderby.get(), name.c_str());
    data = zu_tvr_coll_data_new(zu_tvr_uri_new(options.uri), query.get(), orderby.get(),
                                options.location ? "DEFAULT" : nullptr, options.group ? 1 : 0);
    scratch = zu_tvr_coll_scratch_data_new();
  }
  ~coll_node() {
    zu_tvr_coll_scratch_data_delete(scratch);
    zu_tvr_coll_data_delete(data);
  }
  coll_node(const coll_node &) = delete;
  coll_node &operator=(const coll_node &) = delete;

  // Another URI for the next walk, as a template with keys from an enclosing record gives.
  void move_to(const char *uri) {
    zu_tvr_uri_delete(data->coll_uri);
    data->coll_uri = zu_tvr_uri_new(uri);
  }

  // Walks the node as the engine does; what each step answered and pushed.
  lines walk(zu_tvr_walk_ctx *ctx, bool is_start_node = false) {
    lines steps;
    int32_t executed = 0;
    do {
      executed = data->execute(data, scratch, ctx, is_start_node ? 1 : 0);
      steps.push_back("execute " + std::to_string(executed));
      EXPECT_TRUE(executed == 1 || scratch->cursor == nullptr);
      if (executed == -1) return steps;
      int32_t iterated = 0;
      while ((iterated = data->iterate(data, scratch, ctx)) == 1) {
        auto *entry = ctx->props_cache->top;
        while (entry->next != nullptr) entry = entry->next; // above it, the location that it lives in
        steps.push_back(record_text(static_cast<zu_do_properties *>(entry->item)));
        data->pop(scratch, ctx);
        EXPECT_EQ(scratch->props_pushed, 0);
        EXPECT_EQ(scratch->groups_pushed, 0);
      }
      if (iterated != 0) steps.push_back("iterate " + std::to_string(iterated));
      data->cleanup(scratch, executed);
      EXPECT_EQ(scratch->vtable, nullptr);
      EXPECT_EQ(scratch->iter, nullptr);
    } while (executed == 1);
    EXPECT_EQ(scratch->coll_uri, nullptr);
    EXPECT_EQ(scratch->cursor, nullptr);
    return steps;
  }

  zu_tvr_coll_data *data;
  zu_tvr_coll_scratch_data *scratch;
};

// What a scenario did; warnings and errors are traced.
lines scenario(const test::scripted_data::preparation &prepare, uint32_t fetch_count,
               const std::function<lines(zu_tvr_walk_ctx *)> &walk) {
  return test::scenario(prepare, {.fetch_count = fetch_count}, 4, walk);
}

lines only(const lines &did, const std::string &start) {
  lines found;
  for (const auto &line : did) {
    if (line.starts_with(start)) found.push_back(line);
  }
  return found;
}

test::own_table instances(const lines &uris) {
  std::vector<std::vector<std::string>> rows;
  for (const auto &uri : uris) rows.push_back({uri});
  return test::make_table({"_uri"}, rows);
}

// ---- Batches ----

TEST(retrieval, reads_a_collection_in_batches) {
  const lines uris = {"/sys/ifc;n=1", "/sys/ifc;n=2", "/sys/ifc;n=3", "/sys/ifc;n=4", "/sys/ifc;n=5"};
  struct {
    uint32_t fetch_count;
    bool late_end;
    lines executed;
  } cases[] = {
      {0, false, {"execute 0"}}, {2, false, {"execute 1", "execute 1", "execute 0"}},
      {5, false, {"execute 0"}}, {5, true, {"execute 1", "execute 0"}},
      {0, true, {"execute 0"}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(std::to_string(c.fetch_count) + (c.late_end ? " late" : ""));
    const lines did = scenario(
        [&](auto &data) {
          data.collections["/sys?ifc"] = instances(uris);
          data.late_end = c.late_end;
        },
        c.fetch_count, [](auto *ctx) { return coll_node({}).walk(ctx); });
    lines expected;
    for (const auto &uri : uris) expected.push_back(uri + " of /sys?ifc");
    EXPECT_EQ(only(did, "/"), expected);
    EXPECT_EQ(only(did, "execute"), c.executed);
    EXPECT_EQ(only(did, "open"), lines{"open /sys?ifc 0x1010010"});
    EXPECT_EQ(only(did, "fetch").size(), c.executed.size());
    EXPECT_EQ(only(did, "free").size(), 1u);
    // The status is only cleared at the end of the data. A fetch of all rows may not report the end.
    EXPECT_EQ(only(did, "clear").size(), c.late_end && c.fetch_count == 0 ? 0u : 1u);
  }
}

TEST(retrieval, the_last_column_of_a_name_wins) {
  for (const auto &[column, expected] : {std::pair("n:k", "/s/i;n=1 of /s?i k=2"),
                                         {"x: k ", "/s/i;n=1 of /s?i k=2"},
                                         {"x:_coll_uri", "/s/i;n=1 of (none) k=1"},
                                         {"x: _coll_uri", "/s/i;n=1 of (none) k=1"}}) {
    const auto prepare = [&](auto &data) {
      data.collections["/s?i"] = test::make_table({"_uri", "m:k", column}, {{"/s/i;n=1", "1", "2"}});
    };
    const lines did = scenario(prepare, 0, [](auto *ctx) {
      coll_node node({.uri = "/s?i"});
      EXPECT_EQ(node.data->execute(node.data, node.scratch, ctx, 0), 0);
      EXPECT_EQ(node.data->iterate(node.data, node.scratch, ctx), 1);
      auto *record = static_cast<zu_do_properties *>(ctx->props_cache->top->item);
      return lines{record_text(record) + " k=" + test::display(zu_do_properties_get_value(record, "k"))};
    });
    EXPECT_EQ(did[0], expected);
  }
}

// ---- Caching ----

// One node whose parent changes from walk to walk, over rows with locations.
TEST(retrieval, requests_a_collection_once_for_all_parents) {
  const auto coll = [](int parent) { return "/s/i;n=" + std::to_string(parent) + "?u"; };
  const auto unit = [](int parent, int number) {
    return "//locations;loc=1/s/i;n=" + std::to_string(parent) + "/u;k=" + std::to_string(number);
  };
  const lines did = scenario(
      [&](auto &data) {
        data.collections[coll(1)] =
            instances({unit(1, 1), unit(3, 1), unit(3, 2), unit(4, 1), unit(1, 2), unit(3, 3)});
        data.collections[coll(5)] = instances({unit(6, 1)});
      },
      0,
      [&](auto *ctx) {
        coll_node node({});
        lines steps;
        for (const int parent : {1, 2, 3, 2, 4, 3, 5, 5, 6}) {
          node.move_to(coll(parent).c_str());
          for (const auto &step : node.walk(ctx)) steps.push_back(step);
        }
        return steps;
      });
  const auto of = [&](int parent, int number) { return unit(parent, number) + " of " + coll(parent); };
  const auto open = [&](int parent) { return "open " + coll(parent) + " 0x10000010"; };
  EXPECT_EQ(only(did, "//"),
            (lines{of(1, 1), of(1, 2), of(3, 1), of(3, 2), of(3, 3), of(4, 1), of(6, 1), of(6, 1)}));
  // 2 has no instances, which is remembered; 3 was served and forgotten, so that it is asked for again; 5 is
  // not remembered, as its answer had instances of another parent.
  EXPECT_EQ(only(did, "open"), (lines{open(1), open(2), open(3), open(5), open(5)}));
}

test::own_record record_of(const char *uri_text) {
  test::own_record record(zu_do_properties_new());
  zu_do_properties_set_mr_uri(record.get(), ZU_DO_NAME_URI, test::own_uri(zu_do_uri_new(uri_text)).get());
  return record;
}

// What a node knows of the queue that serves it is looked at again when somebody else empties or fills it.
TEST(retrieval, shares_a_queue) {
  test::fake_walk ctx;
  coll_node first({.uri = "/s/i;n=1?u"}), second({.uri = "/s/i;n=1?u"});
  const auto put = [&](const char *one, const char *under = "/s/i;n=1?u") {
    tvr::cursor_cache_insert(ctx, under, record_of(one).get());
  };
  const auto next = [&](coll_node &node) {
    const int32_t step = node.data->iterate(node.data, node.scratch, ctx);
    if (step != 1) return std::to_string(step);
    const auto text = record_text(static_cast<zu_do_properties *>(ctx->props_cache->top->item));
    node.data->pop(node.scratch, ctx);
    return text.substr(0, 2);
  };
  put("/1"), put("/2"), put("/3");
  for (auto *node : {&first, &second}) EXPECT_EQ(node->data->execute(node->data, node->scratch, ctx, 0), 0);
  EXPECT_EQ((lines{next(first), next(second), next(second)}), (lines{"/1", "/2", "/3"}));
  put("/4"); // where the queue was
  EXPECT_EQ(next(first), "/4");
  put("/5", "/s/i;n=2?u");
  EXPECT_EQ(next(first), "0");
  coll_node({.uri = "/s/i;n=2?u"}).walk(ctx);
  put("/6"), put("/7");
  EXPECT_EQ((lines{next(first), next(second), next(first)}), (lines{"/6", "/7", "0"}));
}

// The node's own step that resolves the URI may be a host's.
TEST(retrieval, looks_up_what_a_host_resolved) {
  test::fake_walk ctx;
  coll_node node({.uri = "/s/i;n=1?u"});
  node.data->execute = [](auto *data, auto *scratch, auto *walk, uint8_t) {
    scratch->coll_uri = data->coll_uri->resolve(data->coll_uri, walk);
    return 0;
  };
  tvr::cursor_cache_mark_requested(ctx, "/s/i;n=1?u", tvr::requester::collection_node);
  for (const char *under : {"/s/i;n=2?u", "/s/i;n=4?u"})
    tvr::cursor_cache_insert(ctx, under, record_of("/1").get());
  lines walked = {node.walk(ctx).back()};
  for (const char *uri : {"/s/i;n=2?u", "/s/i;n=3?u", "/s/i;n=4?u"}) {
    node.move_to(uri);
    walked.push_back(node.walk(ctx).back());
  }
  EXPECT_EQ(walked, (lines{"execute 0", "/1 of /s/i;n=2?u", "execute 0", "/1 of /s/i;n=4?u"}));
}

// A host may put records in the tables itself, as blocks of the named allocator.
TEST(retrieval, takes_what_a_host_kept) {
  test::fake_walk ctx;
  const auto make = [](size_t size) { return qcalloc_named(ZU_TVR_AREA, 1, size); };
  ctx->mr_cache = htMake(0);
  ctx->mr_cache_cursor = htMake(0);
  for (const char *key : {"/s/i;n=1?u", "/s/i;n=2?u"}) {
    auto *entry = static_cast<cursor_cache_entry *>(make(sizeof(cursor_cache_entry)));
    auto *item = static_cast<props_item *>(make(sizeof(props_item)));
    item->props = record_of("/1").release();
    entry->props_list = static_cast<queue *>(make(sizeof(queue)));
    queue_enqueue(entry->props_list, item);
    htAdd(ctx->mr_cache_cursor, qstrdup_named(ZU_TVR_AREA, key), entry);
    htAdd(ctx->mr_cache, qstrdup_named(ZU_TVR_AREA, key), record_of("/1").release());
    EXPECT_TRUE(tvr::cursor_cache_insert(ctx, key, record_of("/2").get()));
  }
  EXPECT_EQ(coll_node({.uri = "/s/i;n=1?u"}).walk(ctx),
            (lines{"execute 0", "/1 of /s/i;n=1?u", "/2 of /s/i;n=1?u"}));
  EXPECT_TRUE(tvr::mr_cache_take(ctx, "/s/i;n=1?u"));
}

// ---- Failures ----

TEST(retrieval, failures_are_traced_and_reported) {
  using data = test::scripted_data;
  const auto answer = [](auto data::*call, auto code) { return [=](data &store) { store.*call = code; }; };
  const auto rows = [](const char *uri, const lines &columns, const std::vector<lines> &cells) {
    return [=](data &store) { store.collections[uri] = test::make_table(columns, cells); };
  };
  const auto nothing = [](data &) {};
  const node_options plain, by_location = {.location = true}, sorted = {.orderby = {"k"}, .location = true};
  const char *parent = "/s/i;n=1?u", *ifc = "/sys?ifc";
  const node_options below = {.uri = parent};
  const std::string no_query = "10000 Error in building the query|", no_coll = "Error using the collection|",
                    no_record = "10000 Failed to get props from vlist|",
                    no_order = "10000 Failed to sort data by location|", no_cursor = "Failed to get cursor|";
  struct {
    std::function<void(data &)> break_it;
    node_options options;
    std::string errors;
    std::string traces = {}; // when they differ in words from the errors
  } cases[] = {
      {nothing,
       {.uri = "/s/i;n=$?u"},
       "10000 Failed to resolve collection URI|",
       "no match for /s?i|Could not find props for URI resolution|"
       "Failed to resolve one or more keys in URI|Failed to resolve collection URI|"},
      {nothing,
       {.query = {{"x", "\"$name\""}, {"y", "\"$absent\""}}},
       no_query,
       "Missing value for absent in partial TOVRA|"},
      {nothing, {.query = {{"x", "\"name\""}}}, no_query, "Failed to get value for query|"},
      {answer(&data::get_coll_code, 55), plain, "55 " + no_coll, "Failed to get collection interface|"},
      {answer(&data::open_code, 103), plain, "103 " + no_coll, no_cursor}, // and a cursor
      {answer(&data::open_gives_cursor, false), plain, "10000 " + no_coll, no_cursor},
      {answer(&data::fetch_code, 77), plain, "77 " + no_coll},
      {rows(ifc, {"_uri", ""}, {{"/sys/ifc", "1"}}), plain, no_record},
      {rows(parent, {"k"}, {{"1"}}), below, no_record,
       "Failed to get uri from properties|Failed to get props from vlist|"},
      {rows(parent, {"_uri"}, {{"/"}}), below,
       "10000 Failed to get parent uri or last segment in uri|" + no_record},
      {rows(ifc, {"_uri"}, {{"/"}}),
       {.orderby = {"k"}, .group = true},
       "10000 Failed to get key values from props|",
       "Failed to find k in props|"},
      // Rows that cannot be sorted.
      {rows(ifc, {"_uri"}, {{"/sys/ifc;n=1"}, {"/sys/ifc;n=2"}}), sorted,
       "10000 Failed to determine sorting key column|" + no_order},
      {rows(ifc, {"k"}, {{"1"}}), by_location, "10000 Failed to determine URI column|" + no_order},
      {rows(ifc, {"k", "_uri"}, {{"1"}}), by_location, "10000 Failed to get URI from row|" + no_order},
      {rows(ifc, {"_uri"}, {{"1"}}), by_location,
       "10000 Failed to get MR URI from value|10000 Failed to extract location from row|" + no_order,
       "Failed to get MR URI from value|Failed to extract location|Failed to sort data by location|"},
      {rows(ifc, {"_uri", "k"}, {{"/a"}}), sorted,
       "10000 Failed to get value|10000 Failed to compare sorting keys|" + no_order},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.errors);
    const lines did = scenario(c.break_it, 1, [&](auto *ctx) { // by batches that are not the last
      ctx->arguments = zu_do_properties_new();
      zu_do_properties_set_string(ctx->arguments, "name", "eth0");
      return coll_node(c.options).walk(ctx, true);
    });
    EXPECT_EQ(only(did, "execute -1").size() + only(did, "iterate -1").size(), 1u);
    std::string errors, messages, traces;
    for (const auto &line : only(did, "error ")) {
      errors += line.substr(std::strlen("error ")) + "|";
      messages += line.substr(line.find(' ', std::strlen("error ")) + 1) + "|";
    }
    for (const auto &line : only(did, "3 ")) traces += line.substr(std::strlen("3 (ERR): ")) + "|";
    EXPECT_EQ(errors, c.errors);
    EXPECT_EQ(traces, c.traces.empty() ? messages : c.traces);
  }
}

// ---- Collection URIs ----

TEST(retrieval, tells_ref_many_subtrees) {
  test::fake_walk ctx;
  const auto under = [&](const char *text) {
    return uri_is_under_ref_many_subtree(ctx, test::own_uri(zu_do_uri_new(text)).get());
  };
  for (const char *text : {"/a/b;k=1", "/a/b;k=1?c", "//l;loc=1/a/b;k=1"}) EXPECT_TRUE(under(text)) << text;
  for (const char *text :
       {"/a/b", "/a;k=1/b", "/a/b;k=1?c=1", "//l;loc=1/a;k=1/b", "//l;loc=1?a", "//?l", "/a;k=1?b"}) {
    EXPECT_FALSE(under(text)) << text;
  }
  EXPECT_EQ(ctx.error_text(), "");
  EXPECT_FALSE(uri_is_under_ref_many_subtree(ctx, nullptr));
  EXPECT_FALSE(uri_is_under_ref_many_subtree(nullptr, nullptr));
  EXPECT_EQ(ctx.error_text(), "10000 Incorrect parameters\n");
  EXPECT_DEATH(need_to_request_collection(nullptr, nullptr), "mr_cache_cursor");
  EXPECT_DEATH(generate_coll_uri_from_mr_uri(nullptr, nullptr), "ctx");
}

// The text that is read off an instance's text is that of the URI that is made of it.
TEST(retrieval, collections_of_instances) {
  const std::string deep = "/" + std::string(600, 'a');
  const struct {
    std::string instance, collection, relative;
  } cases[] = {
      {"/a/b;k=1", "/a?b", "/a?b"},
      {"/b;k=1", "/?b", "/?b"},
      {"//locations;loc=1/sys", "//locations;loc=1?sys", "/?sys"},
      {"//locations;loc=1/sys/ifc;name=e0", "//locations;loc=1/sys?ifc", "/sys?ifc"},
      {"//locations;loc=1", "//?locations", "/?locations"},
      {"/a;x=%2F/b;k=1%3B", "/a;x=%2F?b", "/a;x=%2F?b"},
      {"//l;loc=1/a?b", "//l;loc=1/a?a", "/a?a"}, // left to the platform
      {"//l" + deep + "/b", "//l" + deep + "?b", deep + "?b"},
  };
  test::fake_walk ctx;
  for (const auto &c : cases) {
    test::own_uri instance(zu_do_uri_new(c.instance.c_str()));
    EXPECT_EQ(test::text_of(test::own_uri(generate_coll_uri_from_mr_uri(ctx, instance.get())).get()),
              c.collection);
    tvr::coll_text collection;
    ASSERT_TRUE(collection.take(ctx, instance.get()));
    EXPECT_EQ(collection.get(), c.collection);
    ASSERT_TRUE(collection.make_relative());
    EXPECT_EQ(collection.get(), c.relative);
    EXPECT_EQ(collection.get().size(), std::strlen(collection.get().data()));
    EXPECT_EQ(test::text_of(test::own_uri(zu_do_uri_new_relative(c.collection.c_str())).get()), c.relative);
  }
}

} // namespace
