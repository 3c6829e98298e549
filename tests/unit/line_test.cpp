// The line renderer: how values of each kind stand in a line, arrays in all layouts, and its failures.
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

// ---- Plain values ----

TEST(line, shows_plain_values) {
  const auto case_of = [](const char *value, const std::string &expected) {
    return print_case{value, "v %s.", shows({{"v"}}), thing({{"v", value}}), "1 v " + expected + ".\n"};
  };
  const print_case cases[] = {
      case_of("\"word\"", "word"),
      case_of("-12", "-12"),
      case_of("18446744073709551615", "18446744073709551615"),
      case_of("1.5", "1.5"),
      case_of("false", "false"),
      case_of("\"a b\"", "\"a b\""),
      case_of("\"a\\tb\"", "\"a\tb\""),
      case_of("\"!x\"", "\"!x\""),
      case_of("\"x!\"", "x!"),
      case_of("\"say \\\"hi\\\"\"", "\"say \\\"hi\\\"\""),
      case_of("\"\\\"\\\"\"", "\\\"\\\""),
      case_of("\"a\\nb\\u007f\"", "a\\x0Ab\\x7F"),
      case_of("{\"Text\":\"a\\nb\"}", "a\nb"),
      case_of("[1,2,\"x y\"]", "1 2 \"x y\""),
      case_of("[]", ""),
  };
  for (const auto &one : cases) test::check(one);
}

TEST(line, maps_values) {
  const auto case_of = [](const char *value, const std::string &expected) {
    return print_case{
        value,
        "v %s",
        shows({{"v"}}),
        thing({{"v", value}}),
        expected,
        {.value_map = {{"true", "on"}, {"7", "!seven \"7\""}, {"gone", ""}, {"a\\x0Ab", "two"}}}};
  };
  const print_case cases[] = {
      case_of("true", "1 v on\n"),
      case_of("7", "1 v !seven \"7\"\n"),
      case_of("\"a b\"", "1 v a b\n"),
      case_of("\"a\\nb\"", "1 v two\n"),
      case_of("[true,7]", "1 v on !seven \"7\"\n"),
      case_of("\"gone\"", "1 \n(ERR): Render value empty string 'v ' - stop\n"),
  };
  for (const auto &one : cases) test::check(one);
}

TEST(line, reads_its_format) {
  const auto two = shows({{"a"}, {"b", TVR_KIND_PLAIN, 1}});
  const auto values = thing({{"a", "1"}, {"b", "\"\""}});
  const print_case cases[] = {
      {"a percent before a slot", "%%s %d %", shows({{"a"}}), values, "1 %1 %d %\n"},
      {"slots side by side", "%s%s", shows({{"a"}, {"a", TVR_KIND_PLAIN, 1}}), values, "1 11\n"},
      {"an empty value drops the line", "%s[%s]", two, values,
       "1 \n(ERR): Render value empty string '1[' - stop\n"},
      {"null shows as no text", "%s", shows({{"n"}}), thing({{"n", "null"}}),
       "1 \n(ERR): Render value empty string '' - stop\n"},
      {"more slots than the map has",
       "%s %s",
       shows({{"a"}}),
       values,
       "-1 \n! 10000 Unable to find property\n(ERR): Missing value for property: *unknown*\n" + no_line +
           "%s %s\n",
       {.slots = 1}},
      {"a slot without a value",
       "%s %s",
       {{"/t", {{"a"}}}, {"/t", {}, 1}},
       values,
       "-1 \n! 10000 Unable to find property\n(ERR): Missing value for property: *unknown*\n" + no_line +
           "%s %s\n"},
  };
  for (const auto &one : cases) test::check(one);
}

TEST(line, hides_passwords_in_show_tech) {
  const auto values = thing({{"a", "1"}, {"p", "{\"PasswordString\":\"x\"}"}, {"l", "[1,2]"}});
  const auto shown =
      shows({{"a"}, {"p", TVR_KIND_PLAIN, 1}, {"a", TVR_KIND_PLAIN, 2}, {"l", TVR_KIND_PLAIN, 3}});
  const char *format = "%s p %s %s %s";
  const print_case cases[] = {
      {"outside", format, shown, values, "1 1 p x 1 1 2\n"},
      {"another number", format, shown, values, "1 1 p x 1 1 2\n", {.arguments = {{"_in_show_tech", "2"}}}},
      {"inside",
       format,
       shown,
       values,
       "1 1 p <removed> <removed> 1 2\n",
       {.arguments = {{"_in_show_tech", "1"}}}},
      {"an empty one",
       "%s",
       shows({{"p"}}),
       thing({{"p", "{\"PasswordString\":\"\"}"}}),
       "1 <removed>\n",
       {.arguments = {{"_in_show_tech", "1"}}}},
      {"a pass of its own for every element",
       "%s %s %s",
       shows({{"p"}, {"l", TVR_KIND_ARRAY_ELEMENT, 1, nullptr, true}, {"a", TVR_KIND_PLAIN, 2}}),
       values,
       "1 <removed> 1 1<removed> 2 1\n",
       {.arguments = {{"_in_show_tech", "1"}}}},
  };
  for (const auto &one : cases) test::check(one);
}

// ---- Arrays ----

// The pair of an element and its index, as one token of a template's properties makes it.
std::vector<test::uri_line> pair(bool multiline, bool independent) {
  return shows({{"v", TVR_KIND_ARRAY_ELEMENT, 0, "x", multiline, independent},
                {"v", TVR_KIND_ARRAY_INDEX, 1, "y", multiline, independent, 0}});
}

TEST(line, lays_arrays_out) {
  const char *format = "a %s b %s c;";
  const auto pq = thing({{"v", "[\"p\",\"q\"]"}, {"z", "9"}});
  const auto sparse = thing({{"v", "[\"p\",null,\"r\"]"}});
  const std::string inline_failed = "(ERR): Failed to process array-type property\n" + no_line;
  const auto reversed = [](bool multiline) {
    return shows({{"v", TVR_KIND_ARRAY_INDEX, 0, "y", multiline},
                  {"v", TVR_KIND_ARRAY_ELEMENT, 1, "x", multiline, false, 0}});
  };
  const print_case cases[] = {
      {"a line each", format, pair(true, false), pq, "1  a xp b y0 c; a xq b y1 c;\n", {.indentation = 1}},
      {"a line each, independent", format, pair(true, true), pq, "1 a xp b y0 c;a xq b y1 c;\n"},
      {"in one line", format, pair(false, false), pq, "1 a xp b y0 xq b y1 c;\n"},
      {"independent", format, pair(false, true), pq, "1 a xp xq b y0 y1 c;\n"},
      {"the index first, a line each", format, reversed(true), pq, "1 a y0 b xp c;a y1 b xq c;\n"},
      {"the index first, in one line", format, reversed(false), pq, "1 a y0 b xp y1 b xq c;\n"},
      {"sparse, a line each", format, pair(true, false), sparse, "1 a xp b y0 c;a xr b y2 c;\n"},
      {"sparse, in one line", format, pair(false, false), sparse, "1 a xp b y0 xr b y2 c;\n"},
      {"sparse, independent", format, pair(false, true), sparse,
       "-1 \n! 10000 Failed to process array-type property\n(ERR): Sparse arrays are not allowed without "
       "indexes\n" +
           inline_failed + format + "\n"},
      {"sparse, plain", "%s", shows({{"v"}}), sparse,
       "-1 \n! 10000 Failed to process array-type property\n(ERR): Sparse arrays are not allowed without "
       "indexes\n" +
           inline_failed + "%s\n"},
      {"empty, a line each", format, pair(true, false), thing({{"v", "[]"}}), "1 \n"},
      {"empty, in one line", format, pair(false, false), thing({{"v", "[]"}}), "1 \n"},
      {"empty, independent", format, pair(false, true), thing({{"v", "[]"}}), "1 a  b  c;\n"},
      {"a value between", "%s %s %s;",
       shows({{"v", TVR_KIND_ARRAY_ELEMENT, 0},
              {"z", TVR_KIND_PLAIN, 1},
              {"v", TVR_KIND_ARRAY_INDEX, 2, nullptr, false, false, 0}}),
       pq, "1 p 9 0 q 9 1;\n"},
      {"no array, a line each", format, pair(true, false), thing({{"v", "5"}}),
       "-1 \n! 10000 Failed to extract array from value\n(ERR): Failed to extract array from value\n" +
           no_line + format + "\n"},
      {"no array, independent", format, pair(false, true), thing({{"v", "5"}}),
       "-1 \n! 10000 Failed to process array-type property\n(ERR): Failed to get array from value "
       "(rc=10000)\n" +
           inline_failed + format + "\n"},
      {"the partner is shorter", format,
       shows({{"v", TVR_KIND_ARRAY_INDEX, 0, "y"}, {"w", TVR_KIND_ARRAY_ELEMENT, 1, "x", false, false, 0}}),
       thing({{"v", "[1,2]"}, {"w", "[1]"}}),
       "-1 a y0 b x1 c;\n! 10000 Failed to extract item from array\n"
       "(ERR): Failed to extract item 1 from array\n(ERR): Recursive rendering failed\n" +
           no_line + format + "\n"},
      {"the partner is no array", format,
       shows({{"v", TVR_KIND_ARRAY_ELEMENT, 0, "x"}, {"w", TVR_KIND_ARRAY_INDEX, 1, "y", false, false, 0}}),
       thing({{"v", "[1,2]"}, {"w", "1"}}),
       "-1 \n! 10000 Failed to extract array from value\n(ERR): Failed to extract array from value\n"
       "(ERR): Recursive rendering failed\n" +
           no_line + format + "\n"},
      {"output refused in the second line",
       format,
       pair(true, false),
       pq,
       "-1 a xp b y0 c;\n(ERR): Failed to execute output function\n(ERR): Recursive rendering failed\n" +
           no_line + format + "\n",
       {.refuse_nth = 2}},
      {"marked lines", "%s", shows({{"v", TVR_KIND_ARRAY_ELEMENT, 0, nullptr, true}}),
       thing({{"v", "[1,2]"}, {"_pending_attrs", "\"v\""}}),
       "1 ! The command below had failures during processing\n1"
       "! The command below had failures during processing\n2\n"},
  };
  for (const auto &one : cases) test::check(one);
}

TEST(line, tests_the_condition_of_every_line) {
  const char *format = "%s %s;";
  const auto pq = thing({{"v", "[\"p\",\"q\",\"p\"]"}});
  const print_case cases[] = {
      {"by element", format, pair(true, false), pq, "1 xp y0;xp y2;\n", {"(eq $tvr0 \"p\")"}},
      {"by index", format, pair(true, false), pq, "1 xq y1;xp y2;\n", {"(gt $tvr1 0)"}},
      {"of the last element in one line",
       format,
       pair(false, false),
       pq,
       "1 xp y0 xq y1 xp y2;\n",
       {"(eq $tvr1 2)"}},
      {"not of the others", format, pair(false, false), pq, "1 \n", {"(eq $tvr1 1)"}},
      {"of the whole array",
       format,
       pair(false, true),
       thing({{"v", "[\"p\"]"}}),
       "1 xp y0;\n",
       {"(set $tvr0)"}},
      {"cannot be tested",
       format,
       pair(true, false),
       pq,
       "-1 \n(ERR): Failed to resolve condition\n(ERR): Failed to verify conditions\n"
       "(ERR): Recursive rendering failed\n" +
           no_line + format + "\n",
       {.condition = "(set $tvr0)", .condition_arguments = false}},
  };
  for (const auto &one : cases) test::check(one);
}

TEST(line, limits_arrays_inside_one_another) {
  const auto nested = [](int depth, const std::string &expected) {
    print_case made{"", "", {{"/t", {}}}, thing({{"v", "[1]"}}), expected};
    for (int i = 0; i < depth; ++i) {
      made.format += "%s";
      made.uris[0].properties.push_back({"v", TVR_KIND_ARRAY_ELEMENT, i, nullptr, true});
    }
    return made;
  };
  test::check(nested(64, "1 " + std::string(64, '1') + "\n"));
  print_case deeper = nested(65, "");
  test::print_stage stage(deeper, false);
  const auto got = stage.run(4);
  EXPECT_EQ(got.step, -1);
  EXPECT_EQ(got.reports, "! 10000 Array expansion nested too deep\n");
}

// What no template makes, but another builder of maps may.
TEST(line, renders_broken_items_without_harm) {
  const print_case given = {"", "%s", shows({{"v"}}), thing({{"v", "1"}}), ""};
  for (const int32_t kind : {2, 3, 9}) {
    test::print_stage stage(given, false);
    stage.data()->props_map->fmt_items[0]->kind = kind;
    EXPECT_EQ(stage.run(4).text(), "-1 \n! 10000 Invalid type\n(ERR): Invalid type\n" + no_line + "%s\n");
  }
  test::print_stage stage(
      {"", "%s", pair(true, false), thing({{"v", "[1]"}}), "", {.condition = "(eq $tvr5 0)", .slots = 2}},
      false);
  static_cast<zu_tvr_array_data *>(stage.data()->props_map->fmt_items[0]->data)->partner = 5;
  EXPECT_EQ(stage.run(4).text(), "1 x1\n");
}

TEST(line, survives_exhausted_memory) {
  const std::string long_text(300, 'x');
  const print_case cases[] = {
      {"a line each",
       long_text + "%s %s",
       pair(true, false),
       thing({{"v", "[1,\"a\\nb\"]"}}),
       "",
       {.condition = "(set $tvr0)", .newline = true}},
      {"in one line", "%s %s", pair(false, false), thing({{"v", "[\"" + long_text + "\",2]"}}), ""},
      {"inline", "%s %s", pair(false, true), thing({{"v", "[1,\"\\n\"]"}}), ""},
      {"marked", "%s", shows({{"v"}}),
       thing({{"v", "\"" + long_text + "\\n\""}, {"_pending_attrs", "\"v\""}}), ""},
      {"mapped", "%s", shows({{"v"}}), thing({{"v", "\"a\\nb\""}}), "", {.value_map = {{"x", "y"}}}},
  };
  for (const auto &one : cases) test::check_exhausted(one);

  // A value that cannot be mapped is told.
  test::print_stage stage({"", "%s", shows({{"v"}}), thing({{"v", "\"\\n\""}}), ""}, true);
  stage.run(0);
  qmalloc_fail_nth(1, false);
  const auto got = stage.run(4);
  qmalloc_fail_nth(0, false);
  EXPECT_EQ(got.step, -1);
  EXPECT_EQ(got.reports, "! 10000 Failed to map value\n");
}

} // namespace
