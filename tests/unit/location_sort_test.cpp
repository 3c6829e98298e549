// The order by location: runs of equal order-by values, and what cannot be sorted.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "retrieval/coll_node.hpp"
#include "support.h"
#include "support/fake_walk.hpp"
#include "support/objects.hpp"
#include "support/scripted_data.hpp"

namespace {

using lines = std::vector<std::string>;

struct batch {
  std::vector<std::string> columns;
  std::vector<std::vector<std::string>> rows;
  std::vector<std::string> orderby;
};

// The rows' last columns in their new order; "failed" when there is none.
lines sorted(zu_tvr_walk_ctx *ctx, const batch &b, zu_do_vtable *table) {
  test::own_nlist orderby(b.orderby.empty() ? nullptr : zu_do_nlist_new());
  for (const auto &name : b.orderby) zu_do_nlist_add_string(orderby.get(), name.c_str());
  const auto result = tvr::coll_sort_by_location(ctx, orderby.get(), table);
  if (!result) return {"failed"};
  EXPECT_EQ(zu_do_vtable_get_ntlist(result.get()) != nullptr, true);
  lines order;
  for (size_t at = 0; at < zu_do_vtable_get_len(result.get()); ++at) {
    order.push_back(
        test::display(zu_do_vlist_get_value(zu_do_vtable_get(result.get(), at), b.columns.size() - 1)));
  }
  return order;
}

std::string at(const std::string &location) {
  return "//locations;loc=" + location + "/p";
}

TEST(location_sort, orders_by_location_inside_runs) {
  struct {
    const char *what;
    batch given;
    lines order;
  } cases[] = {
      {"runs of one key are not merged",
       {{"_uri", "k", "id"},
        {{at("1.9"), "1", "0"}, {at("1.2"), "1", "1"}, {at("1.1"), "2", "2"}, {at("1.0"), "1", "3"}},
        {"k"}},
       {"1", "0", "2", "3"}},
      {"the second key changes",
       {{"_uri", "m:a", "b", "id"},
        {{at("3"), "1", "1", "0"},
         {at("2"), "1", "2", "1"},
         {at("1"), "1", "2", "2"},
         {at("0"), "2", "2", "3"}},
        {"x:a", "b"}},
       {"0", "2", "1", "3"}},
      {"no keys",
       {{"_uri", "id"}, {{at("3"), "0"}, {at("1.7"), "1"}, {at("1"), "2"}, {at("1.7"), "3"}}, {}},
       {"2", "1", "3", "0"}},
      {"one row", {{"_uri", "id"}, {{at("3"), "0"}}, {"id"}}, {"0"}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    test::balanced_memory balanced;
    test::fake_walk ctx;
    test::own_table table = test::make_table(c.given.columns, c.given.rows);
    EXPECT_EQ(sorted(ctx, c.given, table.get()), c.order);
    EXPECT_EQ(ctx.error_text(), "");
  }
}

TEST(location_sort, reports_what_it_cannot_sort) {
  struct {
    const char *what;
    batch given;
    lines errors;
    lines traces; // when they differ in words from the errors
  } cases[] = {
      {"no such key", {{"_uri"}, {{"/a"}}, {"k"}}, {"10000 Failed to determine sorting key column"}, {}},
      {"no URI column", {{"k"}, {{"1"}}, {}}, {"10000 Failed to determine URI column"}, {}},
      {"a row too short for its URI", {{"k", "_uri"}, {{"1"}}, {}}, {"10000 Failed to get URI from row"}, {}},
      {"a URI that is none",
       {{"_uri"}, {{"1"}}, {}},
       {"10000 Failed to get MR URI from value", "10000 Failed to extract location from row"},
       {"3 (ERR): Failed to get MR URI from value", "3 (ERR): Failed to extract location"}},
      {"a row too short for its key",
       {{"_uri", "k"}, {{"/a"}}, {"k"}},
       {"10000 Failed to get value", "10000 Failed to compare sorting keys"},
       {}},
  };
  for (auto &c : cases) {
    SCOPED_TRACE(c.what);
    test::balanced_memory balanced;
    test::trace_log traces;
    test::fake_walk ctx;
    test::own_table table = test::make_table(c.given.columns, c.given.rows);
    EXPECT_EQ(sorted(ctx, c.given, table.get()), lines{"failed"});
    if (c.traces.empty()) {
      for (const auto &error : c.errors) c.traces.push_back("3 (ERR): " + error.substr(6));
    }
    c.errors.push_back("10000 Failed to sort data by location");
    c.traces.push_back("3 (ERR): Failed to sort data by location");
    EXPECT_EQ(ctx.errors, c.errors);
    EXPECT_EQ(traces.lines(), c.traces);
    EXPECT_EQ(zu_do_vtable_get_len(table.get()), 1u);
  }
}

TEST(location_sort, survives_every_failed_allocation) {
  const test::own_table table =
      test::make_table({"_uri", "k"}, {{at("2"), "1"}, {at("1"), "1"}, {at("0"), "2"}});
  test::own_nlist orderby(zu_do_nlist_new());
  zu_do_nlist_add_string(orderby.get(), "k");
  test::fake_walk ctx;
  test::fail_each_allocation([&] {
    ctx.clear();
    const bool done = static_cast<bool>(tvr::coll_sort_by_location(ctx, orderby.get(), table.get()));
    EXPECT_EQ(ctx.errors.empty(), done);
    return done;
  });
}

} // namespace
