// Get-one nodes: the direct read, the cached read, and how they fail.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "support.h"
#include "support/fake_walk.hpp"
#include "support/objects.hpp"
#include "support/scripted_data.hpp"
#include "zu_tovra/crudx.h"

namespace {

using lines = std::vector<std::string>;

struct get_node {
  explicit get_node(const std::string &uri) : data(zu_tvr_crudx_data_new(zu_tvr_uri_new(uri.c_str()))) {}
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

// What walks did: their answers, what they reported, the calls and the traces, each row with " | " after it.
struct walked {
  std::string answers;
  std::string rest;
};

// Walks a node for each URI, with errors traced only and with every trace on: what happened must be the same.
walked in_both_ways(const std::function<void(test::scripted_data &)> &prepare, const lines &uris,
                    uint32_t fetch_count) {
  walked did[2];
  for (const int level : {6, 7}) {
    test::balanced_memory balanced;
    test::scripted_data data;
    prepare(data);
    test::trace_log traces(level);
    auto &[answers, rest] = did[level - 6];
    {
      test::walk_options options;
      options.data = data.get();
      options.fetch_count = fetch_count;
      options.config_name = "other";
      test::fake_walk ctx(options);
      for (const auto &uri : uris) answers += get_node(uri).walk(ctx) + " | ";
      for (const auto &error : ctx.errors) rest += "error " + error + " | ";
    }
    EXPECT_EQ(data.open_cursors, 0);
    for (const auto &call : data.calls) rest += call + " | ";
    for (const auto &trace : traces.lines()) {
      if (trace[0] < '7') rest += trace + " | ";
    }
  }
  EXPECT_EQ(did[0].answers + did[0].rest, did[1].answers + did[1].rest);
  return did[0];
}

// The three records of a collection, under the given start of their URIs.
test::own_table three(const std::string &start) {
  return test::make_table({"_uri", "name"}, {{start + "/s/i;n=1/u", "\"one\""},
                                             {start + "/s/i;n=1/u;k=2", "\"two\""},
                                             {start + "/s/i;n=1/u;k=3", "\"three\""}});
}

TEST(crudx, fetches_a_collection_once_for_its_instances) {
  struct {
    std::string asked; // what the node's URIs begin with
    std::string rows;
    uint32_t fetch_count;
    lines names;
  } cases[] = {
      {"", "//l;loc=1", 0, {"two", "one", "three", ""}},
      {"//l;loc=1", "//l;loc=1", 0, {"two", "one", "three", ""}},
      {"//l;loc=1", "", 0, {"", "", "", ""}},
      {"", "", 2, {"two", "one", "", ""}}, // of the first batch only
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.asked + " over " + c.rows);
    lines uris;
    std::string answers;
    for (const char *instance : {"/u;k=2", "/u", "/u;k=3", "/u;k=4"}) {
      const std::string &name = c.names[uris.size()];
      uris.push_back(c.asked + "/s/i;n=1" + instance);
      answers += name.empty() ? "walk 0 | " : "walk 1 " + uris.back() + " " + name + " | ";
    }
    const std::string coll = c.asked + "/s/i;n=1?u";
    const walked did =
        in_both_ways([&](auto &data) { data.collections[coll] = three(c.rows); }, uris, c.fetch_count);
    EXPECT_EQ(did.answers, answers);
    const std::string calls = "get_coll_ifc | open " + coll + " 0x11010000 | fetch " +
                              std::to_string(c.fetch_count) +
                              (c.fetch_count == 0 ? " | clear | free | " : " | free | ");
    EXPECT_EQ(did.rest.substr(0, did.rest.find("6 (info)")), calls);
  }
}

TEST(crudx, what_a_read_asks_and_tells) {
  const auto rows = [](const lines &columns, const std::vector<lines> &cells) {
    return [=](auto &data) { data.collections["/s/i;n=1?u"] = test::make_table(columns, cells); };
  };
  const std::string open = "get_coll_ifc | open /s/i;n=1?u 0x11010000 | ";
  const std::string fetched = open + "fetch 0 | clear | free | ";
  const std::string failed =
      "3 (ERR): crudx node: Failed to get the properties for the collection uri (/s/i;n=1?u | ";
  const std::string none =
      "6 (info): Properties were not found (res = 0)\n | 6 (info): get mr_properties (/s/i;n=1/u) -> (0) | ";
  const auto direct = [](int result) {
    return "6 (info): get mr_properties (/sys) -> (" + std::to_string(result) + ") | ";
  };
  const std::string get = "get_crudx_ifc | get /sys 0x1010110 of other | ";
  const std::string no_uri = "Failed to get uri from properties | ";
  struct {
    const char *uri;
    std::function<void(test::scripted_data &)> prepare;
    uint32_t fetch_count;
    std::string answer;
    std::string rest;
  } cases[] = {
      {"/sys", [](auto &data) { data.records["/sys"] = "edge"; }, 0, "walk 1 /sys edge", get + direct(1)},
      {"/sys", [](auto &) {}, 0, "walk 0", get + "clear | " + direct(0)},
      {"/sys", [](auto &data) { data.get_code = 42; }, 0, "walk -1",
       "error 42 Failed to get properties | " + get + "3 (ERR): Failed to get properties for /sys) | " +
           direct(-1)},
      {"/sys", [](auto &data) { data.get_crudx_code = 43; }, 0, "walk -1",
       "error 43 Error getting the crudx interface | get_crudx_ifc | "
       "3 (ERR): Error getting the crudx interface | " +
           direct(-1)},
      {"/s/i;n=1/u", [](auto &data) { data.get_coll_code = 55; }, 0, "walk -1",
       "error 10000 Failed to get collection interface | get_coll_ifc | "
       "3 (ERR): Failed to get collection interface | " +
           failed},
      {"/s/i;n=1/u", [](auto &data) { data.open_code = 103; }, 0, "walk -1",
       "error 10002 Failed to get cursor | " + open + "free | 3 (ERR): Failed to get cursor | " + failed},
      {"/s/i;n=1/u", [](auto &data) { data.fetch_code = 77; }, 0, "walk -1",
       open + "fetch 0 | free | 6 (info): crudx node: get_next error (err = 77)\n | " + failed},
      {"/s/i;n=1/u", [](auto &data) { data.fetch_code = 77; }, 2, "walk 0",
       open + "fetch 2 | free | " + none},
      {"/s/i;n=1/u", rows({"name"}, {{"\"one\""}}), 0, "walk 0",
       "error 10000 " + no_uri + fetched + "3 (ERR): " + no_uri + none},
      {"/s/i;n=1/u", rows({"_uri"}, {{"/s/i;n=1/u"}, {"\"text\""}}), 0, "walk -1",
       "error 10000 " + no_uri + fetched + "3 (ERR): " + no_uri + failed},
      {"/s/i;n=1/u", rows({"_uri", ""}, {{"/s/i;n=1/u", "1"}}), 0, "walk 0",
       "error 10002 Failed to create nlist from ntlist | " + fetched +
           "3 (ERR): Failed to create nlist from ntlist | " + none},
      // The record has the columns' whole names.
      {"/s/i;n=1/u", rows({"_uri", "m:name"}, {{"/s/i;n=1/u", "\"one\""}}), 0, "walk 1 /s/i;n=1/u",
       fetched + "6 (info): get mr_properties (/s/i;n=1/u) -> (1) | "},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.rest);
    const walked did = in_both_ways(c.prepare, {c.uri}, c.fetch_count);
    EXPECT_EQ(did.answers, c.answer + " | ");
    EXPECT_EQ(did.rest, c.rest);
  }
}

TEST(crudx, survives_every_failed_allocation) {
  for (const int level : {4, 7}) {
    lines whole;
    bool fired = true;
    for (uint64_t n = 0; fired && !HasFailure(); ++n) {
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
      fired = n == 0 || qmalloc_fail_fired() > 0;
      qmalloc_fail_nth(0, false);
      if (n == 0) whole = did;
      // By the plain steps, a relative form that cannot be made silently means the direct request.
      EXPECT_TRUE(level == 7 || did == whole || traces.count("(ERR): ") > 0);
    }
  }
}

} // namespace
