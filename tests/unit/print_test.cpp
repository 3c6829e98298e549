// The walk of a print node: what no rendered example reaches, failures above all.
#include <cstdio>

#include "support/print_case.hpp"

namespace {

using test::print_case;
using test::print_options;

constexpr const char *ifc_uri = "/sys/ifc;name=$";

// An interface in scope, with its collection's URI as the walk sets it.
test::record_text ifc(std::vector<test::property> properties) {
  properties.insert(properties.begin(), {"name", "\"e0\""});
  return {"/sys/ifc;name=e0", "/sys?ifc", properties};
}

test::uri_line shows(std::vector<std::string> names, int first_slot = 0) {
  test::uri_line line{ifc_uri, {}};
  for (const auto &name : names) line.properties.push_back({.name = name, .slot = first_slot++});
  return line;
}

TEST(print, walks) {
  const std::vector<test::uri_line> one = {shows({"name"})};
  const std::vector<test::record_text> plain = {ifc({})};
  const std::string marker = "! The command below had failures during processing\n";
  const auto pending = [](const char *text) {
    return std::vector<test::record_text>{ifc({{"mtu", "9"}, {"_pending_attrs", text}})};
  };
  const auto location = [](const char *name, const char *field) {
    return std::vector<test::uri_line>{
        {ifc_uri, {{.name = name, .kind = TVR_KIND_LOCATION, .scheme = "DEFAULT", .field = field}}}};
  };
  const print_options no_arguments = {.condition = "(set $tvr1)", .condition_arguments = false};
  const std::vector<print_case> cases = {
      {"without a map", "100%s", {}, {}, "1 \n 100%s\n", {.newline = true, .indentation = 1}},
      {"two records",
       "%s/%s",
       {{"/sys", {{.name = "host"}}}, {ifc_uri, {{.name = "name", .slot = 1}}}},
       {{"/sys", "", {{"host", "\"r1\""}}}, ifc({})},
       "1 r1/e0\n"},
      {"room that no property fills", "%s", {{ifc_uri, {{.name = "name"}}, 3}}, plain, "1 e0\n"},
      {"extra properties are read", "%s", {shows({"name", "mtu"})}, {ifc({{"mtu", "none"}})}, "1 e0\n"},
      {"more than the usual number of slots",
       "%s%s%s%s%s%s%s%s%s%s%s%s%s%s%s%s%s%s",
       {shows(std::vector<std::string>(18, "a"))},
       {ifc({{"a", "1"}})},
       "1 111111111111111111\n"},
      {"no slots, all default", "on", {shows({"mtu"})}, {ifc({{"mtu", "=1500"}})}, "1 on\n", {.slots = 0}},
      {"a default and a slot that nothing fills",
       "%s %s",
       {shows({"mtu"})},
       {ifc({{"mtu", "=1"}})},
       "-1 \n! 10000 Unable to find property\n(ERR): Missing value for property: *unknown*\n"
       "(ERR): Failed to render %s %s\n"},
      {"no such property, of a URI that reads otherwise than its template",
       "%s",
       {{"/sys/ifc;name=$/ip;net=%41", {{.name = "mask"}}}},
       {{"/sys/ifc;name=e0/ip;net=A", "", {{"x", "1"}}}, ifc({})},
       "-1 \n! 10000 Unable to find property mask on uri /sys/ifc;name=e0/ip;net=A\n"
       "(ERR): Unable to find property mask on uri /sys/ifc;name=e0/ip;net=A\n"},
      {"output refused without a map",
       "x",
       {},
       {},
       "-1 \n(ERR): Failed to execute output function\n",
       {.refuse_nth = 1}},
      {"no condition arguments", "%s", one, plain,
       "-1 \n(ERR): Failed to resolve condition\n(ERR): Failed to verify condition\n", no_arguments},
      {"no condition arguments, no map",
       "x",
       {},
       {},
       "-1 \n(ERR): Failed to resolve condition\n(ERR): Failed to verify conditions\n",
       no_arguments},
      {"condition without a map", "x", {}, {}, "0 \n", {"(set $tvr0)"}},
      {"pending: the record itself",
       "i %s",
       one,
       pending("\"_uri\""),
       "1 \n " + marker + "\n i e0\n",
       {.newline = true, .indentation = 1}},
      {"pending: inside a longer name", "i %s", one, pending("\"\\\"my name\\\"\""), "1 i e0\n"},
      {"pending: not a text", "i %s", one, pending("1"), "1 i e0\n"},
      {"no such location field", "%s", location("name", "shelf"), plain,
       "-1 \n(ERR): Failed to format location to string\n"},
      {"a location that is no text",
       "%s",
       location("mtu", nullptr),
       {ifc({{"mtu", "5"}})},
       "-1 \n(ERR): Failed to extract location id from value\n"},
  };
  for (const auto &given : cases) test::check(given);
}

TEST(print, fails_every_walk_with_a_condition_that_does_not_parse) {
  const print_case bad = {"bad", "%s", {shows({"name"})}, {ifc({})}, "", {"(set"}};
  const test::balanced_memory balanced;
  const test::trace_log made;
  test::print_stage stage(bad, false);
  EXPECT_EQ(made.count("(ERR): Error 10000: "), 1);
  EXPECT_EQ(made.count("(ERR): Failed to parse condition"), 1);
  EXPECT_EQ(made.count("(ERR): Failed to construct command operation"), 1);
  const auto got = stage.run(4);
  EXPECT_EQ(got.step, -1);
  EXPECT_EQ(got.reports.substr(0, 8), "! 10000 ");
  EXPECT_EQ(got.errors, "(ERR): Failed to parse condition\n(ERR): Failed to verify condition\n");
}

TEST(print, takes_an_extra_property_by_its_index) {
  const print_case unknown = {"", "%s", {shows({"name", "mtu"})}, {ifc({{"mtu", "1"}})}, ""};
  const test::balanced_memory balanced;
  test::print_stage stage(unknown, true);
  stage.data()->props_map->extra_props->slot = 9;
  const auto got = stage.run(4);
  EXPECT_EQ(got.text(), "-1 \n(ERR): Property not found for index\n");
}

TEST(print, reads_records_of_changing_shape) {
  const test::balanced_memory balanced;
  std::vector<std::unique_ptr<test::made_record>> records; // a shape lasts as long as a render
  test::print_stage stage({"", "%s %s", {shows({"name", "mtu"})}, {}, ""}, true);
  const auto turn = [&](const test::record_text &text, const char *over) {
    auto *record = records.emplace_back(std::make_unique<test::made_record>(text, true))->get();
    if (over != nullptr) zu_do_properties_set_string(record, "mtu", over);
    zu_tvr_push_props_to_cache(stage.walk().ctx(), record, 0, 0);
    const auto output = stage.run(0).output;
    zu_tvr_pop_props_from_cache(stage.walk().ctx());
    return output;
  };
  EXPECT_EQ(turn(ifc({{"mtu", "1"}}), nullptr), "e0 1");
  EXPECT_EQ(turn({"/sys/ifc;name=e1", "/sys?ifc", {{"mtu", "2"}, {"x", "3"}, {"name", "\"e1\""}}}, nullptr),
            "e1 2");
  EXPECT_EQ(turn(ifc({{"mtu", "3"}}), "over"), "e0 over");
  EXPECT_EQ(turn(ifc({}), "added"), "e0 added");
}

TEST(print, dumps) {
  const test::balanced_memory balanced;
  test::print_stage stage({"", "i %s", {shows({"name"})}, {}, "", {.newline = true}}, false);
  char *text = nullptr;
  size_t size = 0;
  FILE *stream = open_memstream(&text, &size);
  zu_tvr_print_data_print(stream, 1, stage.data());
  fclose(stream);
  EXPECT_EQ(std::string(text), "\ti %s\n\tNewline: 1\n\t\n\tProp Names: name\n\t\n\t\tProps indices: 0\n");
  free(text);
}

TEST(print, has_no_context_to_walk_in) {
  test::print_stage stage({"", "x", {}, {}, ""}, false);
  const test::trace_log traces;
  EXPECT_EQ(stage.data()->walk(stage.data(), stage.scratch(), nullptr), -1);
  EXPECT_EQ(traces.text(), "3 (ERR): TVR Walk context is NULL\n");
  zu_tvr_print_data_delete(nullptr);
  zu_tvr_print_scratch_data_delete(nullptr);
}

TEST(print, survives_exhausted_memory) {
  const std::string long_text(300, 'x');
  const std::vector<print_case> cases = {
      {"plain",
       "format %s %s",
       {shows({"name", "mtu"})},
       {ifc({{"mtu", "\"" + long_text + "\""}})},
       "",
       {.condition = "(set $tvr1)", .eval = {{"tvr1", "1"}}, .defaults = true}},
      {"pending", "%s", {shows({"name"})}, {ifc({{"_pending_attrs", "\"name\""}})}, ""},
      {"location",
       "%s %s",
       {{ifc_uri,
         {{.name = "name", .kind = TVR_KIND_LOCATION},
          {.name = "name", .kind = TVR_KIND_LOCATION, .slot = 1, .field = "rack"}}}},
       {ifc({})},
       ""},
      {"no map", long_text, {}, {}, ""},
  };
  for (const auto &one : cases) test::check_exhausted(one);
}

TEST(print, is_made_whole_or_not_at_all) {
  for (uint64_t n = 1;; ++n) {
    const test::balanced_memory balanced;
    const test::trace_log traces;
    zu_tvr_props_map *map = test::map_of({"", "%s", {shows({"name", "mtu"})}, {}, ""});
    qmalloc_fail_nth(n, false);
    auto *data = zu_tvr_print_data_new("%s", map, 0, "(set $tvr1)", nullptr);
    const uint64_t fired = qmalloc_fail_fired();
    qmalloc_fail_nth(0, false);
    if (data == nullptr) {
      EXPECT_TRUE(traces.has("(ERR): Failed to allocate tovra node"));
      zu_tvr_props_map_delete(map);
    } else if (data->cond_op == nullptr) {
      EXPECT_TRUE(traces.has("(ERR): Failed to construct command operation"));
    }
    zu_tvr_print_data_delete(data);
    if (fired == 0) return;
  }
}

} // namespace
