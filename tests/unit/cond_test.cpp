// Condition lines: the eval properties that are read out of them, and every trace of those that are not.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "loader/cond.hpp"
#include "loader/record.hpp"
#include "qmalloc/qmalloc.h"
#include "support.h"
#include "support/objects.hpp"

namespace {

using namespace tvr::loader;
using lines = std::vector<std::string>;

struct condition {
  zu_do_error *error = nullptr;
  parse_context parse{nullptr, nullptr, &error, {}, new_parse_data(&error)};

  bool take(const std::string &value) { return take_cond(parse, value.c_str()); }
  // `name=value` of each property, or "(none)".
  std::string evals() const {
    zu_do_properties *properties = parse.data->eval_props.get();
    if (properties == nullptr) return "(none)";
    std::string all;
    zu_do_iter at{};
    for (zu_do_properties_iter(properties, &at); zu_do_properties_has_next(properties, &at);) {
      zu_do_name *name = nullptr;
      zu_do_value *value = zu_do_properties_get_next(properties, &at, &name);
      const char *type = zu_do_value_get_typedef_name(value);
      all +=
          (all.empty() ? "" : " ") + std::string(zu_do_name_get_strname(name)) + "=" + test::display(value);
      if (type != nullptr) all += std::string(":") + type;
    }
    return all;
  }
};

constexpr char dropped[] = "3 (ERR): Failed to parse evals in Cond expr";

struct evaluated {
  const char *text;
  const char *evals;
  lines traces; // up to level 6; those of a dropped one end with one line more
};

const evaluated conditions[] = {
    {R"((eval "$tvr0") (eval "{\"v\":1}"))",
     "tvr0=1",
     {"6 (info): found_name is tvr0", "6 (info): Number of nodes found:1"}},
    {R"((and (eval  "$tvr1" )(eval "{\"T\":\"x y\"}") x) (eval"$b2")(eval "{\"v\":[1,2]}"  ))",
     "tvr1=x y:T b2=1,2",
     {"6 (info): found_name is tvr1", "6 (info): found_name is b2", "6 (info): Number of nodes found:2"}},
    {R"((eval "$a") (eval "{\"v\":1}") (eval "$a") (eval "{\"v\":2} and more"))",
     "a=2",
     {"6 (info): found_name is a", "6 (info): found_name is a", "6 (info): Number of nodes found:1"}},
    // No pairs at all.
    {"", "(none)", {"3 (ERR): Unable to find name/value pairs"}},
    {" x ", "(none)", {"3 (ERR): Unable to find name/value pairs"}},
    // Malformed arguments.
    {"(eval", "(none)", {"3 (ERR): Invalid eval expr", "3 (ERR): Invalid eval expression"}},
    {"(eval  \t ", "(none)", {"3 (ERR): Invalid eval expr", "3 (ERR): Invalid eval expression"}},
    {"(evaluate $a)", "(none)", {"3 (ERR): Invalid eval expr", "3 (ERR): Invalid eval expression"}},
    {R"((eval "$a)",
     "(none)",
     {"3 (ERR): Cond expression unexpectedly ended", "3 (ERR): Invalid eval expression"}},
    {R"((eval "$a\")",
     "(none)",
     {"3 (ERR): Cond expression unexpectedly ended", "3 (ERR): Invalid eval expression"}},
    {"(eval \"$a\\",
     "(none)",
     {"3 (ERR): Cond expression unexpectedly ended", "3 (ERR): Invalid eval expression"}},
    {R"((eval "\q"))",
     "(none)",
     {"3 (ERR): zu_do_value_from_json returned error : 10000", "3 (ERR): Decoding json expr failed",
      "3 (ERR): Invalid eval expression"}},
    {R"((eval "$a" x))", "(none)", {"3 (ERR): eval expr incorrect : x", "3 (ERR): Invalid eval expression"}},
    // Variables.
    {R"((eval "tvr1") (eval "{\"v\":1}"))", "(none)", {"3 (ERR): Invalid variable name"}},
    {R"((eval "$1x") (eval "{\"v\":1}"))",
     "(none)",
     {"3 (ERR): Invalid leading char in variable name:1", "3 (ERR): Invalid variable name"}},
    {R"((eval "$"))",
     "(none)",
     {"3 (ERR): Invalid leading char in variable name:\"", "3 (ERR): Invalid variable name"}},
    {R"((eval "$tvr_1") (eval "{\"v\":1}"))",
     "(none)",
     {"3 (ERR): Invalid variable name", "3 (ERR): Invalid variable name"}},
    {R"((eval "$\u0061") (eval "{\"v\":1}"))", // the raw text counts, not the decoded one
     "(none)",
     {"3 (ERR): Invalid leading char in variable name:\\", "3 (ERR): Invalid variable name"}},
    // Values.
    {R"((eval "$a"))",
     "(none)",
     {"6 (info): found_name is a", "3 (ERR): Found name[a] but not corresponding value"}},
    {R"((eval "$a") (eval 1))",
     "(none)",
     {"6 (info): found_name is a", "3 (ERR): Invalid eval expr",
      "3 (ERR): Found name[a] but not corresponding value"}},
    {R"((eval "$a") (eval "1"))",
     "(none)",
     {"6 (info): found_name is a", "3 (ERR): Invalid variable value in expression",
      "3 (ERR): Invalid value for name[a]"}},
    {R"((eval "$a") (eval "\u007b\"v\":1}"))",
     "(none)",
     {"6 (info): found_name is a", "3 (ERR): Invalid variable value in expression",
      "3 (ERR): Invalid value for name[a]"}},
    {R"((eval "$a") (eval "{\"v\":1"))",
     "(none)",
     {"6 (info): found_name is a", "3 (ERR): find_end_of_json_expr unexpectedly returned NULL",
      "3 (ERR): Invalid value for name[a]"}},
    // A good pair before a bad one is dropped with it.
    {R"((eval "$a") (eval "{\"v\":1}") (eval "$b"))",
     "(none)",
     {"6 (info): found_name is a", "6 (info): found_name is b",
      "3 (ERR): Found name[b] but not corresponding value"}},
    // The search goes on inside an argument's string, where a quote that ends it opens the next argument.
    {R"((eval "$a") (eval "{\"v\":1} (eval ") "))",
     "(none)",
     {"6 (info): found_name is a", "3 (ERR): Invalid variable name"}},
};

TEST(Condition, GivesItsEvalProperties) {
  for (const evaluated &entry : conditions) {
    SCOPED_TRACE(entry.text);
    const test::balanced_memory balanced;
    condition made;
    const test::trace_log traces(6);
    EXPECT_TRUE(made.take(entry.text));
    EXPECT_EQ(made.error, nullptr);
    EXPECT_STREQ(made.parse.data->cond.get(), entry.text);
    EXPECT_EQ(made.evals(), entry.evals);
    lines expected = entry.traces;
    if (made.evals() == "(none)") expected.push_back(dropped);
    EXPECT_EQ(traces.lines(), expected);
  }
}

TEST(Condition, CutsTheValueAtItsFirstBrace) {
  condition made;
  const test::trace_log traces;
  EXPECT_TRUE(made.take(R"((eval "$a") (eval "{\"a\":{\"b\":1}}"))")); // decoded: {"a":{"b":1}
  EXPECT_EQ(made.evals(), "(none)");
  ASSERT_EQ(traces.lines().size(), 3u) << traces.text(); // the first is the decoder's own message
  EXPECT_EQ(traces.lines()[1], "3 (ERR): Invalid value for name[a]");
  EXPECT_EQ(traces.lines()[2], dropped);
}

TEST(Condition, IsReplacedByALaterOne) {
  const test::balanced_memory balanced;
  condition made;
  EXPECT_TRUE(made.take(R"((eval "$a") (eval "{\"v\":1}"))"));
  EXPECT_TRUE(made.take(R"((eval "$b") (eval "{\"v\":2}"))"));
  EXPECT_EQ(made.evals(), "b=2");
  EXPECT_TRUE(made.take("x"));
  EXPECT_EQ(made.evals(), "(none)");
}

TEST(Condition, SurvivesEachFailedAllocation) {
  const std::string text = R"((eval "$a") (eval "{\"v\":\"x\"}") (eval "$c") (eval "{\"v\":1}"))";
  uint64_t n = 1;
  for (bool fired = true; fired; ++n) {
    SCOPED_TRACE("allocation " + std::to_string(n));
    const test::balanced_memory balanced;
    condition made;
    const test::trace_log traces;
    qmalloc_fail_nth(n, false);
    const bool taken = made.take(text);
    fired = qmalloc_fail_fired() > 0;
    qmalloc_fail_nth(0, false);
    if (!taken) {
      EXPECT_EQ(zu_do_error_get_code(made.error), 10002);
    } else if (fired) {
      EXPECT_EQ(traces.lines().back(), dropped);
    }
    EXPECT_EQ(made.evals(), fired ? "(none)" : "a=x c=1");
    zu_do_error_deref(made.error);
  }
  EXPECT_GT(n, 6u);
}

} // namespace
