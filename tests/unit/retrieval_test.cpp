// Collection nodes: their protocol, what they ask the data store for, what they push, how they fail.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "retrieval/coll_node.hpp"
#include "support.h"
#include "support/fake_walk.hpp"
#include "support/objects.hpp"
#include "support/scripted_data.hpp"
#include "support/stream_text.hpp"
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
      if (executed == -1) return steps;
      int32_t iterated = 0;
      while ((iterated = data->iterate(data, scratch, ctx)) == 1) {
        steps.push_back(pushed(ctx));
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

private:
  std::string pushed(zu_tvr_walk_ctx *ctx) const {
    if (scratch->groups_pushed == 0) {
      return record_text(static_cast<zu_do_properties *>(ctx->props_cache->top->item));
    }
    auto *list = static_cast<zu_do_properties_list *>(ctx->props_groups_cache->top->item);
    std::string text = "group";
    for (size_t at = 0; at < zu_do_properties_list_get_len(list); ++at) {
      text += ", " + record_text(zu_do_properties_list_get(list, at));
    }
    return text;
  }
};

// Runs a scenario with errors traced only, and with every trace on, when all steps are the plain ones: what
// the node did must be the same, the warnings and errors included. Gives what it did.
lines in_both_ways(const std::function<void(test::scripted_data &)> &prepare, uint32_t fetch_count,
                   const std::function<lines(zu_tvr_walk_ctx *)> &walk) {
  lines did[2];
  for (const int level : {4, 7}) {
    test::balanced_memory balanced;
    test::scripted_data data;
    prepare(data);
    test::trace_log traces(level);
    {
      test::walk_options options;
      options.data = data.get();
      options.fetch_count = fetch_count;
      test::fake_walk ctx(options);
      lines &all = did[level / 7];
      all = walk(ctx);
      for (const auto &error : ctx.errors) all.push_back("error " + error);
    }
    EXPECT_EQ(data.open_cursors, 0);
    for (const auto &call : data.calls) did[level / 7].push_back(call);
    for (const auto &trace : traces.lines()) {
      if (trace[0] < '5') did[level / 7].push_back(trace);
    }
  }
  EXPECT_EQ(did[0], did[1]);
  return did[0];
}

lines only(const lines &did, const std::string &start) {
  lines found;
  for (const auto &line : did) {
    if (line.starts_with(start)) found.push_back(line);
  }
  return found;
}

std::vector<std::vector<std::string>> rows_of(const lines &uris) {
  std::vector<std::vector<std::string>> rows;
  for (const auto &uri : uris) rows.push_back({uri});
  return rows;
}

test::own_table instances(const lines &uris) {
  return test::make_table({"_uri"}, rows_of(uris));
}

// ---- Batches ----

TEST(retrieval, reads_a_collection_in_batches) {
  const lines uris = {"/sys/ifc;n=1", "/sys/ifc;n=2", "/sys/ifc;n=3", "/sys/ifc;n=4", "/sys/ifc;n=5"};
  struct {
    uint32_t fetch_count;
    bool late_end;
    lines executed;
  } cases[] = {
      {0, false, {"execute 0"}},
      {1, false, {"execute 1", "execute 1", "execute 1", "execute 1", "execute 0"}},
      {2, false, {"execute 1", "execute 1", "execute 0"}},
      {5, false, {"execute 0"}},
      {5, true, {"execute 1", "execute 0"}},
      {0, true, {"execute 0"}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(std::to_string(c.fetch_count) + (c.late_end ? " late" : ""));
    const lines did = in_both_ways(
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
    // The status is cleared at the end of the data only, which one fetch of all rows may not tell.
    EXPECT_EQ(only(did, "clear").size(), c.late_end && c.fetch_count == 0 ? 0u : 1u);
  }
}

TEST(retrieval, walks_nothing_of_an_empty_collection) {
  const lines did = in_both_ways([](auto &) {}, 0, [](auto *ctx) { return coll_node({}).walk(ctx); });
  EXPECT_EQ(did, (lines{"execute 0", "get_coll_ifc", "open /sys?ifc 0x1010010", "fetch 0", "clear", "free"}));
}

TEST(retrieval, a_column_of_the_collection_uris_name_wins) {
  const lines did = in_both_ways(
      [](auto &data) {
        data.collections["/sys?ifc"] = test::make_table({"_uri", "x:_coll_uri"}, {{"/sys/ifc;n=1", "1"}});
      },
      0, [](auto *ctx) { return coll_node({}).walk(ctx); });
  EXPECT_EQ(only(did, "/"), lines{"/sys/ifc;n=1 of (none)"});
}

// ---- Groups ----

TEST(retrieval, groups_records_with_equal_order_by_values) {
  struct {
    std::vector<std::string> orderby;
    lines groups;
  } cases[] = {
      {{"a", "b"}, {"group, /s/i;n=1 of /s?i, /s/i;n=2 of /s?i", "group, /s/i;n=3 of /s?i"}},
      {{"b"}, {"group, /s/i;n=1 of /s?i, /s/i;n=2 of /s?i", "group, /s/i;n=3 of /s?i"}},
      {{}, {"group, /s/i;n=1 of /s?i, /s/i;n=2 of /s?i, /s/i;n=3 of /s?i"}},
  };
  for (const auto &c : cases) {
    node_options options;
    options.uri = "/s?i";
    options.orderby = c.orderby;
    options.group = true;
    const lines did = in_both_ways(
        [](auto &data) {
          data.collections["/s?i"] = test::make_table(
              {"_uri", "m:a", "b"},
              {{"/s/i;n=1", "1", "\"x\""}, {"/s/i;n=2", "1.0", "\"x\""}, {"/s/i;n=3", "2", "\"y\""}});
        },
        0, [&](auto *ctx) { return coll_node(options).walk(ctx); });
    EXPECT_EQ(only(did, "group"), c.groups);
    EXPECT_EQ(only(did, "error"), lines{});
  }
}

TEST(retrieval, a_group_ends_with_its_batch) {
  node_options options;
  options.uri = "/s?i";
  options.group = true;
  const lines did = in_both_ways(
      [](auto &data) {
        data.collections["/s?i"] = instances({"/s/i;n=1", "/s/i;n=2", "/s/i;n=3"});
      },
      2, [&](auto *ctx) { return coll_node(options).walk(ctx); });
  EXPECT_EQ(only(did, "group"),
            (lines{"group, /s/i;n=1 of /s?i, /s/i;n=2 of /s?i", "group, /s/i;n=3 of /s?i"}));
}

// ---- Caching ----

// Walks one node for each URI in turn, as its enclosing node's instances give them.
lines walk_each(zu_tvr_walk_ctx *ctx, const node_options &options, const lines &uris) {
  coll_node node(options);
  lines steps;
  for (const auto &uri : uris) {
    node.move_to(uri.c_str());
    for (const auto &step : node.walk(ctx)) steps.push_back(step);
  }
  return steps;
}

struct form {
  const char *name;
  std::string node; // what the node's URIs begin with
  std::string rows; // what the rows' URIs begin with
};
const form forms[] = {
    {"relative", "", ""},
    {"absolute", "//locations;loc=1", "//locations;loc=1"},
    {"a relative node over absolute rows", "", "//locations;loc=1"},
};

TEST(retrieval, requests_a_collection_once_for_all_parents) {
  for (const auto &f : forms) {
    SCOPED_TRACE(f.name);
    const auto coll = [&](int parent) { return f.node + "/s/i;n=" + std::to_string(parent) + "?u"; };
    const auto unit = [&](int parent, int number) {
      return f.rows + "/s/i;n=" + std::to_string(parent) + "/u;k=" + std::to_string(number);
    };
    const lines did = in_both_ways(
        [&](auto &data) {
          data.collections[coll(1)] =
              instances({unit(1, 1), unit(3, 1), unit(3, 2), unit(4, 1), unit(1, 2), unit(3, 3)});
        },
        0,
        [&](auto *ctx) {
          return walk_each(ctx, {}, {coll(1), coll(2), coll(3), coll(2), coll(4), coll(3)});
        });
    const auto of = [&](int parent, int number) { return unit(parent, number) + " of " + coll(parent); };
    const auto open = [&](int parent) { return "open " + coll(parent) + " 0x10000010"; };
    EXPECT_EQ(only(did, f.rows + "/s"), (lines{of(1, 1), of(1, 2), of(3, 1), of(3, 2), of(3, 3), of(4, 1)}));
    // 2 has no instances, which is remembered; 3 was served and forgotten, so that it is asked for again.
    EXPECT_EQ(only(did, "open"), (lines{open(1), open(2), open(3)}));
  }
}

TEST(retrieval, queued_groups_end_where_their_key_changes) {
  node_options options;
  options.group = true;
  options.orderby = {"k"};
  const lines did = in_both_ways(
      [](auto &data) {
        data.collections["/s/i;n=1?u"] = test::make_table({"_uri", "k"}, {{"/s/i;n=2/u;x=1", "1"},
                                                                          {"/s/i;n=1/u;x=2", "1"},
                                                                          {"/s/i;n=2/u;x=3", "1"},
                                                                          {"/s/i;n=1/u;x=4", "1"},
                                                                          {"/s/i;n=2/u;x=5", "2"}});
      },
      0,
      [&](auto *ctx) {
        return walk_each(ctx, options, {"/s/i;n=1?u", "/s/i;n=2?u"});
      });
  EXPECT_EQ(only(did, "group"), (lines{"group, /s/i;n=1/u;x=2 of /s/i;n=1?u, /s/i;n=1/u;x=4 of /s/i;n=1?u",
                                       "group, /s/i;n=2/u;x=1 of /s/i;n=2?u, /s/i;n=2/u;x=3 of /s/i;n=2?u",
                                       "group, /s/i;n=2/u;x=5 of /s/i;n=2?u"}));
}

TEST(retrieval, an_answer_of_siblings_only_leaves_the_collection_unmarked) {
  const lines did =
      in_both_ways([](auto &data) { data.collections["/s/i;n=1?u"] = instances({"/s/i;n=2/u;x=1"}); }, 0,
                   [&](auto *ctx) {
                     return walk_each(ctx, {}, {"/s/i;n=1?u", "/s/i;n=1?u"});
                   });
  EXPECT_EQ(only(did, "execute"), (lines{"execute 0", "execute 0"}));
  EXPECT_EQ(only(did, "open").size(), 2u);
}

// ---- Partial queries ----

TEST(retrieval, a_partial_render_queries_by_its_arguments) {
  struct {
    std::vector<std::pair<std::string, std::string>> query;
    bool is_start_node;
    lines did; // of execute, errors, opens and traces
  } cases[] = {
      {{{"left", "\"$name\""}, {"x", "\"$mtu\""}},
       true,
       {"execute 0", "get_coll_ifc", "open /sys?ifc 0x1010010 name=eth0 mtu=9", "fetch 0", "clear", "free"}},
      {{{"x", "\"$name\""}},
       false,
       {"execute 0", "get_coll_ifc", "open /sys?ifc 0x1010010", "fetch 0", "clear", "free"}},
      {{}, true, {"execute 0", "get_coll_ifc", "open /sys?ifc 0x1010010", "fetch 0", "clear", "free"}},
      {{{"x", "\"$name\""}, {"y", "\"$absent\""}},
       true,
       {"execute -1", "error 10000 Error in building the query",
        "3 (ERR): Missing value for absent in partial TOVRA"}},
      {{{"x", "\"name\""}},
       true,
       {"execute -1", "error 10000 Error in building the query", "3 (ERR): Failed to get value for query"}},
      {{{"x", "1"}},
       true,
       {"execute -1", "error 10000 Error in building the query", "3 (ERR): Failed to get value for query"}},
  };
  for (const auto &c : cases) {
    node_options options;
    options.query = c.query;
    const lines did = in_both_ways([](auto &) {}, 0,
                                   [&](auto *ctx) {
                                     test::own_record arguments(zu_do_properties_new());
                                     zu_do_properties_set_string(arguments.get(), "name", "eth0");
                                     zu_do_properties_set_int(arguments.get(), "mtu", 9);
                                     ctx->arguments = zu_do_properties_ref(arguments.get());
                                     return coll_node(options).walk(ctx, c.is_start_node);
                                   });
    EXPECT_EQ(did, c.did);
  }
}

// ---- Failures ----

zu_do_uri *resolve_none(zu_tvr_uri *, zu_tvr_walk_ctx *) {
  return nullptr;
}

TEST(retrieval, failures_are_traced_and_reported) {
  using prepare = std::function<void(test::scripted_data &)>;
  struct {
    const char *what;
    prepare break_it;
    node_options options;
    lines did; // errors, traces and the steps that failed
  } cases[] = {
      {"no interface",
       [](auto &data) { data.get_coll_code = 55; },
       {},
       {"execute -1", "error 55 Error using the collection", "3 (ERR): Failed to get collection interface"}},
      {"open refused",
       [](auto &data) {
         data.open_code = 103;
         data.open_gives_cursor = false;
       },
       {},
       {"execute -1", "error 103 Error using the collection", "3 (ERR): Failed to get cursor"}},
      {"open refused with a cursor",
       [](auto &data) { data.open_code = 103; },
       {},
       {"execute -1", "error 103 Error using the collection", "free", "3 (ERR): Failed to get cursor"}},
      {"no cursor",
       [](auto &data) { data.open_gives_cursor = false; },
       {},
       {"execute -1", "error 10000 Error using the collection", "3 (ERR): Failed to get cursor"}},
      {"fetch",
       [](auto &data) { data.fetch_code = 77; },
       {},
       {"execute -1", "error 77 Error using the collection", "free", "3 (ERR): Error using the collection"}},
      {"a column without name",
       [](auto &data) {
         data.collections["/sys?ifc"] = test::make_table({"_uri", ""}, {{"/sys/ifc", "1"}});
       },
       {},
       {"execute 0", "iterate -1", "error 10000 Failed to get props from vlist", "free",
        "3 (ERR): Failed to get props from vlist"}},
      {"no URI to route by",
       [](auto &data) { data.collections["/s/i;n=1?u"] = test::make_table({"k"}, {{"1"}}); },
       {.uri = "/s/i;n=1?u"},
       {"execute 0", "iterate -1", "error 10000 Failed to get props from vlist", "free",
        "3 (ERR): Failed to get uri from properties", "3 (ERR): Failed to get props from vlist"}},
      {"a URI without parent to route by",
       [](auto &data) { data.collections["/s/i;n=1?u"] = test::make_table({"_uri"}, {{"/"}}); },
       {.uri = "/s/i;n=1?u"},
       {"execute 0", "iterate -1", "error 10000 Failed to get parent uri or last segment in uri",
        "error 10000 Failed to get props from vlist", "free",
        "3 (ERR): Failed to get parent uri or last segment in uri",
        "3 (ERR): Failed to get props from vlist"}},
      {"no group key",
       [](auto &data) { data.collections["/sys?ifc"] = instances({"/sys/ifc"}); },
       {.orderby = {"k"}, .group = true},
       {"execute 0", "iterate -1", "error 10000 Failed to get key values from props", "free",
        "3 (ERR): Failed to find k in props"}},
      {"no sorting key",
       [](auto &data) { data.collections["/sys?ifc"] = instances({"/sys/ifc"}); },
       {.orderby = {"k"}, .location = true},
       {"execute -1", "error 10000 Failed to determine sorting key column",
        "error 10000 Failed to sort data by location", "free",
        "3 (ERR): Failed to determine sorting key column", "3 (ERR): Failed to sort data by location"}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    const lines did = in_both_ways(c.break_it, 0, [&](auto *ctx) { return coll_node(c.options).walk(ctx); });
    lines told;
    for (const auto &line : did) {
      for (const char *start : {"execute", "iterate", "error", "free", "3 ", "4 "}) {
        if (line.starts_with(start)) told.push_back(line);
      }
    }
    EXPECT_EQ(told, c.did);
  }
}

TEST(retrieval, an_unresolved_uri_frees_the_cursor_of_the_pass_before) {
  const lines did = in_both_ways(
      [](auto &data) {
        data.collections["/sys?ifc"] = instances({"/sys/ifc;n=1", "/sys/ifc;n=2"});
      },
      1,
      [](auto *ctx) {
        coll_node node({});
        EXPECT_EQ(node.data->execute(node.data, node.scratch, ctx, 0), 1);
        EXPECT_NE(node.scratch->cursor, nullptr);
        node.data->cleanup(node.scratch, 1);
        const auto resolve = node.data->coll_uri->resolve;
        node.data->coll_uri->resolve = resolve_none;
        EXPECT_EQ(node.data->execute(node.data, node.scratch, ctx, 0), -1);
        EXPECT_EQ(node.scratch->cursor, nullptr);
        node.data->coll_uri->resolve = resolve;
        return lines{};
      });
  EXPECT_EQ(only(did, "error"), lines{"error 10000 Failed to resolve collection URI"});
  EXPECT_EQ(only(did, "3"), lines{"3 (ERR): Failed to resolve collection URI"});
}

// Every allocation of a walk made to fail: nothing leaks, and what the node did not do it tells.
TEST(retrieval, survives_every_failed_allocation) {
  node_options grouped;
  grouped.group = true;
  grouped.orderby = {"k"};
  grouped.location = true;
  for (const auto &options : {node_options{}, grouped}) {
    for (const int level : {4, 7}) {
      lines whole;
      for (uint64_t n = 0;; ++n) {
        SCOPED_TRACE(std::to_string(n) + " at level " + std::to_string(level));
        test::balanced_memory balanced;
        test::scripted_data data;
        data.collections["/s/i;n=1?u"] = test::make_table({"_uri", "k"}, {{"/s/i;n=1/u;x=1", "1"},
                                                                          {"/s/i;n=2/u;x=1", "1"},
                                                                          {"/s/i;n=2/u;x=2", "2"},
                                                                          {"/s/i;n=1/u;x=2", "2"}});
        std::vector<std::unique_ptr<coll_node>> nodes;
        for (const char *uri : {"/s/i;n=1?u", "/s/i;n=2?u", "/s/i;n=3?u"}) {
          nodes.push_back(std::make_unique<coll_node>(options));
          nodes.back()->move_to(uri);
        }
        test::walk_options with;
        with.data = data.get();
        test::fake_walk ctx(with);
        test::trace_log traces(level);
        lines did;
        qmalloc_fail_nth(n, false);
        for (auto &node : nodes) {
          for (const auto &step : node->walk(ctx)) did.push_back(step);
        }
        const bool fired = qmalloc_fail_fired() > 0;
        qmalloc_fail_nth(0, false);
        if (n == 0) whole = did;
        // By the plain steps, a relative form that cannot be made silently means the direct request.
        EXPECT_TRUE(level == 7 || did == whole || traces.count("(ERR): ") > 0);
        if (n > 0 && !fired) break;
        if (HasFailure()) break;
      }
    }
  }
}

// ---- The record caches ----

std::string taken(tvr::ref<zu_do_properties> record) {
  return record ? zu_do_properties_get_string(record.get(), "name", nullptr) : "(none)";
}

TEST(retrieval, the_cursor_cache_keeps_order_and_marks) {
  for (const int level : {4, 7}) {
    test::balanced_memory balanced;
    test::trace_log traces(level);
    test::fake_walk ctx;
    test::own_uri uri(zu_do_uri_new("/s/i;n=1?u"));
    test::own_uri other(zu_do_uri_new("//l;n=1/s/i;n=1?u"));
    EXPECT_EQ(tvr::cursor_cache_mark_requested(ctx, uri.get(), tvr::requester::collection_node), 0);
    EXPECT_FALSE(need_to_request_collection(ctx->mr_cache_cursor, uri.get()));
    EXPECT_TRUE(need_to_request_collection(ctx->mr_cache_cursor, other.get()));
    EXPECT_EQ(tvr::cursor_cache_find(ctx, uri.get())->props_list, nullptr);
    for (const char *name : {"a", "b", "c"}) {
      test::own_record record(zu_do_properties_new());
      zu_do_properties_set_string(record.get(), "name", name);
      EXPECT_EQ(tvr::insert_props_into_hashmap(ctx, uri.get(), record.get()), 0);
    }
    EXPECT_EQ(htSize(ctx->mr_cache_cursor), 1u);
    cursor_cache_entry *entry = tvr::cursor_cache_find(ctx, uri.get());
    EXPECT_STREQ(zu_do_properties_get_string(tvr::cursor_cache_peek(entry), "name", nullptr), "a");
    for (const char *name : {"a", "b", "c", "(none)"}) EXPECT_EQ(taken(tvr::cursor_cache_take(entry)), name);
    EXPECT_EQ(tvr::cursor_cache_peek(entry), nullptr);
    EXPECT_TRUE(tvr::cursor_cache_remove(ctx, uri.get(), entry));
    EXPECT_TRUE(need_to_request_collection(ctx->mr_cache_cursor, uri.get()));
    EXPECT_FALSE(tvr::cursor_cache_remove(ctx, uri.get(), nullptr));
    EXPECT_TRUE(traces.has("(ERR): Failed to remove cursor /s/i;n=1?u from hash"));
  }
}

TEST(retrieval, a_failed_insertion_loses_the_entry) {
  for (const int level : {4, 7}) {
    test::balanced_memory balanced;
    test::trace_log traces(level);
    test::fake_walk ctx;
    test::own_uri uri(zu_do_uri_new("/s/i;n=1?u"));
    test::own_record record(zu_do_properties_new());
    ASSERT_EQ(tvr::insert_props_into_hashmap(ctx, uri.get(), record.get()), 0);
    qmalloc_fail_nth(1, false);
    EXPECT_EQ(tvr::insert_props_into_hashmap(ctx, uri.get(), record.get()), -1);
    qmalloc_fail_nth(0, false);
    EXPECT_EQ(tvr::cursor_cache_find(ctx, uri.get()), nullptr);
    EXPECT_EQ(traces.count("(ERR): "), 1);
    EXPECT_TRUE(traces.has("(ERR): Failed to allocate memory for props item")) << traces.text();
    EXPECT_EQ(ctx.error_text(), "");
  }
}

TEST(retrieval, instances_are_found_by_their_exact_text) {
  test::balanced_memory balanced;
  test::fake_walk ctx;
  EXPECT_EQ(taken(tvr::mr_cache_take(ctx, "/s/i;n=1")), "(none)");
  auto record = tvr::ref<zu_do_properties>::adopt(zu_do_properties_new());
  zu_do_properties_set_string(record.get(), "name", "one");
  EXPECT_EQ(tvr::mr_cache_put(ctx, "/s/i;n=1", std::move(record)), 0);
  EXPECT_EQ(tvr::mr_cache_put(ctx, "/s/i;n=2", tvr::ref<zu_do_properties>::adopt(zu_do_properties_new())), 0);
  EXPECT_EQ(taken(tvr::mr_cache_take(ctx, "//l;n=1/s/i;n=1")), "(none)");
  EXPECT_EQ(taken(tvr::mr_cache_take(ctx, "/s/i;n=1")), "one");
  EXPECT_EQ(taken(tvr::mr_cache_take(ctx, "/s/i;n=1")), "(none)");
}

// ---- Collection URIs ----

TEST(retrieval, tells_ref_many_subtrees) {
  struct {
    const char *uri;
    bool under;
  } cases[] = {
      {"/a", false},
      {"/a/b", false},
      {"/a;k=1/b", false},
      {"/a/b;k=1", true},
      {"/a/b;k=1?c", true},
      {"/a/b;k=1?c=1", false},
      {"//l;loc=1/a;k=1/b", false},
      {"//l;loc=1/a/b;k=1", true},
      {"//l;loc=1?a", false},
      {"//?l", false},
      {"/a;k=1?b", false},
      {"//l;loc=1", false},
  };
  test::balanced_memory balanced;
  test::fake_walk ctx;
  for (const auto &c : cases) {
    for (const int level : {4, 7}) {
      test::trace_log traces(level);
      test::own_uri uri(zu_do_uri_new(c.uri));
      EXPECT_EQ(uri_is_under_ref_many_subtree(ctx, uri.get()), c.under) << c.uri << " at level " << level;
    }
  }
  EXPECT_EQ(ctx.error_text(), "");
  EXPECT_FALSE(uri_is_under_ref_many_subtree(ctx, nullptr));
  test::own_uri uri(zu_do_uri_new("/a/b;k=1"));
  EXPECT_FALSE(uri_is_under_ref_many_subtree(nullptr, uri.get()));
  EXPECT_EQ(ctx.error_text(), "10000 Incorrect parameters\n");
}

// The text that is read off an instance's text is that of the URI that is made of it.
TEST(retrieval, collections_of_instances) {
  struct {
    const char *instance;
    const char *collection; // none: refused
    const char *relative;
  } cases[] = {
      {"/a/b;k=1", "/a?b", "/a?b"},
      {"/b;k=1", "/?b", "/?b"},
      {"//locations;loc=1/sys", "//locations;loc=1?sys", "/?sys"},
      {"//locations;loc=1/sys/ifc;name=e0", "//locations;loc=1/sys?ifc", "/sys?ifc"},
      {"//locations;loc=1", "//?locations", "/?locations"},
      {"/a;x=%2F/b;k=1%3B", "/a;x=%2F?b", "/a;x=%2F?b"},
      {"/", nullptr, nullptr},
      {"//", nullptr, nullptr},
  };
  test::balanced_memory balanced;
  test::fake_walk ctx;
  for (const auto &c : cases) {
    SCOPED_TRACE(c.instance);
    test::own_uri instance(zu_do_uri_new(c.instance));
    ctx.clear();
    test::own_uri made(generate_coll_uri_from_mr_uri(ctx, instance.get()));
    tvr::coll_slices slices;
    if (c.collection == nullptr) {
      EXPECT_EQ(made, nullptr);
      EXPECT_EQ(ctx.error_text(), "10000 Failed to get parent uri or last segment in uri\n");
      EXPECT_FALSE(tvr::coll_slices_of(instance.get(), false, &slices));
      continue;
    }
    EXPECT_EQ(test::text_of(made.get()), c.collection);
    test::own_uri relative(zu_do_uri_new_relative(c.collection));
    EXPECT_EQ(test::text_of(relative.get()), c.relative);
    for (const bool as_relative : {false, true}) {
      const char *expected = as_relative ? c.relative : c.collection;
      ASSERT_TRUE(tvr::coll_slices_of(instance.get(), as_relative, &slices));
      tvr::coll_text text;
      EXPECT_STREQ(text.write(slices), expected);
      EXPECT_TRUE(slices.spells(expected));
      std::string other = expected;
      other.back() = 'x';
      EXPECT_FALSE(slices.spells(other));
      EXPECT_FALSE(slices.spells(std::string(expected) + "x"));
    }
  }
}

// ---- The data record ----

TEST(retrieval, dumps_what_is_fixed) {
  test::balanced_memory balanced;
  node_options options;
  options.query = {{"left", "\"$name\""}};
  const auto dump = [&](const char *uri) {
    options.uri = uri;
    coll_node node(options);
    return test::stream_text([&](FILE *stream) { zu_tvr_coll_data_print(stream, 1, node.data); });
  };
  EXPECT_EQ(dump("/a?b"), "\t/a?b\n\n\tleft=$name\n");
  EXPECT_EQ(dump("/a/b;k=$?c"), "\n\tleft=$name\n");
  zu_tvr_coll_data_delete(nullptr);
  zu_tvr_coll_scratch_data_delete(nullptr);
}

} // namespace
