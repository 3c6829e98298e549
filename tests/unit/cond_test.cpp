// Condition lines: the eval properties that are read out of them, and every trace of those that are not.
#include <gtest/gtest.h>

#include <string>

#include "loader/keywords.hpp"
#include "loader/record.hpp"
#include "support.h"
#include "support/objects.hpp"

namespace {

using namespace tvr::loader;

struct condition {
  zu_do_error *error = nullptr;
  load_context load{nullptr, &error};
  parse_context parse{load, nullptr, nullptr, &error, {}, new_parse_data(&error)};

  // `name=value` of each property, or "(none)".
  std::string evals() const {
    zu_do_properties *properties = parse.data->eval_props.get();
    if (properties == nullptr) return "(none)";
    std::string all;
    zu_do_iter at{};
    for (zu_do_properties_iter(properties, &at); zu_do_properties_has_next(properties, &at);) {
      zu_do_name *name = nullptr;
      zu_do_value *value = zu_do_properties_get_next(properties, &at, &name);
      all += std::string(all.empty() ? "" : " ") + zu_do_name_get_strname(name) + "=" + test::display(value);
    }
    return all;
  }
};

struct evaluated {
  const char *text;
  const char *evals;
  std::string errors; // of dropped evals: the errors before the last one, without their prefix
};

const evaluated conditions[] = {
    {R"((eval "$tvr0") (eval "{\"v\":1}"))", "tvr0=1", ""},
    {R"((and (eval  "$tvr1" )(eval "{\"v\":\"x y\"}") x) (eval"$b2")(eval "{\"v\":[1,2]}"  ))",
     "tvr1=x y b2=1,2", ""},
    // The last value of a name counts, up to its first brace.
    {R"((eval "$a") (eval "{\"v\":1}") (eval "$a") (eval "{\"v\":2} {\"v\":3}"))", "a=2", ""},
    {" x ", "(none)", "Unable to find name/value pairs"},
    // Malformed arguments; the text's end is never passed.
    {"(eval  \t ", "(none)", "Invalid eval expr|Invalid eval expression"},
    {R"((eval "$a\")", "(none)", "Cond expression unexpectedly ended|Invalid eval expression"},
    {R"((eval "\q"))", "(none)",
     "zu_do_value_from_json returned error : 10000|Decoding json expr failed|Invalid eval expression"},
    {R"((eval "$a" x))", "(none)", "eval expr incorrect : x|Invalid eval expression"},
    // Variables: the raw text counts, not the decoded one.
    {R"((eval "tvr1") (eval "{\"v\":1}"))", "(none)", "Invalid variable name"},
    {R"((eval "$1x") (eval "{\"v\":1}"))", "(none)",
     "Invalid leading char in variable name:1|Invalid variable name"},
    {R"((eval "$tvr_1") (eval "{\"v\":1}"))", "(none)", "Invalid variable name|Invalid variable name"},
    {R"((eval "$\u0061") (eval "{\"v\":1}"))", "(none)",
     "Invalid leading char in variable name:\\|Invalid variable name"},
    // Values. A good pair before a bad one is dropped with it.
    {R"((eval "$a") (eval "{\"v\":1}") (eval "$b"))", "(none)", "Found name[b] but not corresponding value"},
    {R"((eval "$a") (eval 1))", "(none)", "Invalid eval expr|Found name[a] but not corresponding value"},
    {R"((eval "$a") (eval "\u007b\"v\":1}"))", "(none)",
     "Invalid variable value in expression|Invalid value for name[a]"},
    {R"((eval "$a") (eval "{\"v\":1"))", "(none)",
     "find_end_of_json_expr unexpectedly returned NULL|Invalid value for name[a]"},
    // The search continues inside an argument's string:
    // there the quote that ends it begins the next argument.
    {R"((eval "$a") (eval "{\"v\":1} (eval ") "))", "(none)", "Invalid variable name"},
};

TEST(condition_lines, gives_its_eval_properties) {
  condition made; // each text replaces the one before
  for (const evaluated &entry : conditions) {
    SCOPED_TRACE(entry.text);
    const test::trace_log traces;
    EXPECT_TRUE(take_cond(made.parse, entry.text));
    EXPECT_EQ(made.error, nullptr);
    EXPECT_STREQ(made.parse.data->cond.get(), entry.text);
    EXPECT_EQ(made.evals(), entry.evals);
    std::string errors;
    for (const std::string &line : traces.lines()) errors += line.substr(sizeof "3 (ERR): " - 1) + "|";
    const std::string dropped = "|Failed to parse evals in Cond expr|";
    EXPECT_EQ(errors, entry.errors.empty() ? "" : entry.errors + dropped);
  }
}

TEST(condition_lines, tells_what_it_found) {
  const test::trace_log traces(6);
  condition made;
  EXPECT_TRUE(take_cond(made.parse, conditions[1].text));
  EXPECT_EQ(traces.text(), "6 (info): found_name is tvr1\n6 (info): found_name is b2\n"
                           "6 (info): Number of nodes found:2\n");
}

} // namespace
