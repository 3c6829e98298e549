// Collection and get-one nodes over the embedded store: how many requests a walk costs, and that views of the
// store's rows carry what the plain steps' records carry.
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

// Interfaces with units; the second interface has none, the fifth has a setting.
std::string device(const std::string &location, int interfaces) {
  std::string text = R"({"records": {)";
  const auto record = [&](const std::string &uri, const std::string &properties) {
    text += (text.back() == '{' ? "" : ",") + ("\"" + location + uri + "\": {") + properties + "}";
  };
  for (int n = 0; n < interfaces; ++n) {
    const std::string ifc = "/sys/ifc;name=e" + std::to_string(n);
    record(ifc, "\"mtu\": " + std::to_string(n));
    for (int unit = 0; n != 1 && unit < 3; ++unit) {
      record(ifc + "/unit;id=" + std::to_string(unit), "\"speed\": " + std::to_string(unit % 2));
    }
    if (n == 4) record(ifc + "/limit", "\"rate\": 7");
  }
  return text + "}}";
}

struct held_store {
  explicit held_store(const std::string &text) {
    zu_data_ifc *inner = zu_store_load_text("data", text.data(), text.size(), nullptr);
    EXPECT_NE(inner, nullptr);
    wrapper = zu_store_wrapper_new(inner);
    inner->ops->free(inner);
    zu_store_wrapper_watch(wrapper, watch, this);
  }
  ~held_store() { zu_store_wrapper_free(wrapper); }
  held_store(const held_store &) = delete;
  held_store &operator=(const held_store &) = delete;

  static void watch(void *self, zu_store_call call, const char *uri, uint64_t flags) {
    char word[32];
    snprintf(word, sizeof word, " 0x%llx", static_cast<unsigned long long>(flags));
    static_cast<held_store *>(self)->calls.push_back((call == ZU_CALL_GET ? "get " : "open ") +
                                                     std::string(uri) + word);
  }

  zu_store_wrapper *wrapper;
  lines calls;
};

// All properties of a record, by name, so that their order does not matter.
std::string all_of(zu_do_properties *record) {
  std::vector<std::string> parts;
  zu_do_iter it = {};
  zu_do_properties_iter(record, &it);
  while (zu_do_properties_has_next(record, &it)) {
    zu_do_name *name = nullptr;
    zu_do_value *value = zu_do_properties_get_next(record, &it, &name);
    parts.push_back(std::string(" ") + zu_do_name_get_strname(name) + "=" + test::display(value));
  }
  std::sort(parts.begin(), parts.end());
  std::string text = "record";
  for (const auto &part : parts) text += part;
  return text;
}

zu_do_properties *top(zu_tvr_walk_ctx *ctx) {
  return static_cast<zu_do_properties *>(ctx->props_cache->top->item);
}

void walk_collection(zu_tvr_walk_ctx *ctx, zu_tvr_coll_data *data, lines *did) {
  zu_tvr_coll_scratch_data *scratch = zu_tvr_coll_scratch_data_new();
  int32_t executed = 0;
  do {
    executed = data->execute(data, scratch, ctx, 0);
    if (executed == -1) break;
    while (data->iterate(data, scratch, ctx) == 1) {
      if (scratch->props_pushed > 0) {
        did->push_back(all_of(top(ctx)));
      } else {
        auto *list = static_cast<zu_do_properties_list *>(ctx->props_groups_cache->top->item);
        did->push_back("group of " + std::to_string(zu_do_properties_list_get_len(list)));
      }
      data->pop(scratch, ctx);
    }
    data->cleanup(scratch, executed);
  } while (executed == 1);
  did->push_back("executed " + std::to_string(executed));
  zu_tvr_coll_scratch_data_delete(scratch);
}

// One collection or get-one node after the other, in one walk; the same in both ways of walking.
struct walked {
  lines did;
  lines calls;
};
walked walk_in_both_ways(const std::string &data, uint32_t fetch_count, const lines &orderby,
                         const lines &uris) {
  walked all[2];
  for (const int level : {4, 7}) {
    test::balanced_memory balanced;
    held_store store(data);
    test::trace_log traces(level);
    test::walk_options options;
    options.data = zu_store_wrapper_ifc(store.wrapper);
    options.fetch_count = fetch_count;
    test::fake_walk ctx(options);
    walked &now = all[level / 7];
    test::own_nlist names(orderby.empty() ? nullptr : zu_do_nlist_new());
    for (const auto &name : orderby) zu_do_nlist_add_string(names.get(), name.c_str());
    for (const auto &uri : uris) {
      if (uri.find('?') != std::string::npos) {
        auto *coll = zu_tvr_coll_data_new(zu_tvr_uri_new(uri.c_str()), nullptr, names.get(), nullptr,
                                          orderby.empty() ? 0 : 1);
        walk_collection(ctx, coll, &now.did);
        zu_tvr_coll_data_delete(coll);
        continue;
      }
      auto *crudx = zu_tvr_crudx_data_new(zu_tvr_uri_new(uri.c_str()));
      const int32_t step = crudx->walk(crudx, ctx);
      now.did.push_back(step == 1 ? all_of(top(ctx)) : "walk " + std::to_string(step));
      if (step == 1) zu_tvr_pop_props_from_cache(ctx);
      zu_tvr_crudx_data_delete(crudx);
    }
    for (const auto &error : ctx.errors) now.did.push_back("error " + error);
    for (const auto &trace : traces.lines()) {
      if (trace[0] < '5') now.did.push_back(trace);
    }
    now.calls = store.calls;
  }
  EXPECT_EQ(all[0].did, all[1].did);
  EXPECT_EQ(all[0].calls, all[1].calls);
  return all[0];
}

const char *const locations[] = {"", "//locations;loc=1"};

TEST(retrieval_store, one_request_and_one_for_each_parent_without_instances) {
  for (const std::string location : locations) {
    for (const uint32_t fetch_count : {0u, 1u, 2u, 5u}) {
      SCOPED_TRACE(location + " " + std::to_string(fetch_count));
      lines uris = {location + "/sys?ifc"};
      lines expected;
      for (int n = 0; n < 6; ++n) {
        uris.push_back(location + "/sys/ifc;name=e" + std::to_string(n) + "?unit");
        expected.push_back("record _coll_uri=" + location + "/sys?ifc _uri=" + location + "/sys/ifc;name=e" +
                           std::to_string(n) + " mtu=" + std::to_string(n) + " name=e" + std::to_string(n));
      }
      const walked all = walk_in_both_ways(device(location, 6), fetch_count, {}, uris);
      expected.push_back("executed 0");
      for (int n = 0; n < 6; ++n) {
        const std::string ifc = location + "/sys/ifc;name=e" + std::to_string(n);
        for (int unit = 0; n != 1 && unit < 3; ++unit) {
          expected.push_back("record _coll_uri=" + ifc + "?unit _uri=" + ifc +
                             "/unit;id=" + std::to_string(unit) + " id=" + std::to_string(unit) +
                             " speed=" + std::to_string(unit % 2));
        }
        expected.push_back("executed 0");
      }
      EXPECT_EQ(all.did, expected);
      EXPECT_EQ(all.calls, (lines{"open " + location + "/sys?ifc 0x1010010",
                                  "open " + location + "/sys/ifc;name=e0?unit 0x10000010",
                                  "open " + location + "/sys/ifc;name=e1?unit 0x10000010"}));
    }
  }
}

TEST(retrieval_store, a_relative_walk_over_located_records) {
  const walked all = walk_in_both_ways(device("//locations;loc=1", 3), 0, {},
                                       {"/sys/ifc;name=e0?unit", "/sys/ifc;name=e2?unit"});
  EXPECT_EQ(all.did.size(), 8u);
  EXPECT_EQ(all.did[4], "record _coll_uri=/sys/ifc;name=e2?unit "
                        "_uri=//locations;loc=1/sys/ifc;name=e2/unit;id=0 id=0 speed=0");
  EXPECT_EQ(all.calls, lines{"open /sys/ifc;name=e0?unit 0x10000010"});
}

TEST(retrieval_store, groups_from_the_batch_and_from_the_cache) {
  const walked all =
      walk_in_both_ways(device("", 3), 0, {"speed"}, {"/sys/ifc;name=e0?unit", "/sys/ifc;name=e2?unit"});
  EXPECT_EQ(all.did,
            (lines{"group of 2", "group of 1", "executed 0", "group of 2", "group of 1", "executed 0"}));
  EXPECT_EQ(all.calls, lines{"open /sys/ifc;name=e0?unit 0x10000010"});
}

TEST(retrieval_store, single_records_under_parents_cost_one_request) {
  for (const std::string location : locations) {
    SCOPED_TRACE(location);
    const std::string ifc = location + "/sys/ifc;name=e";
    const walked all = walk_in_both_ways(device(location, 6), 0, {},
                                         {ifc + "4/limit", ifc + "4/limit", ifc + "0/limit",
                                          ifc + "2/unit;id=1", ifc + "3/unit;id=0", ifc + "2/unit;id=9",
                                          location + "/sys/ifc;name=e3", location + "/sys"});
    EXPECT_EQ(all.did, (lines{"record _uri=" + ifc + "4/limit rate=7", "walk 0", "walk 0",
                              "record _uri=" + ifc + "2/unit;id=1 id=1 speed=1",
                              "record _uri=" + ifc + "3/unit;id=0 id=0 speed=0", "walk 0",
                              "record _uri=" + ifc + "3 mtu=3 name=e3", "walk 0"}));
    EXPECT_EQ(all.calls,
              (lines{"open " + ifc + "4?limit 0x11010000", "open " + ifc + "0?limit 0x11010000",
                     "open " + ifc + "2?unit 0x11010000", "open " + location + "/sys?ifc 0x11010000",
                     "get " + location + "/sys 0x1010110"}));
  }
}

// A record costs its view, whatever the size of the collection.
TEST(retrieval_store, a_row_costs_one_allocation) {
  const auto blocks_of = [](int interfaces) {
    held_store store(device("", interfaces));
    test::walk_options options;
    options.data = zu_store_wrapper_ifc(store.wrapper);
    test::fake_walk ctx(options);
    auto *coll = zu_tvr_coll_data_new(zu_tvr_uri_new("/sys?ifc"), nullptr, nullptr, nullptr, 0);
    auto *scratch = zu_tvr_coll_scratch_data_new();
    EXPECT_EQ(coll->execute(coll, scratch, ctx, 0), 0);
    const auto blocks = [] {
      return qmalloc_count(ZU_TVR_AREA).total_blocks + qmalloc_count(ZU_DO_AREA).total_blocks;
    };
    const int64_t before = blocks();
    while (coll->iterate(coll, scratch, ctx) == 1) coll->pop(scratch, ctx);
    const int64_t cost = blocks() - before;
    coll->cleanup(scratch, 0);
    zu_tvr_coll_scratch_data_delete(scratch);
    zu_tvr_coll_data_delete(coll);
    return cost;
  };
  EXPECT_LE(blocks_of(300) - blocks_of(200), 100);
}

} // namespace
