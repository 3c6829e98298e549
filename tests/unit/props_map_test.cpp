// Properties maps: what each operation adds or refuses, value texts, dumps, and exhausted memory.
#include "zu_tovra/props_map.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>

#include "qmalloc/qmalloc.h"
#include "support.h"
#include "support/objects.hpp"
#include "support/recording_tree.hpp"
#include "support/stream_text.hpp"

namespace {

// A map with one URI item, and the adding of properties to it in few words.
struct map_under_test {
  explicit map_under_test(int32_t items, int32_t indices = 4) : map(zu_tvr_props_map_new(items)) {
    if (map != nullptr) uri_item = map->add_uri(map, "/a", indices);
  }
  map_under_test(const map_under_test &) = delete;
  map_under_test &operator=(const map_under_test &) = delete;
  ~map_under_test() { zu_tvr_props_map_delete(map); }

  bool add(const char *name, int32_t kind, int32_t slot, const char *prefix = nullptr, bool multiline = false,
           bool independent = true, int32_t partner = -1) {
    const test::own_name owned(zu_do_name_new(name));
    return owned != nullptr &&
           map->add_prop(map, uri_item, owned.get(), kind, slot, prefix, multiline ? 1 : 0,
                         independent ? 1 : 0, nullptr, nullptr, partner);
  }
  bool add_location(const char *name, int32_t slot, const char *scheme, const char *field) {
    const test::own_name owned(zu_do_name_new(name));
    return owned != nullptr && map->add_prop(map, uri_item, owned.get(), TVR_KIND_LOCATION, slot, nullptr, 0,
                                             0, scheme, field, 0);
  }
  bool add_values(int32_t slot, const char *from, const char *to) {
    GHashTable *table = g_hash_table_new_full(g_str_hash, g_str_equal, qfree_named, qfree_named);
    char *key = qstrdup_named(ZU_TVR_AREA, from);
    char *value = qstrdup_named(ZU_TVR_AREA, to);
    if (key != nullptr && value != nullptr) {
      g_hash_table_insert(table, key, value);
      if (map->add_value_map(map, slot, table)) return true;
    } else {
      qfree_named(key);
      qfree_named(value);
    }
    g_hash_table_destroy(table);
    return false;
  }
  std::string text() const { return test::describe_map(map); }

  zu_tvr_props_map *map;
  zu_tvr_uri_item *uri_item = nullptr;
};

struct operation {
  const char *what;
  int32_t items;
  std::function<bool(map_under_test &)> last; // gives the result of the last operation
  bool done;
  const char *map;
  const char *traces; // of errors and warnings
};

TEST(PropsMap, Operations) {
  using m = map_under_test;
  const operation operations[] = {
      {"no format items: all are extra, of any kind", 0,
       [](m &t) { return t.add("a", 1, 0) && t.add("b", 9, 1) && t.add("c", 2, 0); }, true,
       " [] +a:1@0 +b:9@1 +c:2@0 /a<0 1 0 -1>", ""},
      {"plain items and an extra one", 2,
       [](m &t) { return t.add("a", 1, 1) && t.add("b", 1, 0) && t.add("c", 1, 2); }, true,
       " [b:1 a:1] +c:1@2 /a<1 0 2 -1>", ""},
      {"a full URI item records no more", 1,
       [](m &t) {
         return t.add("a", 1, 0) && t.add("b", 1, 1) && t.add("c", 1, 2) && t.add("d", 1, 3) &&
                t.add("e", 1, 4);
       },
       true, " [a:1] +b:1@1 +c:1@2 +d:1@3 +e:1@4 /a<0 1 2 3>", ""},
      {"a negative slot", 1, [](m &t) { return t.add("a", 1, -1); }, false, " [-] /a<-1 -1 -1 -1>",
       "3 (ERR): Invalid property index (-1) for a\n"},
      {"an unknown kind costs the item its name, not its kind", 1,
       [](m &t) { return t.add("a", 1, 0) && t.add("b", 5, 0); }, false, " [?:1] /a<0 -1 -1 -1>",
       "3 (ERR): unknown value type 5\n"},
      {"arrays with partners take the second one's flags", 4,
       [](m &t) {
         return t.add("a", 2, 0, "ip ", true, true) && t.add("a", 3, 3, "mask ", true, false, 0) &&
                t.add("u", 2, 1);
       },
       true, " [a:2('ip ' multiline 3) u:2(independent -1) - a:3('mask ' multiline 0)] /a<0 3 1 -1>", ""},
      {"a partner without array data is left alone", 3,
       [](m &t) {
         return t.add("p", 1, 0) && t.add("a", 3, 1, nullptr, true, false, 0) &&
                t.add("b", 3, 2, nullptr, true, false, 77) && t.add_location("l", 0, "PORT", nullptr);
       },
       true, " [l:4(2) a:3(multiline 0) b:3(multiline 77)] /a<0 1 2 0>", ""},
      {"a location as partner is left alone", 2,
       [](m &t) {
         return t.add_location("l", 0, "SLOT", "slot") && t.add("a", 3, 1, nullptr, true, false, 0);
       },
       true, " [l:4(1 slot) a:3(multiline 0)] /a<0 1 -1 -1>field", ""},
      {"array data twice in a slot", 1, [](m &t) { return t.add("a", 2, 0) && t.add("b", 3, 0); }, false,
       " [?:2(independent -1)] /a<0 -1 -1 -1>", "3 (ERR): Data for array at position 0 already present\n"},
      {"array data where a location is", 1,
       [](m &t) { return t.add_location("a", 0, "SLOT", nullptr) && t.add("b", 2, 0); }, false,
       " [?:4(1)] /a<0 -1 -1 -1>", "3 (ERR): Data for array at position 0 already present\n"},
      {"a location where array data is", 1,
       [](m &t) { return t.add("b", 2, 0) && t.add_location("a", 0, "SLOT", nullptr); }, false,
       " [?:2(independent -1)] /a<0 -1 -1 -1>", "3 (ERR): Data for location at position 0 already present\n"},
      {"a plain property over array data", 1, [](m &t) { return t.add("b", 2, 0) && t.add("c", 1, 0); }, true,
       " [c:1(independent -1)] /a<0 0 -1 -1>", ""},
      {"an unknown scheme is the default one", 1, [](m &t) { return t.add_location("a", 0, "slot", "s"); },
       true, " [a:4(0 s)] /a<0 -1 -1 -1>field",
       "4 (warn): Failed to resolve loc scheme slot from metadata. Falling back to DEFAULT loc scheme\n"},
      {"value maps", 2,
       [](m &t) {
         return t.add("a", 1, 0) && t.add("b", 1, 1) && t.add_values(0, "x", "y") && t.add_values(1, "", "z");
       },
       true, " [a:1{x=y} b:1{=z}] /a<0 1 -1 -1>", ""},
      {"a value map below the slots", 1, [](m &t) { return t.add_values(-1, "x", "y"); }, false,
       " [-] /a<-1 -1 -1 -1>", "3 (ERR): Invalid property index (-1)\n"},
      {"a value map beyond the slots", 1, [](m &t) { return t.add("a", 1, 1) && t.add_values(1, "x", "y"); },
       false, " [-] +a:1@1 /a<1 -1 -1 -1>", "3 (ERR): Invalid property index (1)\n"},
      {"a value map in a slot without an item", 1, [](m &t) { return t.add_values(0, "x", "y"); }, false,
       " [-] /a<-1 -1 -1 -1>", "3 (ERR): Invalid property index (0)\n"},
      {"a second value map", 1,
       [](m &t) { return t.add("a", 1, 0) && t.add_values(0, "x", "y") && t.add_values(0, "x", "z"); }, false,
       " [a:1{x=y}] /a<0 -1 -1 -1>", "3 (ERR): Value map already exists\n"},
  };
  for (const operation &entry : operations) {
    SCOPED_TRACE(entry.what);
    const test::balanced_memory balanced;
    const test::trace_log traces;
    map_under_test made(entry.items);
    EXPECT_EQ(entry.last(made), entry.done);
    EXPECT_EQ(made.text(), entry.map);
    EXPECT_EQ(traces.text(), entry.traces);
  }
}

TEST(PropsMap, FlagsTellTheKinds) {
  const test::balanced_memory balanced;
  map_under_test made(4);
  const auto flags = [&] { return made.map->type_flags[0] << 8 | made.map->type_flags[1]; };
  made.add("x", 2, 9); // an extra property is no format item
  EXPECT_EQ(flags(), 0x0000);
  made.add("a", 1, 0);
  EXPECT_EQ(flags(), 0x0100);
  made.add("b", 2, 1);
  EXPECT_EQ(flags(), 0x1100);
  made.add("c", 3, 2);
  EXPECT_EQ(flags(), 0x1101);
  made.add_location("d", 1, "SLOT", nullptr); // refused, and still flagged
  EXPECT_EQ(flags(), 0x1111);
}

TEST(PropsMap, RefusesWhatItCannotHold) {
  const test::balanced_memory balanced;
  EXPECT_EQ(zu_tvr_props_map_new(-1), nullptr);
  zu_tvr_props_map_delete(nullptr);
  map_under_test made(0);
  const test::trace_log traces;
  EXPECT_EQ(made.map->add_uri(made.map, "/b", 0), nullptr);
  EXPECT_TRUE(traces.has("(ERR): Invalid number of properties (0) for URI /b"));
  EXPECT_EQ(made.map->add_uri(made.map, "/;b", 1), nullptr);
  EXPECT_TRUE(traces.has("(ERR): Failed to allocate uri in item in the map of print props"));
  EXPECT_NE(made.map->add_uri(made.map, "/c", 1), nullptr);
  EXPECT_EQ(made.text(), " [] /a<-1 -1 -1 -1> /c<-1>");
  EXPECT_DEATH(made.map->add_uri(made.map, nullptr, 1), "uri");
  map_under_test slots(1);
  EXPECT_DEATH(slots.add_location("l", 0, nullptr, nullptr), "location_scheme");
}

TEST(PropsMap, SaysMuchWhenDebugging) {
  map_under_test made(2, 2);
  const test::trace_log traces(7);
  made.add("a", 1, 1);
  made.add_location("l", 0, "SLOT", "slot");
  made.add("c", 1, 5);
  EXPECT_EQ(traces.text(), "7 (debug): props map: added a (type 1): local pos=0, global pos=1\n"
                           "7 (debug): props map: location field slot\n"
                           "7 (debug): props map: added l (type 4): local pos=1, global pos=0\n");
}

TEST(PropsMap, Dump) {
  const auto dump = [](zu_tvr_props_map *map, uint32_t indentation) {
    return test::stream_text([&](FILE *stream) { zu_tvr_props_map_print(stream, indentation, map); });
  };
  EXPECT_EQ(dump(nullptr, 1), "");
  map_under_test two(2, 2);
  two.add("a", 1, 0);
  two.add("b", 1, 1);
  EXPECT_EQ(dump(two.map, 0), "Prop Names: a b\n\n\tProps indices: 0 1");
  map_under_test gaps(3, 2);
  gaps.add("b", 1, 1);
  gaps.add("lost", 7, 2);
  gaps.add("extra", 1, 8);
  gaps.map->add_uri(gaps.map, "/b", 1);
  EXPECT_EQ(dump(gaps.map, 1), "\tProp Names: - b -\n\t\n\t\tProps indices: 1 8\n\t\n\t\tProps indices: -1");
}

// However many properties a URI item has, adding one more costs the same.
TEST(PropsMap, AddsInLinearTime) {
  constexpr int32_t count = 200000;
  map_under_test made(0, count);
  const test::own_name name(zu_do_name_new("p"));
  const auto start = std::chrono::steady_clock::now();
  for (int32_t i = 0; i < count; ++i) {
    ASSERT_TRUE(
        made.map->add_prop(made.map, made.uri_item, name.get(), 1, i, nullptr, 0, 1, nullptr, nullptr, -1));
  }
  EXPECT_EQ(made.uri_item->indices[count - 1], count - 1);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

// ---- Value texts ----

struct mapped {
  const char *json;
  const char *plain;    // without a value map
  const char *replaced; // with one that holds `a b` and the empty text
};

const mapped mapped_values[] = {
    {R"("up")", "up", "up"},
    {R"("a b")", R"("a b")", "B A"},
    {R"("b a")", R"("b a")", "b a"},
    {R"("a\tb")", "\"a\tb\"", "a\tb"},
    {R"("say \"hi\"")", R"("say \"hi\"")", R"(say "hi")"},
    {R"("\"\"")", R"(\"\")", R"("")"},
    {R"("!x")", R"("!x")", "!x"},
    {R"("x!")", "x!", "x!"},
    {R"("")", "", "nothing"},
    {R"("a\nb")", R"(a\x0Ab)", R"(a\x0Ab)"},
    {"-12", "-12", "-12"},
    {"[\"a\",\"b c\"]", R"("a,b c")", "a,b c"},
    {"null", "", "nothing"},
};

TEST(MapValue, QuotesOrReplaces) {
  const test::balanced_memory balanced;
  map_under_test made(2);
  made.add("a", 1, 0);
  made.add("b", 1, 1);
  made.add_values(1, "a b", "B A");
  g_hash_table_insert(made.map->fmt_items[1]->value_map, qstrdup_named(ZU_TVR_AREA, ""),
                      qstrdup_named(ZU_TVR_AREA, "nothing"));
  for (const mapped &entry : mapped_values) {
    SCOPED_TRACE(entry.json);
    const test::own_value value = test::json(entry.json);
    for (int slot : {0, 1}) {
      char *text = nullptr;
      ASSERT_TRUE(zu_tvr_props_map_fmt_item_map_value(made.map->fmt_items[slot], value.get(), &text));
      EXPECT_STREQ(text, slot == 0 ? entry.plain : entry.replaced);
      qfree_named(text);
    }
  }
}

// ---- Exhausted memory ----

TEST(PropsMap, SurvivesEachFailedAllocation) {
  test::fail_each_allocation([] {
    const test::trace_log traces;
    map_under_test made(3);
    const bool done = made.map != nullptr && made.uri_item != nullptr && made.add("a", 2, 0, "p") &&
                      made.add("a", 3, 1, "q", true, false, 0) && made.add_location("l", 2, "SLOT", "slot") &&
                      made.add("e", 1, 5) && made.add_values(0, "x", "y");
    EXPECT_TRUE(done || made.map == nullptr || made.text() != "");
    return done;
  });
  map_under_test made(1);
  made.add("a", 1, 0);
  const test::own_value value = test::json(R"("a b")");
  test::fail_each_allocation([&] {
    const test::trace_log traces;
    char *text = nullptr;
    const bool done = zu_tvr_props_map_fmt_item_map_value(made.map->fmt_items[0], value.get(), &text);
    EXPECT_EQ(done, text != nullptr);
    EXPECT_EQ(done, traces.lines().empty());
    qfree_named(text);
    return done;
  });
}

} // namespace
