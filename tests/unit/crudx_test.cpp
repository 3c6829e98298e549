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

std::function<void(test::scripted_data &)> answer(int test::scripted_data::*call, int code) {
  return [=](auto &data) { data.*call = code; };
}

TEST(crudx, what_a_read_asks_and_tells) {
  using data = test::scripted_data;
  const auto rows = [](const lines &columns, const std::vector<lines> &cells) {
    return [=](data &store) { store.collections["/s/i;n=1?u"] = test::make_table(columns, cells); };
  };
  const std::string open = "get_coll_ifc | open /s/i;n=1?u 0x11010000 | ";
  const std::string fetched = open + "fetch 0 | clear | free | ";
  const std::string failed =
      "3 (ERR): crudx node: Failed to get the properties for the collection uri (/s/i;n=1?u | ";
  const std::string none = "6 (info): Properties were not found (res = 0)\n | ";
  const std::string got = "6 (info): get mr_properties (/s/i;n=1/u";
  const std::string got_sys = "6 (info): get mr_properties (/sys) -> (";
  const std::string get = "get_crudx_ifc | get /sys 0x1010110 of other | ";
  const std::string no_uri = "Failed to get uri from properties | ";
  const lines sys = {"/sys"}, u = {"/s/i;n=1/u"};
  struct {
    lines uris;
    std::function<void(data &)> prepare;
    std::string answers;
    std::string rest;
    uint32_t fetch_count = 0;
  } cases[] = {
      {sys, [](auto &store) { store.records["/sys"] = "edge"; }, "walk 1 /sys edge", get + got_sys + "1) | "},
      {sys, [](auto &) {}, "walk 0", get + "clear | " + got_sys + "0) | "},
      {sys, answer(&data::get_code, 42), "walk -1",
       "error 42 Failed to get properties | " + get + "3 (ERR): Failed to get properties for /sys) | " +
           got_sys + "-1) | "},
      {sys, answer(&data::get_crudx_code, 43), "walk -1",
       "error 43 Error getting the crudx interface | get_crudx_ifc | "
       "3 (ERR): Error getting the crudx interface | " +
           got_sys + "-1) | "},
      {u, answer(&data::get_coll_code, 55), "walk -1",
       "error 10000 Failed to get collection interface | get_coll_ifc | "
       "3 (ERR): Failed to get collection interface | " +
           failed},
      {u, answer(&data::open_code, 103), "walk -1",
       "error 10002 Failed to get cursor | " + open + "free | 3 (ERR): Failed to get cursor | " + failed},
      {u, answer(&data::fetch_code, 77), "walk -1",
       open + "fetch 0 | free | 6 (info): crudx node: get_next error (err = 77)\n | " + failed},
      {u, answer(&data::fetch_code, 77), "walk 0", open + "fetch 2 | free | " + none + got + ") -> (0) | ",
       2},
      {u, rows({"name"}, {{"\"one\""}}), "walk 0",
       "error 10000 " + no_uri + fetched + "3 (ERR): " + no_uri + none + got + ") -> (0) | "},
      {u, rows({"_uri"}, {{"/s/i;n=1/u"}, {"\"text\""}}), "walk -1",
       "error 10000 " + no_uri + fetched + "3 (ERR): " + no_uri + failed},
      {u, rows({"_uri", ""}, {{"/s/i;n=1/u", "1"}}), "walk 0",
       "error 10002 Failed to create nlist from ntlist | " + fetched +
           "3 (ERR): Failed to create nlist from ntlist | " + none + got + ") -> (0) | "},
      // The record has the columns' whole names.
      {u, rows({"_uri", "m:name"}, {{"/s/i;n=1/u", "\"one\""}}), "walk 1 /s/i;n=1/u",
       fetched + got + ") -> (1) | "},
      // What one fetch gave answers for all instances, wherever the rows live, and is all that is asked for.
      {{"/s/i;n=1/u;k=2", "/s/i;n=1/u", "/s/i;n=1/u;k=3"},
       rows({"_uri", "name"}, {{"//l;loc=1/s/i;n=1/u", "\"one\""},
                               {"//l;loc=1/s/i;n=1/u;k=2", "\"two\""},
                               {"/s/i;n=1/u;k=3", "\"three\""}}),
       "walk 1 /s/i;n=1/u;k=2 two | walk 1 /s/i;n=1/u one | walk 0",
       open + "fetch 2 | free | " + got + ";k=2) -> (1) | ",
       2},
      // Rows without location are not those of an instance with one.
      {{"//l;loc=1/s/i;n=1/u"},
       [](auto &store) {
         store.collections["//l;loc=1/s/i;n=1?u"] = test::make_table({"_uri"}, {{"/s/i;n=1/u"}});
       },
       "walk 0",
       "get_coll_ifc | open //l;loc=1/s/i;n=1?u 0x11010000 | fetch 0 | clear | free | " + none +
           "6 (info): get mr_properties (//l;loc=1/s/i;n=1/u) -> (0) | "},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.rest);
    const test::walk_options options = {.config_name = "other", .fetch_count = c.fetch_count};
    const lines did = test::scenario(c.prepare, options, 6, [&](auto *ctx) {
      lines steps;
      for (const auto &uri : c.uris) steps.push_back(get_node(uri).walk(ctx));
      return steps;
    });
    std::string answers, rest; // each row with " | " after it
    for (size_t i = 0; i < did.size(); ++i) (i < c.uris.size() ? answers : rest) += did[i] + " | ";
    EXPECT_EQ(answers, c.answers + " | ");
    EXPECT_EQ(rest, c.rest);
  }
}

} // namespace
