// Conditions: which texts are accepted, which are refused and where, and which conditions are true.
#include <algorithm>

#include "cli_exec/cli_exec.h"
#include "support/objects.hpp"

namespace {

using test::own_record;
using owned_op = std::unique_ptr<zu_cli_cmd_op, test::releaser<zu_cli_cmd_op_free>>;
using owned_list = std::unique_ptr<zu_cond_list, test::releaser<zu_cond_list_free>>;

struct report {
  int calls = 0;
  int32_t code = 0;
  std::string message;

  static int take(void *self, int32_t code, const char *message) {
    auto *to = static_cast<report *>(self);
    ++to->calls;
    to->code = code;
    to->message = message;
    return 0;
  }
};

owned_list parse(const char *text, report &errors) {
  zu_cond_list *list = nullptr;
  const bool parsed = parse_cond_expr_no_trailing(&errors, report::take, "TEST", text, &list);
  EXPECT_EQ(parsed, list != nullptr) << text;
  EXPECT_EQ(errors.calls, parsed ? 0 : 1) << text;
  return owned_list(list);
}

owned_op operation(const char *text) {
  report errors;
  owned_list list = parse(text, errors);
  EXPECT_NE(list, nullptr) << text << ": " << errors.message;
  zu_cli_cmd_op *op = zu_cli_cmd_op_new(1, report::take, 17, 0, "", "", list.get(), 1, 1, 0, 0);
  if (op != nullptr) static_cast<void>(list.release());
  return owned_op(op);
}

bool holds_over(const owned_op &op, zu_do_properties *properties) {
  bool holds = false;
  EXPECT_TRUE(zu_cli_exec_resolve_cond(nullptr, nullptr, "TEST", op.get(), properties, &holds));
  return holds;
}

// The properties that all texts below are evaluated over.
own_record sample() {
  own_record made(zu_do_properties_new());
  const auto all = test::json(R"([["ten", 10], ["minus", -5], ["zero", 0], ["ten_d", 10.0], ["zero_d", 0.0],
    ["half", 0.5], ["up", "up"], ["empty", ""], ["ten_s", "10"], ["yes", true], ["no", false],
    ["arr", [1, 2]], ["arr_none", []], ["arr_blank", [""]], ["arr_zero", [0]],
    ["secret", {"PasswordString": "up"}], ["odd.name-1:x", 1], ["big", 18446744073709551615]])");
  zu_do_vlist *pairs = zu_do_value_get_array(all.get(), nullptr);
  for (size_t i = 0; i < zu_do_vlist_get_len(pairs); ++i) {
    zu_do_vlist *pair = zu_do_value_get_array(zu_do_vlist_get_value(pairs, i), nullptr);
    const char *name = zu_do_value_get_string(zu_do_vlist_get_value(pair, 0), nullptr);
    EXPECT_EQ(zu_do_properties_set_value(made.get(), name, zu_do_vlist_get_value(pair, 1)), 0);
  }
  const test::own_value none(zu_do_value_new_none());
  zu_do_properties_set_value(made.get(), "none", none.get());
  zu_do_properties_set_value(made.get(), "null", test::json("null").get());
  return made;
}

std::string repeated(const char *text, int times) {
  std::string all;
  while (times-- > 0) all += text;
  return all;
}

// The conditions are separated by bars and line ends. Each
// is for a rule that the rendered examples do not use.
constexpr const char *hold = R"--(
$ten 10 $up "up" (set $yes)|$null null|-5 $minus|1e1 $ten|$odd.name-1:x 1
( eval "$up" )(eval "up")|(eval "up {") "up {"|(eval "$a b") "$a b"|(eval "$") "$"|(eval "{v") "{v"
(eval "{\"PasswordString\":\"up\"}") $up|"a\"\u0062)\\" "a\u0022b)\\"
(eq $secret $up)|(eq $arr (eval "{\"v\":[1,2]}"))|(eq $big 18446744073709551615)|(lt $ten_s "9")
(gt $big $ten)|(gt $up "UP")|(ge $ten $ten_d)|(gt $yes $no)|(eq $absent $none)|(set $empty)|(set $no)
(and $half $arr_zero $big)|(lt (eq 1 2) (eq 1 1))|(gt (eq 1 1) "tru"))--";
constexpr const char *do_not_hold = R"--(
(set $yes) $ten 11|(eq $zero false)|(lt "9" $ten)|(gt $ten 10)|(eq $null "")|(eq $null 0)
(le $null null)|(ge $none $none)|(set $none)|(set null)|(or $zero_d $null $none $arr_none $arr_blank)
(not (and $ten (or $no (set $up))))|(eq (eq 1 1) 1)|(eq 0 (eq 1 2))|(ne $no (lt 2 1))|(eq $null (lt 2 1)))--";
// These alone need memory to evaluate.
constexpr const char *holds_in_memory = R"--((gt $arr "1,1"))--";
constexpr const char *does_not_hold_in_memory = R"--((lt "a\u0001" "a\\x01"))--";

TEST(conditions, hold_or_do_not) {
  const own_record properties = sample();
  const auto check = [&](std::string_view texts, bool expected, bool in_place) {
    for (size_t end = 0; !texts.empty(); texts.remove_prefix(std::min(end + 1, texts.size()))) {
      end = std::min(texts.find_first_of("|\n"), texts.size());
      if (end == 0) continue;
      const std::string text(texts.substr(0, end));
      const owned_op op = operation(text.c_str());
      const int64_t before = qmalloc_count(ZU_DO_AREA).total_blocks;
      EXPECT_EQ(holds_over(op, properties.get()), expected) << text;
      EXPECT_EQ(qmalloc_count(ZU_DO_AREA).total_blocks == before, in_place) << text;
    }
  };
  check(hold, true, true);
  check(do_not_hold, false, true);
  check(holds_in_memory, true, false);
  check(does_not_hold_in_memory, false, false);
  const owned_op nothing(zu_cli_cmd_op_new(1, nullptr, 17, 0, "", "", nullptr, 1, 1, 0, 0));
  EXPECT_TRUE(holds_over(nothing, nullptr));
  EXPECT_FALSE(holds_over(operation("(set $a)"), nullptr));
}

TEST(conditions, refused_with_the_column) {
  // Besides those of the golden cases. A message ends with the column; the reason why a value is no JSON is
  // not compared here.
  const struct {
    const char *text;
    const char *start;
    int column;
  } rows[] = {
      {"()", "missing operator", 2},
      {"(and)", "operator \"and\" takes one or more arguments, not 0,", 2},
      {"(not 1 2)", "operator \"not\" takes one argument, not 2,", 2},
      {"\"\xc3\xa9\" x", "unknown operand \"x\"", 6},
      {"$ 1", "bad property name", 1},
      {"(eval \"a\" \"b\") 1", "more than one string in \"eval\"", 11},
      {"\"abc\\\"", "string without end", 1},
      {"\"a\"\"b\"", "missing blank", 4},
      {"1 \"a\\u0000\"", "bad value (", 3},
      {"$a (eval \"{\\\"v\\\":}\")", "bad value (", 10},
  };
  for (const auto &row : rows) {
    report errors;
    EXPECT_EQ(parse(row.text, errors), nullptr) << row.text;
    EXPECT_EQ(errors.code, ZU_FAILED) << row.text;
    EXPECT_TRUE(errors.message.starts_with(std::string("condition: ") + row.start)) << errors.message;
    EXPECT_TRUE(errors.message.ends_with(" at column " + std::to_string(row.column)))
        << row.text << ": " << errors.message;
  }
  zu_cond_list *list = nullptr;
  EXPECT_FALSE(parse_cond_expr_no_trailing(nullptr, nullptr, "TEST", nullptr, &list));
  EXPECT_EQ(list, nullptr);
}

TEST(conditions, size_limits) {
  const auto deep = [](int groups) { return repeated("(and ", groups) + "1" + repeated(")", groups); };
  const std::string word = "1 " + repeated("\xc3\xa9", 200);
  report accepted, too_deep, long_word;
  EXPECT_NE(parse(deep(64).c_str(), accepted), nullptr) << accepted.message;
  EXPECT_EQ(parse(deep(65).c_str(), too_deep), nullptr);
  EXPECT_EQ(too_deep.message, "condition: groups nested more than 64 deep at column 321");
  EXPECT_EQ(parse(word.c_str(), long_word), nullptr);
  EXPECT_EQ(long_word.message, "condition: unknown operand \"" + repeated("\xc3\xa9", 24) + "\" at column 3");
}

TEST(conditions, report_exhausted_memory) {
  report refused;
  qmalloc_fail_nth(1, true);
  EXPECT_EQ(parse("(eq $unseen 1)", refused), nullptr);
  qmalloc_fail_nth(0, false);
  EXPECT_EQ(refused.code, ZU_EXHAUSTED);
  EXPECT_TRUE(refused.message.starts_with("condition: memory exhausted at column ")) << refused.message;
}

} // namespace
