// The line renderer: what no rendered example reaches, failures above all.
#include "support/print_case.hpp"

namespace {

using test::print_case;

// A record that a static URI names.
std::vector<test::record_text> thing(std::vector<test::property> properties) {
  return {{"/t", "", properties}};
}

std::vector<test::uri_line> shows(std::vector<test::shown_property> properties) {
  return {{"/t", properties}};
}

const std::string no_line = "(ERR): Failed to render ";

// The pair of an element and its index, as one token of a template's properties makes it.
std::vector<test::uri_line> pair(bool multiline, bool independent) {
  return shows({{"v", TVR_KIND_ARRAY_ELEMENT, 0, "x", multiline, independent},
                {"v", TVR_KIND_ARRAY_INDEX, 1, "y", multiline, independent, 0}});
}

TEST(line, shows_values) {
  const auto values = thing({{"a", "1"}, {"e", "\"\""}, {"p", "{\"PasswordString\":\"\"}"}, {"l", "[1,2]"}});
  const auto broken = thing({{"v", "\"a\\nb\""}});
  const test::print_options show_tech = {.arguments = {{"_in_show_tech", "1"}}}, one_slot = {.slots = 1},
                            mapped = {.value_map = {{"a\\x0Ab", "two"}}};
  const print_case cases[] = {
      {"a map names the text as it would be shown", "%s", shows({{"v"}}), broken, "1 two\n", mapped},
      {"an empty value drops the line", "%s[%s]", shows({{"a"}, {"e", TVR_KIND_PLAIN, 1}}), values,
       "1 \n(ERR): Render value empty string '1[' - stop\n"},
      {"more slots than the map has", "%s %s", shows({{"a"}}), values,
       "-1 \n! 10000 Unable to find property\n(ERR): Missing value for property: *unknown*\n" + no_line +
           "%s %s\n",
       one_slot},
      {"an empty password", "%s", shows({{"p"}}), values, "1 <removed>\n", show_tech},
      {"a pass of its own for every element", "%s %s %s",
       shows({{"p"}, {"l", TVR_KIND_ARRAY_ELEMENT, 1, nullptr, true}, {"a", TVR_KIND_PLAIN, 2}}), values,
       "1 <removed> 1 1<removed> 2 1\n", show_tech},
  };
  for (const auto &one : cases) test::check(one);
}

TEST(line, lays_arrays_out) {
  const char *format = "a %s b %s c;";
  const auto pq = thing({{"v", "[\"p\",\"q\"]"}, {"z", "9"}});
  const auto failed = [&](const std::string &reported, const std::string &traced) {
    return "-1 \n! 10000 " + reported + "\n" + traced + no_line + format + "\n";
  };
  const std::string no_array = "Failed to extract array from value";
  const std::string not_inline = "Failed to process array-type property";
  const test::print_options refused = {.refuse_nth = 2},
                            untested = {.condition = "(set $tvr0)", .condition_arguments = false};
  const print_case cases[] = {
      {"a line each, independent", format, pair(true, true), pq, "1 a xp b y0 c;a xq b y1 c;\n"},
      {"a value between", "%s %s %s;",
       shows({{"v", TVR_KIND_ARRAY_ELEMENT, 0},
              {"z", TVR_KIND_PLAIN, 1},
              {"v", TVR_KIND_ARRAY_INDEX, 2, nullptr, false, false, 0}}),
       pq, "1 p 9 0 q 9 1;\n"},
      {"without partner in one line", "%s;", shows({{"v", TVR_KIND_ARRAY_ELEMENT}}), pq, "1 p;p; q;\n"},
      {"sparse, independent", format, pair(false, true), thing({{"v", "[\"p\",null,\"r\"]"}}),
       failed(not_inline,
              "(ERR): Sparse arrays are not allowed without indexes\n(ERR): " + not_inline + "\n")},
      {"no array, independent", format, pair(false, true), thing({{"v", "5"}}),
       failed(not_inline, "(ERR): Failed to get array from value (rc=10000)\n(ERR): " + not_inline + "\n")},
      {"the partner is shorter", format,
       shows({{"v", TVR_KIND_ARRAY_INDEX, 0, "y"}, {"w", TVR_KIND_ARRAY_ELEMENT, 1, "x", false, false, 0}}),
       thing({{"v", "[1,2]"}, {"w", "[1]"}}),
       "-1 a y0 b x1 c;\n! 10000 Failed to extract item from array\n"
       "(ERR): Failed to extract item 1 from array\n(ERR): Recursive rendering failed\n" +
           no_line + format + "\n"},
      {"the partner is no array", format,
       shows({{"v", TVR_KIND_ARRAY_ELEMENT, 0, "x"}, {"w", TVR_KIND_ARRAY_INDEX, 1, "y", false, false, 0}}),
       thing({{"v", "[1,2]"}, {"w", "1"}}),
       failed(no_array, "(ERR): " + no_array + "\n(ERR): Recursive rendering failed\n")},
      {"output refused in the second line", format, pair(true, false), pq,
       "-1 a xp b y0 c;\n(ERR): Failed to execute output function\n(ERR): Recursive rendering failed\n" +
           no_line + format + "\n",
       refused},
      {"the condition cannot be tested", format, pair(true, false), pq,
       "-1 \n(ERR): Failed to resolve condition\n(ERR): Failed to verify conditions\n"
       "(ERR): Recursive rendering failed\n" +
           no_line + format + "\n",
       untested},
  };
  for (const auto &one : cases) test::check(one);
}

// What no template makes, but another builder of maps may.
TEST(line, renders_broken_items_without_harm) {
  const std::string invalid = "-1 \n! 10000 Invalid type\n(ERR): Invalid type\n" + no_line + "%s\n";
  const auto value = thing({{"v", "1"}});
  const print_case cases[] = {
      {"an element without array data",
       "%s",
       shows({{"v"}}),
       value,
       invalid,
       {.alter_map = [](auto *map) { map->fmt_items[0]->kind = TVR_KIND_ARRAY_ELEMENT; }}},
      {"an unknown kind",
       "%s",
       shows({{"v"}}),
       value,
       invalid,
       {.alter_map = [](auto *map) { map->fmt_items[0]->kind = 9; }}},
      {"a partner beyond the slots",
       "%s",
       pair(true, false),
       thing({{"v", "[1]"}}),
       "1 x1\n",
       {.condition = "(eq $tvr5 0)",
        .slots = 2,
        .alter_map =
            [](auto *map) { static_cast<zu_tvr_array_data *>(map->fmt_items[0]->data)->partner = 5; }}},
  };
  for (const auto &one : cases) test::check(one);
}

} // namespace
