// The walk of a print node: what no rendered example reaches, failures above all.
#include "support/print_case.hpp"
#include "support/stream_text.hpp"

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
  using uris = std::vector<test::uri_line>;
  using records = std::vector<test::record_text>;
  const uris no_map, one = {shows({"name"})}, both = {shows({"name", "mtu"})}, mtu = {shows({"mtu"})},
                     roomy = {{ifc_uri, {{.name = "name"}}, 3}},
                     below = {{"/sys/ifc;name=$/ip;net=%41", {{.name = "mask"}}}};
  const auto in = [](std::vector<test::property> properties) { return records{ifc(properties)}; };
  const auto pending = [&](const char *text) { return in({{"mtu", "9"}, {"_pending_attrs", text}}); };
  const auto location = [](const char *name, const char *field) {
    return uris{{ifc_uri, {{.name = name, .kind = TVR_KIND_LOCATION, .scheme = "DEFAULT", .field = field}}}};
  };
  const records none, plain = in({}), ip = {{"/sys/ifc;name=e0/ip;net=A", "", {{"x", "1"}}}, ifc({})};
  const print_options refused = {.refuse_nth = 1}, unparsed = {.condition = "(set"},
                      indented = {.newline = true, .indentation = 1},
                      no_arguments = {.condition = "(set $tvr1)", .condition_arguments = false};
  const std::string marker = "! The command below had failures during processing\n";
  const std::vector<print_case> cases = {
      {"room that no property fills", "%s", roomy, plain, "1 e0\n"},
      {"extra properties are read", "%s", both, in({{"mtu", "none"}}), "1 e0\n"},
      {"a default and a slot that nothing fills", "%s %s", mtu, in({{"mtu", "=1"}}),
       "-1 \n! 10000 Unable to find property\n(ERR): Missing value for property: *unknown*\n"
       "(ERR): Failed to render %s %s\n"},
      {"no such property, of a URI that reads otherwise than its template", "%s", below, ip,
       "-1 \n! 10000 Unable to find property mask on uri /sys/ifc;name=e0/ip;net=A\n"
       "(ERR): Unable to find property mask on uri /sys/ifc;name=e0/ip;net=A\n"},
      {"output refused without a map", "x", no_map, none, "-1 \n(ERR): Failed to execute output function\n",
       refused},
      {"no condition arguments", "%s", one, plain,
       "-1 \n(ERR): Failed to resolve condition\n(ERR): Failed to verify condition\n", no_arguments},
      {"no condition arguments, no map", "x", no_map, none,
       "-1 \n(ERR): Failed to resolve condition\n(ERR): Failed to verify conditions\n", no_arguments},
      {"a condition that does not parse", "%s", one, plain,
       "-1 \n! 10000 condition: group without end at column 1\n(ERR): Failed to parse condition\n"
       "(ERR): Failed to verify condition\n",
       unparsed},
      {"pending: the record itself", "i %s", one, pending("\"_uri\""), "1 \n " + marker + "\n i e0\n",
       indented},
      {"pending: not a text", "i %s", one, pending("1"), "1 i e0\n"},
      {"no such location field", "%s", location("name", "shelf"), plain,
       "-1 \n(ERR): Failed to format location to string\n"},
      {"a location that is no text", "%s", location("mtu", nullptr), in({{"mtu", "5"}}),
       "-1 \n(ERR): Failed to extract location id from value\n"},
  };
  for (const auto &given : cases) test::check(given);
}

TEST(print, takes_an_extra_property_by_its_index) {
  test::check({"",
               "%s",
               {shows({"name", "mtu"})},
               {ifc({{"mtu", "1"}})},
               "-1 \n(ERR): Property not found for index\n",
               {.alter_map = [](zu_tvr_props_map *map) { map->extra_props->slot = 9; }}});
}

// One scratch record for two nodes, and what the walk is asked for between two lines.
TEST(print, remembers_nothing_of_another_line_and_no_secret) {
  const test::balanced_memory balanced;
  const std::vector<test::record_text> records = {ifc({{"mtu", "1"}, {"key", "{\"PasswordString\":\"s\"}"}})};
  test::print_stage one({"", "%s", {shows({"name"})}, records, ""}, true);
  test::print_stage other(
      {"", "%s %s %s", {shows({"mtu", "name", "key"})}, records, "", {.arguments = {{"x", "1"}}}}, true);
  EXPECT_EQ(one.run().text(), "1 e0\n");
  EXPECT_EQ(other.run(one.scratch()).text(), "1 1 e0 s\n");
  zu_do_properties_set_int(other.arguments(), "_in_show_tech", 1);
  EXPECT_EQ(other.run(one.scratch()).text(), "1 1 e0 <removed>\n");
  EXPECT_EQ(one.run().text(), "1 e0\n");
  for (int i = 0; i < 20; ++i) { // plans that are made where others were
    const bool wide = i % 2 != 0;
    test::print_stage next(
        {"",
         wide ? "%s %s" : "%s",
         {shows(wide ? std::vector<std::string>{"name", "mtu"} : std::vector<std::string>{"mtu"})},
         records,
         ""},
        true);
    EXPECT_EQ(next.run(one.scratch()).text(), wide ? "1 e0 1\n" : "1 1\n");
  }
}

TEST(print, loses_no_long_line_without_a_word) {
  const std::string value(300, 'v');
  for (uint64_t nth = 1, fired = 1; fired != 0; ++nth) {
    const test::balanced_memory balanced;
    test::print_stage stage({"", "%s", {shows({"mtu"})}, {ifc({{"mtu", "\"" + value + "\""}})}, ""}, true);
    qmalloc_fail_nth(nth, false);
    const auto got = stage.run();
    fired = qmalloc_fail_fired();
    qmalloc_fail_nth(0, false);
    EXPECT_EQ(got.output, got.reports.empty() ? value : "") << nth;
  }
}

TEST(print, dumps) {
  const test::balanced_memory balanced;
  test::print_stage stage({"", "i %s", {shows({"name"})}, {}, "", {.newline = true}}, false);
  const auto dump = [&](FILE *stream) { zu_tvr_print_data_print(stream, 1, stage.data()); };
  EXPECT_EQ(test::stream_text(dump),
            "\ti %s\n\tNewline: 1\n\t\n\tProp Names: name\n\t\n\t\tProps indices: 0\n");
}

TEST(print, has_no_context_to_walk_in) {
  test::print_stage stage({"", "x", {}, {}, ""}, false);
  const test::trace_log traces;
  EXPECT_EQ(stage.data()->walk(stage.data(), stage.scratch(), nullptr), -1);
  EXPECT_EQ(traces.text(), "3 (ERR): TVR Walk context is NULL\n");
}

} // namespace
