// Collection and get-one nodes over the embedded store: how many requests a walk costs.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "qmalloc/qmalloc.h"
#include "store/store.h"
#include "support.h"
#include "support/fake_walk.hpp"
#include "support/objects.hpp"
#include "zu_tovra/coll.h"
#include "zu_tovra/crudx.h"

namespace {

using lines = std::vector<std::string>;

// A store of interfaces with three units; the second has none, the fourth has a setting.
struct device {
  device(const std::string &location, int interfaces) {
    std::string text;
    const auto record = [&](const std::string &uri) {
      text += (text.empty() ? "\"" : ", \"") + location + uri + R"(": {"speed": 7})";
    };
    for (int n = 0; n < interfaces; ++n) {
      const std::string ifc = "/sys/ifc;name=e" + std::to_string(n);
      record(ifc);
      for (const char *id : {"1", "2", "3"}) {
        if (n != 1) record(ifc + "/unit;id=" + id);
      }
      if (n == 3) record(ifc + "/limit");
    }
    text = R"({"records": {)" + text + "}}";
    zu_data_ifc *inner = zu_store_load_text("data", text.data(), text.size(), nullptr);
    wrapper = zu_store_wrapper_new(inner);
    inner->ops->free(inner);
    zu_store_wrapper_watch(wrapper, watch, this);
  }
  ~device() { zu_store_wrapper_free(wrapper); }
  device(const device &) = delete;
  device &operator=(const device &) = delete;

  static void watch(void *self, zu_store_call call, const char *uri, uint64_t) {
    static_cast<device *>(self)->calls.push_back((call == ZU_CALL_GET ? "get " : "open ") + std::string(uri));
  }

  zu_store_wrapper *wrapper;
  lines calls;
};

std::string innermost_uri(zu_tvr_walk_ctx *ctx) {
  auto *record = static_cast<zu_do_properties *>(ctx->props_cache->top->item);
  EXPECT_EQ(zu_do_properties_get_int(record, "speed", nullptr), 7);
  return test::text_of(zu_do_properties_get_mr_uri(record, ZU_DO_NAME_URI, nullptr));
}

// The instances that a node pushes.
lines walk_collection(zu_tvr_walk_ctx *ctx, const char *uri) {
  auto *data = zu_tvr_coll_data_new(zu_tvr_uri_new(uri), nullptr, nullptr, nullptr, 0);
  zu_tvr_coll_scratch_data *scratch = zu_tvr_coll_scratch_data_new();
  lines uris;
  int32_t executed = 1;
  while (executed == 1) {
    executed = data->execute(data, scratch, ctx, 0);
    for (; data->iterate(data, scratch, ctx) == 1; data->pop(scratch, ctx))
      uris.push_back(innermost_uri(ctx));
    data->cleanup(scratch, executed);
  }
  EXPECT_EQ(executed, 0);
  zu_tvr_coll_scratch_data_delete(scratch);
  zu_tvr_coll_data_delete(data);
  return uris;
}

lines walk_get_one(zu_tvr_walk_ctx *ctx, const char *uri) {
  auto *data = zu_tvr_crudx_data_new(zu_tvr_uri_new(uri));
  lines uris;
  if (data->walk(data, ctx) == 1) {
    uris.push_back(innermost_uri(ctx));
    zu_tvr_pop_props_from_cache(ctx);
  }
  zu_tvr_crudx_data_delete(data);
  return uris;
}

struct step {
  std::string uri;
  size_t records; // that the node pushes
  bool request = false;
};

// Nodes one after the other in one walk, in both ways of walking.
struct places {
  const char *records;
  const char *nodes;
};
void expect_steps(const places &location, uint32_t fetch_count, const std::vector<step> &steps) {
  for (const int level : {4, 7}) {
    SCOPED_TRACE("level " + std::to_string(level) + ", fetch count " + std::to_string(fetch_count));
    test::balanced_memory balanced;
    device with(location.records, 4);
    test::trace_log traces(level);
    test::walk_options options;
    options.data = zu_store_wrapper_ifc(with.wrapper);
    options.fetch_count = fetch_count;
    test::fake_walk ctx(options);
    for (const step &expected : steps) {
      const std::string uri = location.nodes + expected.uri;
      SCOPED_TRACE(uri);
      const bool is_collection = uri.find('?') != uri.npos;
      lines uris = is_collection ? walk_collection(ctx, uri.c_str()) : walk_get_one(ctx, uri.c_str());
      EXPECT_EQ(uris.size(), expected.records);
      EXPECT_EQ(std::unique(uris.begin(), uris.end()), uris.end());
      for (const auto &found : uris) EXPECT_NE(found.find(uri.substr(0, uri.find('?'))), found.npos) << found;
      EXPECT_EQ(with.calls.size(), expected.request ? 1u : 0u);
      with.calls.clear();
    }
    EXPECT_EQ(ctx.error_text() + (traces.count("(ERR): ") > 0 ? traces.text() : ""), "");
  }
}

TEST(retrieval_store, requests_of_a_walk) {
  const std::string e = "/sys/ifc;name=e";
  const bool requested = true;
  const char *chassis = "//locations;loc=1";
  for (const places &location : {places{"", ""}, places{chassis, chassis}, places{chassis, ""}}) {
    for (const uint32_t fetch_count : {0u, 1u, 2u, 3u}) {
      // A nested list costs one request, and one more for each parent without instances; a second reader of
      // it one for each parent with instances.
      expect_steps(location, fetch_count,
                   {{"/sys?ifc", 4, requested},
                    {e + "0?unit", 3, requested},
                    {e + "0?unit", 3, requested},
                    {e + "1?unit", 0, requested},
                    {e + "1?unit", 0},
                    {e + "2?unit", 3},
                    {e + "2?unit", 3, requested},
                    {e + "3?unit", 3},
                    {e + "3?unit", 3, requested}});
      // Single records below parents cost one, and one more for each parent whose own collection lacks
      // the record.
      expect_steps(location, fetch_count,
                   {{e + "0/unit;id=2", 1, requested},
                    {e + "1/unit;id=2", 0, requested},
                    {e + "2/unit;id=2", 1},
                    {e + "3/unit;id=2", 1},
                    {e + "1/unit;id=2", 0},
                    {e + "0/unit;id=3", 1},
                    {e + "0/unit;id=9", 0},
                    {e + "2/unit;id=9", 0, requested},
                    {e + "1/limit", 0, requested},
                    {e + "2/limit", 0, requested},
                    {e + "3/limit", 1, requested},
                    {"/sys/ifc;name=e2", 1, requested},
                    {"/sys", 0, requested}});
    }
  }
}

// A record costs its view, whatever the size of the collection.
TEST(retrieval_store, a_row_costs_one_allocation) {
  const auto blocks_of = [](int interfaces) {
    device with("", interfaces);
    test::walk_options options;
    options.data = zu_store_wrapper_ifc(with.wrapper);
    test::fake_walk ctx(options);
    const auto blocks = [] {
      return qmalloc_count(ZU_TVR_AREA).total_blocks + qmalloc_count(ZU_DO_AREA).total_blocks;
    };
    const int64_t before = blocks();
    EXPECT_EQ(walk_collection(ctx, "/sys?ifc").size(), static_cast<size_t>(interfaces));
    return blocks() - before;
  };
  EXPECT_LE(blocks_of(300) - blocks_of(200), 105);
}

} // namespace
