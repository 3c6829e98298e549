// Get-one nodes: the direct read, the cached read, and how they fail.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "support.h"
#include "support/fake_walk.hpp"
#include "support/objects.hpp"
#include "support/scripted_data.hpp"
#include "support/stream_text.hpp"
#include "zu_tovra/crudx.h"

namespace {

using lines = std::vector<std::string>;

class get_node {
public:
  explicit get_node(const char *uri) : data(zu_tvr_crudx_data_new(zu_tvr_uri_new(uri))) {}
  ~get_node() { zu_tvr_crudx_data_delete(data); }
  get_node(const get_node &) = delete;
  get_node &operator=(const get_node &) = delete;

  // What the walk answered, and the record that it pushed, which is popped again.
  std::string walk(zu_tvr_walk_ctx *ctx) {
    const int32_t step = data->walk(data, ctx);
    std::string text = "walk " + std::to_string(step);
    if (step != 1) return text;
    auto *record = static_cast<zu_do_properties *>(ctx->props_cache->top->item);
    text += " " + test::text_of(zu_do_properties_get_mr_uri(record, ZU_DO_NAME_URI, nullptr));
    const char *name = zu_do_properties_get_string(record, "name", nullptr);
    if (name != nullptr) text += std::string(" ") + name;
    zu_tvr_pop_props_from_cache(ctx);
    return text;
  }

  zu_tvr_crudx_data *data;
};

// Walks a node for each URI, with errors traced only and with every trace on: what happened must be the same.
lines in_both_ways(const std::function<void(test::scripted_data &)> &prepare, const lines &uris,
                   uint32_t fetch_count = 0, const char *config_name = nullptr) {
  lines did[2];
  for (const int level : {6, 7}) {
    test::balanced_memory balanced;
    test::scripted_data data;
    prepare(data);
    test::trace_log traces(level);
    lines &all = did[level - 6];
    {
      test::walk_options options;
      options.data = data.get();
      options.fetch_count = fetch_count;
      options.config_name = config_name;
      test::fake_walk ctx(options);
      for (const auto &uri : uris) all.push_back(get_node(uri.c_str()).walk(ctx));
      for (const auto &error : ctx.errors) all.push_back("error " + error);
      if (ctx->mr_cache != nullptr) all.push_back("kept " + std::to_string(htSize(ctx->mr_cache)));
    }
    EXPECT_EQ(data.open_cursors, 0);
    for (const auto &call : data.calls) all.push_back(call);
    for (const auto &trace : traces.lines()) {
      if (trace[0] < '7') all.push_back(trace);
    }
  }
  EXPECT_EQ(did[0], did[1]);
  return did[0];
}

TEST(crudx, reads_one_record_directly) {
  struct {
    const char *what;
    std::function<void(test::scripted_data &)> prepare;
    lines did;
  } cases[] = {
      {"found",
       [](auto &data) { data.records["/sys"] = "edge"; },
       {"walk 1 /sys edge", "get_crudx_ifc", "get /sys 0x1010110 of other",
        "6 (info): get mr_properties (/sys) -> (1)"}},
      {"not found",
       [](auto &) {},
       {"walk 0", "get_crudx_ifc", "get /sys 0x1010110 of other", "clear",
        "6 (info): get mr_properties (/sys) -> (0)"}},
      {"an error",
       [](auto &data) { data.get_code = 42; },
       {"walk -1", "error 42 Failed to get properties", "get_crudx_ifc", "get /sys 0x1010110 of other",
        "3 (ERR): Failed to get properties for /sys)", "6 (info): get mr_properties (/sys) -> (-1)"}},
      {"no interface",
       [](auto &data) { data.get_crudx_code = 43; },
       {"walk -1", "error 43 Error getting the crudx interface", "get_crudx_ifc",
        "3 (ERR): Error getting the crudx interface", "6 (info): get mr_properties (/sys) -> (-1)"}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(in_both_ways(c.prepare, {"/sys"}, 0, "other"), c.did);
  }
}

zu_do_uri *resolve_none(zu_tvr_uri *, zu_tvr_walk_ctx *) {
  return nullptr;
}

TEST(crudx, reports_a_uri_that_is_not_resolved) {
  test::balanced_memory balanced;
  test::trace_log traces;
  test::fake_walk ctx;
  get_node node("/sys");
  const auto resolve = std::exchange(node.data->uri->resolve, resolve_none);
  EXPECT_EQ(node.walk(ctx), "walk -1");
  node.data->uri->resolve = resolve;
  EXPECT_EQ(ctx.error_text(), "102 Failed to resolve URI in get node\n");
  EXPECT_TRUE(traces.has("(ERR): Failed to resolve URI in get node"));
}

// The three records of a collection, under the given start of their URIs.
test::own_table three(const std::string &start) {
  return test::make_table({"_uri", "name"}, {{start + "/s/i;n=1/u", "\"one\""},
                                             {start + "/s/i;n=1/u;k=2", "\"two\""},
                                             {start + "/s/i;n=1/u;k=3", "\"three\""}});
}

TEST(crudx, fetches_a_collection_once_for_its_instances) {
  struct {
    const char *what;
    std::string asked; // what the node's URIs begin with
    std::string rows;
    uint32_t fetch_count;
    int kept; // instances that nobody asked for
    lines walks;
  } cases[] = {
      {"relative",
       "",
       "",
       0,
       0,
       {"walk 1 /s/i;n=1/u;k=2 two", "walk 1 /s/i;n=1/u one", "walk 1 /s/i;n=1/u;k=3 three", "walk 0"}},
      {"absolute",
       "//l;loc=1",
       "//l;loc=1",
       0,
       0,
       {"walk 1 //l;loc=1/s/i;n=1/u;k=2 two", "walk 1 //l;loc=1/s/i;n=1/u one",
        "walk 1 //l;loc=1/s/i;n=1/u;k=3 three", "walk 0"}},
      {"relative over absolute rows",
       "",
       "//l;loc=1",
       0,
       0,
       {"walk 1 /s/i;n=1/u;k=2 two", "walk 1 /s/i;n=1/u one", "walk 1 /s/i;n=1/u;k=3 three", "walk 0"}},
      {"absolute over relative rows", "//l;loc=1", "", 0, 3, {"walk 0", "walk 0", "walk 0", "walk 0"}},
      {"the first batch only",
       "",
       "",
       2,
       0,
       {"walk 1 /s/i;n=1/u;k=2 two", "walk 1 /s/i;n=1/u one", "walk 0", "walk 0"}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    const std::string coll = c.asked + "/s/i;n=1?u";
    lines did = in_both_ways([&](auto &data) { data.collections[coll] = three(c.rows); },
                             {c.asked + "/s/i;n=1/u;k=2", c.asked + "/s/i;n=1/u", c.asked + "/s/i;n=1/u;k=3",
                              c.asked + "/s/i;n=1/u;k=4"},
                             c.fetch_count);
    lines calls;
    for (const auto &line : did) {
      if (line[0] != '6' && !line.starts_with("walk")) calls.push_back(line);
    }
    did.resize(c.walks.size());
    EXPECT_EQ(did, c.walks);
    lines expected = {"kept " + std::to_string(c.kept), "get_coll_ifc", "open " + coll + " 0x11010000",
                      "fetch " + std::to_string(c.fetch_count)};
    if (c.fetch_count == 0) expected.push_back("clear");
    expected.push_back("free");
    EXPECT_EQ(calls, expected);
  }
}

TEST(crudx, records_of_a_cached_read_have_whole_column_names) {
  const lines did = in_both_ways(
      [](auto &data) {
        data.collections["/s/i;n=1?u"] = test::make_table({"_uri", "m:name"}, {{"/s/i;n=1/u", "\"one\""}});
      },
      {"/s/i;n=1/u"});
  EXPECT_EQ(did[0], "walk 1 /s/i;n=1/u");
}

TEST(crudx, failures_of_the_cached_read) {
  const std::string failed_collection =
      "3 (ERR): crudx node: Failed to get the properties for the collection uri (/s/i;n=1?u";
  const std::string not_found = "6 (info): Properties were not found (res = 0)\n";
  const std::string answered_none = "6 (info): get mr_properties (/s/i;n=1/u) -> (0)";
  struct {
    const char *what;
    std::function<void(test::scripted_data &)> break_it;
    uint32_t fetch_count;
    lines did;
  } cases[] = {
      {"no interface",
       [](auto &data) { data.get_coll_code = 55; },
       0,
       {"walk -1", "error 10000 Failed to get collection interface", "get_coll_ifc",
        "3 (ERR): Failed to get collection interface", failed_collection}},
      {"open",
       [](auto &data) { data.open_code = 103; },
       0,
       {"walk -1", "error 10002 Failed to get cursor", "get_coll_ifc", "open /s/i;n=1?u 0x11010000", "free",
        "3 (ERR): Failed to get cursor", failed_collection}},
      {"fetch",
       [](auto &data) { data.fetch_code = 77; },
       0,
       {"walk -1", "get_coll_ifc", "open /s/i;n=1?u 0x11010000", "fetch 0", "free",
        "6 (info): crudx node: get_next error (err = 77)\n", failed_collection}},
      {"fetch with a count",
       [](auto &data) { data.fetch_code = 77; },
       2,
       {"walk 0", "get_coll_ifc", "open /s/i;n=1?u 0x11010000", "fetch 2", "free", not_found, answered_none}},
      {"a row without URI",
       [](auto &data) { data.collections["/s/i;n=1?u"] = test::make_table({"name"}, {{"\"one\""}}); },
       0,
       {"walk 0", "error 10000 Failed to get uri from properties", "get_coll_ifc",
        "open /s/i;n=1?u 0x11010000", "fetch 0", "clear", "free",
        "3 (ERR): Failed to get uri from properties", not_found, answered_none}},
      {"a row without URI after the wanted one",
       [](auto &data) {
         data.collections["/s/i;n=1?u"] = test::make_table({"_uri"}, {{"/s/i;n=1/u"}, {"\"text\""}});
       },
       0,
       {"walk -1", "error 10000 Failed to get uri from properties", "get_coll_ifc",
        "open /s/i;n=1?u 0x11010000", "fetch 0", "clear", "free",
        "3 (ERR): Failed to get uri from properties", failed_collection}},
      {"a column without name",
       [](auto &data) {
         data.collections["/s/i;n=1?u"] = test::make_table({"_uri", ""}, {{"/s/i;n=1/u", "1"}});
       },
       0,
       {"walk 0", "error 10002 Failed to create nlist from ntlist", "get_coll_ifc",
        "open /s/i;n=1?u 0x11010000", "fetch 0", "clear", "free",
        "3 (ERR): Failed to create nlist from ntlist", not_found, answered_none}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(in_both_ways(c.break_it, {"/s/i;n=1/u"}, c.fetch_count), c.did);
  }
}

TEST(crudx, survives_every_failed_allocation) {
  for (const int level : {4, 7}) {
    lines whole;
    for (uint64_t n = 0;; ++n) {
      SCOPED_TRACE(std::to_string(n) + " at level " + std::to_string(level));
      test::balanced_memory balanced;
      test::scripted_data data;
      data.collections["/s/i;n=1?u"] = three("//l;loc=1");
      data.records["/sys"] = "edge";
      get_node nodes[] = {get_node("/s/i;n=1/u;k=2"), get_node("/sys"), get_node("/s/i;n=1/u")};
      test::walk_options with;
      with.data = data.get();
      test::fake_walk ctx(with);
      test::trace_log traces(level);
      lines did;
      qmalloc_fail_nth(n, false);
      for (auto &node : nodes) did.push_back(node.walk(ctx));
      const bool fired = qmalloc_fail_fired() > 0;
      qmalloc_fail_nth(0, false);
      if (n == 0) whole = did;
      // By the plain steps, a relative form that cannot be made silently means the direct request.
      EXPECT_TRUE(level == 7 || did == whole || traces.count("(ERR): ") > 0);
      if (n > 0 && (!fired || HasFailure())) break;
    }
  }
}

TEST(crudx, dumps_what_is_fixed) {
  test::balanced_memory balanced;
  const auto dump = [](const char *uri) {
    get_node node(uri);
    return test::stream_text([&](FILE *stream) { zu_tvr_crudx_data_print(stream, 2, node.data); });
  };
  EXPECT_EQ(dump("/a/b"), "\t\t/a/b\n\n");
  EXPECT_EQ(dump("/a/b;k=$"), "\n");
  zu_tvr_crudx_data_delete(nullptr);
}

} // namespace
