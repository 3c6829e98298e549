// The walk of a print node: which records and values make a line, its condition, and what is skipped.
#include <cstdio>

#include "support/print_case.hpp"

namespace {

using test::print_case;

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

const std::string no_ifc = "(ERR): no match for /sys?ifc\n(ERR): Could not find props for URI resolution\n"
                           "(ERR): Failed to resolve one or more keys in URI\n";

TEST(print, gathers_values) {
  const std::vector<print_case> cases = {
      {"without a map the format stands", "100%s %s", {}, {}, "1   100%s %s\n", {.indentation = 2}},
      {"a newline comes first", "exit", {}, {}, "1 \n exit\n", {.newline = true, .indentation = 1}},
      {"two values",
       "ifc %s mtu %s.",
       {shows({"name", "mtu"})},
       {ifc({{"mtu", "1500"}})},
       "1 ifc e0 mtu 1500.\n"},
      {"two records",
       "%s/%s",
       {{"/sys", {{.name = "host"}}}, {ifc_uri, {{.name = "name", .slot = 1}}}},
       {{"/sys", "", {{"host", "\"r1\""}}}, ifc({})},
       "1 r1/e0\n"},
      {"a collection answers by its own URI", "%s", {{"/sys?ifc", {{.name = "name"}}}}, {ifc({})}, "1 e0\n"},
      {"room that no property fills", "%s", {{ifc_uri, {{.name = "name"}}, 3}}, {ifc({})}, "1 e0\n"},
      {"extra properties are read",
       "%s",
       {shows({"name", "mtu", "up"})},
       {ifc({{"mtu", "none"}, {"up", "true"}})},
       "1 e0\n"},
      {"more than the usual number of slots",
       "%s%s%s%s%s%s%s%s%s%s%s%s%s%s%s%s%s%s",
       {shows(std::vector<std::string>(18, "a"))},
       {ifc({{"a", "1"}})},
       "1 111111111111111111\n"},
      {"nothing in scope", "%s", {shows({"name"})}, {}, "0 \n" + no_ifc},
      {"its record is not in scope", "%s", {{"/other", {{.name = "name"}}}}, {ifc({})}, "0 \n"},
      {"some records are missing",
       "%s%s",
       {{"/sys", {{.name = "host"}}}, shows({"name"}, 1), {"/x", {{.name = "y", .slot = 2}}}},
       {ifc({})},
       "-1 \n! 10000 Property cache is incomplete\n(ERR): Property cache is incomplete\n"},
      {"no such property",
       "%s",
       {shows({"speed"})},
       {ifc({})},
       "-1 \n! 10000 Unable to find property speed on uri /sys/ifc;name=e0\n"
       "(ERR): Unable to find property speed on uri /sys/ifc;name=e0\n"},
      {"no such extra property",
       "%s",
       {shows({"name", "speed"})},
       {ifc({})},
       "-1 \n! 10000 Unable to find property speed on uri /sys/ifc;name=e0\n"
       "(ERR): Unable to find property speed on uri /sys/ifc;name=e0\n"},
      {"a value without type", "%s %s", {shows({"name", "mtu"})}, {ifc({{"mtu", "none"}})}, "0 \n"},
      {"output refused",
       "%s",
       {shows({"name"})},
       {ifc({})},
       "-1 \n(ERR): Failed to execute output function\n(ERR): Failed to render %s\n",
       {.refuse_nth = 1}},
      {"output refused without a map",
       "x",
       {},
       {},
       "-1 \n(ERR): Failed to execute output function\n",
       {.refuse_nth = 1}},
  };
  for (const auto &one : cases) test::check(one);
}

TEST(print, leaves_defaults_out_unless_asked_for) {
  const std::vector<test::uri_line> two = {shows({"mtu", "up"})};
  const auto cases = {
      print_case{"all default", "mtu %s %s", two, {ifc({{"mtu", "=1500"}, {"up", "=true"}})}, "1 \n"},
      print_case{
          "one is not", "mtu %s %s", two, {ifc({{"mtu", "=1500"}, {"up", "true"}})}, "1 mtu 1500 true\n"},
      print_case{"asked for",
                 "mtu %s %s",
                 two,
                 {ifc({{"mtu", "=1500"}, {"up", "=true"}})},
                 "1 mtu 1500 true\n",
                 {.defaults = true}},
      print_case{
          "no values at all", "on", {shows({"mtu"})}, {ifc({{"mtu", "=1500"}})}, "1 on\n", {.slots = 0}},
      print_case{"a slot that nothing fills",
                 "%s %s",
                 {shows({"mtu"})},
                 {ifc({{"mtu", "=1"}})},
                 "-1 \n! 10000 Unable to find property\n(ERR): Missing value for property: *unknown*\n"
                 "(ERR): Failed to render %s %s\n"},
  };
  for (const auto &one : cases) test::check(one);
}

TEST(print, checks_its_condition) {
  const std::vector<test::uri_line> two = {shows({"name", "mtu"})};
  const std::vector<test::record_text> big = {ifc({{"mtu", "9000"}})};
  const std::vector<test::record_text> usual = {ifc({{"mtu", "=1500"}})};
  const char *mtu_set = "(set $tvr1)";
  const auto with_eval = [&](const char *name, const char *value) {
    return test::print_options{.condition = mtu_set, .eval = {{name, value}}, .defaults = true};
  };
  const test::print_options lost = {.condition = mtu_set, .condition_arguments = false};
  const auto cases = {
      print_case{"holds", "%s", two, big, "1 e0\n", {"(gt $tvr1 1500)"}},
      print_case{"does not hold", "%s", two, big, "0 \n", {"(gt $tvr1 9000)"}},
      print_case{"of a format item", "%s", two, big, "1 e0\n", {"(eq $tvr0 \"e0\")"}},
      print_case{"without a map", "x", {}, {}, "0 \n", {mtu_set}},
      print_case{"a default counts as null", "%s", two, usual, "0 \n", {mtu_set}},
      print_case{"defaults rendered", "%s", two, usual, "1 e0\n", {.condition = mtu_set, .defaults = true}},
      print_case{"eval: not named", "%s", two, usual, "0 \n", with_eval("tvr7", "1")},
      print_case{"eval: null", "%s", two, usual, "0 \n", with_eval("tvr1", "null")},
      print_case{"eval: a value", "%s", two, usual, "1 e0\n", with_eval("tvr1", "3")},
      print_case{"eval: not asked without defaults",
                 "%s",
                 two,
                 big,
                 "1 e0\n",
                 {.condition = mtu_set, .eval = {{"tvr7", "1"}}}},
      print_case{"no condition arguments", "%s", two, big,
                 "-1 \n(ERR): Failed to resolve condition\n(ERR): Failed to verify condition\n", lost},
      print_case{"no condition arguments, no map",
                 "x",
                 {},
                 {},
                 "-1 \n(ERR): Failed to resolve condition\n(ERR): Failed to verify conditions\n",
                 lost},
  };
  for (const auto &one : cases) test::check(one);
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

TEST(print, marks_lines_of_records_with_pending_failures) {
  const std::string marker = "! The command below had failures during processing\n";
  const std::vector<test::uri_line> two = {shows({"name", "mtu"})};
  const auto with = [&](const char *pending) {
    return std::vector<test::record_text>{ifc({{"mtu", "9"}, {"_pending_attrs", pending}})};
  };
  const auto cases = {
      print_case{"of the line",
                 "i %s %s",
                 two,
                 with("\"{\\\"mtu\\\":1}\""),
                 "1  " + marker + " i e0 9\n",
                 {.indentation = 1}},
      print_case{"of a property without slot", "i %s", two, with("\"a:mtu\""), "1 " + marker + "i e0\n"},
      print_case{"of the record",
                 "i %s",
                 two,
                 with("\"_uri\""),
                 "1 \n " + marker + "\n i e0\n",
                 {.newline = true, .indentation = 1}},
      print_case{"of another property", "i %s", two, with("\"@speed}\""), "1 i e0\n"},
      print_case{"inside a longer name", "i %s", two, with("\"\\\"my mtu\\\"\""), "1 i e0\n"},
      print_case{"not a text", "i %s", two, with("1"), "1 i e0\n"},
  };
  for (const auto &one : cases) test::check(one);
}

TEST(print, renders_locations) {
  const auto at = [](const char *id) { return std::vector<test::record_text>{ifc({{"id", id}})}; };
  const auto as = [](const char *scheme, const char *field, int slot = 0) {
    return test::shown_property{
        .name = "id", .kind = TVR_KIND_LOCATION, .slot = slot, .scheme = scheme, .field = field};
  };
  const std::string bad = "(ERR): Failed to format location to string\n";
  const auto cases = {
      print_case{"whole", "%s", {{ifc_uri, {as("DEFAULT", nullptr)}}}, at("\"1/2\""), "1 1/2\n"},
      print_case{"schemes",
                 "%s %s",
                 {{ifc_uri, {as("SLOT", nullptr), as("PORT", nullptr, 1)}}},
                 at("\"7.5.4\""),
                 "1 7/5 7/5/4/0\n"},
      print_case{"fields",
                 "%s-%s",
                 {{ifc_uri, {as("DEFAULT", "slot"), as("DEFAULT", "rack", 1)}}},
                 at("\"3-4\""),
                 "1 4-3\n"},
      print_case{
          "another form of text", "%s", {{ifc_uri, {as("DEFAULT", nullptr)}}}, at("\"here\""), "1 0\n"},
      print_case{"after a plain property",
                 "%s %s",
                 {{ifc_uri, {{.name = "name"}, as("DEFAULT", nullptr, 1)}}},
                 at("\"1/2\""),
                 "1 e0 1/2\n"},
      print_case{"no such field", "%s", {{ifc_uri, {as("DEFAULT", "shelf")}}}, at("\"1\""), "-1 \n" + bad},
      print_case{"not a text",
                 "%s",
                 {{ifc_uri, {as("DEFAULT", nullptr)}}},
                 at("5"),
                 "-1 \n(ERR): Failed to extract location id from value\n"},
  };
  for (const auto &one : cases) test::check(one);
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
  test::print_stage stage({"", "%s %s", {shows({"name", "mtu"})}, {}, ""}, true);
  const auto turn = [&](const test::record_text &text, const char *over) {
    const test::made_record record(text, true);
    if (over != nullptr) zu_do_properties_set_string(record.get(), "mtu", over);
    zu_tvr_push_props_to_cache(stage.walk().ctx(), record.get(), 0, 0);
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
