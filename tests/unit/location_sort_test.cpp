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
    batch given;
    lines order;
  } cases[] = {
      // runs of one key are not merged
      {{{"_uri", "k", "id"},
        {{at("1.9"), "1", "0"}, {at("1.2"), "1", "1"}, {at("1.1"), "2", "2"}, {at("1.0"), "1", "3"}},
        {"k"}},
       {"1", "0", "2", "3"}},
      // the second key changes
      {{{"_uri", "m:a", "b", "id"},
        {{at("3"), "1", "1", "0"},
         {at("2"), "1", "2", "1"},
         {at("1"), "1", "2", "2"},
         {at("0"), "2", "2", "3"}},
        {"x:a", "b"}},
       {"0", "2", "1", "3"}},
  };
  for (const auto &c : cases) {
    test::balanced_memory balanced;
    test::fake_walk ctx;
    test::own_table table = test::make_table(c.given.columns, c.given.rows);
    EXPECT_EQ(sorted(ctx, c.given, table.get()), c.order);
    EXPECT_EQ(ctx.error_text(), "");
  }
}

// The errors of each step are reported up to the last one.
TEST(location_sort, reports_what_it_cannot_sort) {
  struct {
    batch given;
    lines errors;
  } cases[] = {
      {{{"k"}, {{"1"}}, {}}, {"Failed to determine URI column"}},
      {{{"k", "_uri"}, {{"1"}}, {}}, {"Failed to get URI from row"}},
      {{{"_uri"}, {{"1"}}, {}}, {"Failed to get MR URI from value", "Failed to extract location from row"}},
      {{{"_uri", "k"}, {{"/a"}}, {"k"}}, {"Failed to get value", "Failed to compare sorting keys"}},
  };
  for (auto &c : cases) {
    SCOPED_TRACE(c.errors[0]);
    test::balanced_memory balanced;
    test::fake_walk ctx;
    test::own_table table = test::make_table(c.given.columns, c.given.rows);
    EXPECT_EQ(sorted(ctx, c.given, table.get()), lines{"failed"});
    c.errors.push_back("Failed to sort data by location");
    for (auto &error : c.errors) error.insert(0, "10000 ");
    EXPECT_EQ(ctx.errors, c.errors);
  }
}

} // namespace
