// Properties maps: what the operations do that no template text asks for.
#include "zu_tovra/props_map.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support.h"
#include "support/objects.hpp"
#include "support/recording_tree.hpp"

namespace {

struct property {
  const char *name;
  int32_t kind;
  int32_t slot;
  int32_t partner = -1;
};

// A map with one URI item. Its arrays are multiline, its locations those of the field "slot".
struct map_under_test {
  explicit map_under_test(int32_t items, int32_t indices = 4) : map(zu_tvr_props_map_new(items)) {
    uri_item = map->add_uri(map, "/a", indices);
  }
  map_under_test(const map_under_test &) = delete;
  map_under_test &operator=(const map_under_test &) = delete;
  ~map_under_test() { zu_tvr_props_map_delete(map); }

  bool add(const property &added, const char *scheme = "SLOT") {
    const test::own_name name(zu_do_name_new(added.name));
    return map->add_prop(map, uri_item, name.get(), added.kind, added.slot, nullptr, 1, 0, scheme, "slot",
                         added.partner);
  }
  std::string text() const {
    char flags[16];
    std::snprintf(flags, sizeof flags, " %02x %02x ", map->type_flags[0], map->type_flags[1]);
    return test::describe_map(map) + flags;
  }

  zu_tvr_props_map *map;
  zu_tvr_uri_item *uri_item;
};

struct operation {
  int32_t items;
  const char *result; // the map, its flags and, when the last property is refused, why
  std::vector<property> properties;
};

const operation operations[] = {
    // Without format items all are extra, of any kind, also beyond the room of the URI item.
    {0,
     " [] +a:1@0 +b:9@1 +c:2@0 +d:4@7 +e:1@3 /a<0 1 0 7> 00 00 ",
     {{"a", 1, 0}, {"b", 9, 1}, {"c", 2, 0}, {"d", 4, 7}, {"e", 1, 3}}},
    // A partner without array data is left alone.
    {5,
     " [p:1 l:4(1 slot) a:3(multiline 0) b:3(multiline 1) c:3(multiline 77)] /a<0 1 2 3>field 01 11 ",
     {{"p", 1, 0}, {"l", 4, 1}, {"a", 3, 2, 0}, {"b", 3, 3, 1}, {"c", 3, 4, 77}}},
    // What is refused costs the item its name; it has the kind of the last property, and its first data.
    {1, " [?:5] /a<0 -1 -1 -1> 01 00 3 (ERR): unknown value type 5\n", {{"a", 1, 0}, {"b", 5, 0}}},
    {1,
     " [?:2(1 slot)] /a<0 -1 -1 -1>field 10 10 3 (ERR): Data for array at position 0 already present\n",
     {{"a", 4, 0}, {"b", 2, 0}}},
    {1,
     " [?:4(multiline -1)] /a<0 -1 -1 -1> 10 10 3 (ERR): Data for location at position 0 already present\n",
     {{"b", 2, 0}, {"a", 4, 0}}},
    {1, " [c:1(multiline -1)] /a<0 0 -1 -1> 11 00 ", {{"b", 2, 0}, {"c", 1, 0}}},
};

TEST(props_map, operations) {
  for (const operation &entry : operations) {
    const test::trace_log traces;
    map_under_test made(entry.items);
    bool added = true;
    for (const property &each : entry.properties) added = made.add(each);
    EXPECT_EQ(added, traces.lines().empty()) << entry.result;
    EXPECT_EQ(made.text() + traces.text(), entry.result);
  }
}

TEST(props_map, refuses_what_it_cannot_hold) {
  EXPECT_EQ(zu_tvr_props_map_new(-1), nullptr);
  zu_tvr_props_map_delete(nullptr);
  map_under_test made(2);
  const test::trace_log traces;
  EXPECT_FALSE(made.map->add_value_map(made.map, -1, nullptr));
  EXPECT_TRUE(made.add({"l", 4, 0}, "no"));
  EXPECT_EQ(traces.text(), "3 (ERR): Invalid property index (-1)\n4 (warn): Failed to resolve loc scheme no "
                           "from metadata. Falling back to DEFAULT loc scheme\n");
}

} // namespace
