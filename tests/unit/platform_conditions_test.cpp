// Conditions: what is accepted, what is refused and where, what holds; and that no run of them leaks.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "cli_exec/cli_exec.h"
#include "qmalloc/qmalloc.h"
#include "support.h"
#include "zuapi/zuapi.h"

namespace {

template <auto release>
struct releaser {
  template <typename T>
  void operator()(T *object) const {
    release(object);
  }
};
using owned_properties = std::unique_ptr<zu_do_properties, releaser<zu_do_properties_deref>>;
using owned_op = std::unique_ptr<zu_cli_cmd_op, releaser<zu_cli_cmd_op_free>>;
using owned_list = std::unique_ptr<zu_cond_list, releaser<zu_cond_list_free>>;

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

void set(zu_do_properties *properties, const char *name, zu_do_value *value) {
  ASSERT_NE(value, nullptr) << name;
  ASSERT_EQ(zu_do_properties_set_value(properties, name, value), 0) << name;
  zu_do_value_deref(value);
}

// The properties that all texts below are evaluated over.
owned_properties sample() {
  static const char *const values[][2] = {
      {"ten", "10"},
      {"minus", "-5"},
      {"zero", "0"},
      {"ten_d", "10.0"},
      {"zero_d", "0.0"},
      {"half", "0.5"},
      {"up", "\"up\""},
      {"empty", "\"\""},
      {"ten_s", "\"10\""},
      {"yes", "true"},
      {"no", "false"},
      {"null", "null"},
      {"arr", "[1, 2]"},
      {"arr_none", "[]"},
      {"arr_blank", "[\"\"]"},
      {"arr_zero", "[0]"},
      {"secret", "{\"PasswordString\": \"up\"}"},
      {"odd.name-1:x", "1"},
      {"big", "18446744073709551615"},
  };
  owned_properties made(zu_do_properties_new());
  for (const auto &[name, json] : values) {
    set(made.get(), name, zu_do_value_from_json(json, std::char_traits<char>::length(json), nullptr));
  }
  set(made.get(), "none", zu_do_value_new_none());
  return made;
}

std::string repeated(const char *text, int times) {
  std::string all;
  while (times-- > 0) all += text;
  return all;
}

const struct {
  const char *text;
  bool holds;
  bool in_place = true; // needs no memory to evaluate
} evaluated[] = {
    // Pairs, and every form of operand.
    {"$ten 10", true},
    {"$ten 11", false},
    {"  $ten\t10  ", true},
    {"$ten 10 $up \"down\"", false},
    {"$ten 10 $up \"up\" (set $yes)", true},
    {"(set $yes) $ten 11", false},
    {"$yes true", true},
    {"$no false", true},
    {"$null null", true},
    {"-5 $minus", true},
    {"1e1 $ten", true},
    {"$odd.name-1:x 1", true},
    {"(eval \"$ten\") (eval \"{\\\"v\\\":10}\")", true},
    {"( eval \"$up\" )(eval \"up\")", true},
    {"(eval \"{\\\"PasswordString\\\":\\\"up\\\"}\") $up", true},
    {"(eval \"up {\") \"up {\"", true},
    {"\"a\\\"\\u0062)\\\\\" \"a\\u0022b)\\\\\"", true},
    // Comparing: numbers by size whatever their type, other values by type and content.
    {"(eq $ten 10.0)", true},
    {"(eq $ten_d 10)", true},
    {"(eq $ten $ten_s)", false},
    {"(eq $zero false)", false},
    {"(eq $secret $up)", true},
    {"(eq $arr (eval \"{\\\"v\\\":[1,2]}\"))", true},
    {"(ne $ten 10)", false},
    {"(ne $ten \"10\")", true},
    {"(eq $big 18446744073709551615)", true},
    {"(lt $minus $half)", true},
    {"(lt 9 $ten)", true},
    {"(lt \"9\" $ten)", false},
    {"(lt $ten_s \"9\")", true},
    {"(lt $ten 10)", false},
    {"(le $ten 10.0)", true},
    {"(le $ten $minus)", false},
    {"(gt $big $ten)", true},
    {"(gt $ten 10)", false},
    {"(gt $up \"UP\")", true},
    {"(ge $ten $ten_d)", true},
    {"(ge $half 1)", false},
    {"(gt $yes $no)", true},
    {"(gt $arr \"1,1\")", true, false},
    {"(lt \"a\\u0001\" \"a\\\\x01\")", false, false},
    // Null: absent, without value and null are one thing.
    {"(eq $absent $none)", true},
    {"$absent $null", true},
    {"(eq $null \"\")", false},
    {"(eq $null 0)", false},
    {"(ne $null $ten)", true},
    {"(ne $absent null)", false},
    {"(lt $null 1)", false},
    {"(le $null null)", false},
    {"(gt 1 $absent)", false},
    {"(ge $none $none)", false},
    {"(set $none)", false},
    {"(set $absent)", false},
    {"(set null)", false},
    {"(set $empty)", true},
    {"(set $no)", true},
    {"(set (eq 1 2))", true},
    // Truths.
    {"(and $ten)", true},
    {"(and $ten $up $half $arr $arr_zero $big $yes)", true},
    {"(and $yes $zero)", false},
    {"(or $zero $zero_d $empty $no $null $none $absent $arr_none $arr_blank)", false},
    {"(or $zero $minus)", true},
    {"(not $empty)", true},
    {"(not (not \"0\"))", true},
    {"(not (and $ten (or $no (set $up))))", false},
    // A group in the place of a value.
    {"(eq (eq 1 1) true)", true},
    {"(eq (eq 1 1) (eq 2 2))", true},
    {"(eq (eq 1 1) 1)", false},
    {"(eq 0 (eq 1 2))", false},
    {"(ne $no (lt 2 1))", false},
    {"(eq $null (lt 2 1))", false},
    {"(lt (eq 1 2) (eq 1 1))", true},
    {"(gt (eq 1 1) \"tru\")", true},
};

TEST(conditions, hold_or_do_not) {
  const test::balanced_memory balanced;
  const owned_properties properties = sample();
  for (const auto &row : evaluated) {
    const owned_op op = operation(row.text);
    bool holds = !row.holds;
    const int64_t before = qmalloc_count(ZU_DO_AREA).total_blocks;
    EXPECT_TRUE(zu_cli_exec_resolve_cond(nullptr, nullptr, "TEST", op.get(), properties.get(), &holds));
    const int64_t after = qmalloc_count(ZU_DO_AREA).total_blocks;
    EXPECT_EQ(holds, row.holds) << row.text;
    EXPECT_EQ(after == before, row.in_place) << row.text;
  }
}

TEST(conditions, without_conditions_or_properties) {
  const owned_op nothing(zu_cli_cmd_op_new(1, nullptr, 17, 0, "", "", nullptr, 1, 1, 0, 0));
  bool holds = false;
  EXPECT_TRUE(zu_cli_exec_resolve_cond(nullptr, nullptr, "TEST", nothing.get(), nullptr, &holds));
  EXPECT_TRUE(holds);
  EXPECT_TRUE(
      zu_cli_exec_resolve_cond(nullptr, nullptr, "TEST", operation("(set $a)").get(), nullptr, &holds));
  EXPECT_FALSE(holds);
}

// A message ends with the column; of a value that is no JSON the reason in between is not told here.
const struct {
  const char *text;
  const char *start;
  int column;
} refused[] = {
    {"", "empty text", 1},
    {"  \t", "empty text", 4},
    {"$a", "operand without a partner", 1},
    {"(set $a)  5", "operand without a partner", 11},
    {"1 (eq 1 1)", "operand without a partner", 1},
    {"$a 1 $b 2 \"three\"", "operand without a partner", 11},
    {"$a )", "operand without a partner", 1},
    {"(eval \"$a\")", "operand without a partner", 1},
    {"(eq 1 1))", "text left over", 9},
    {") (eq 1 1)", "text left over", 1},
    {"$a 1 (foo 1)", "unknown operator \"foo\"", 7},
    {"(EQ 1 1)", "unknown operator \"EQ\"", 2},
    {"()", "missing operator", 2},
    {"((eq 1 1))", "missing operator", 2},
    {"(", "missing operator", 2},
    {"(eq 1", "group without end", 1},
    {"(and (eq 1 1)", "group without end", 1},
    {"(eval \"x\"", "group without end", 1},
    {"(and)", "operator \"and\" takes one or more arguments, not 0,", 2},
    {"( or )", "operator \"or\" takes one or more arguments, not 0,", 3},
    {"(not 1 2)", "operator \"not\" takes one argument, not 2,", 2},
    {"(set)", "operator \"set\" takes one argument, not 0,", 2},
    {"(eq 1)", "operator \"eq\" takes two arguments, not 1,", 2},
    {"(and (ge 1 2 3))", "operator \"ge\" takes two arguments, not 3,", 7},
    {"(eq $a foo)", "unknown operand \"foo\"", 8},
    {"$a True", "unknown operand \"True\"", 4},
    {"\"\xc3\xa9\" x", "unknown operand \"x\"", 6},
    {"$ 1", "bad property name", 1},
    {"$a\"b\" 1", "bad property name", 1},
    {"(eval \"$\") 1", "bad property name", 7},
    {"1 (eval \"$a b\")", "bad property name", 9},
    {"(eval) 1", "\"eval\" without a string", 6},
    {"(eval 1) 1", "\"eval\" without a string", 7},
    {"(eval \"a\" \"b\") 1", "more than one string in \"eval\"", 11},
    {"(eq 1 \"abc)", "string without end", 7},
    {"\"abc\\\"", "string without end", 1},
    {"\"a\"\"b\"", "missing blank", 4},
    {"1 1x", "bad value (", 3},
    {"01 1", "bad value (", 1},
    {"1 -", "bad value (", 3},
    {"1 1e999", "bad value (", 3},
    {"1 \"a\\q\"", "bad value (", 3},
    {"1 \"a\\u0000\"", "bad value (", 3},
    {"$a (eval \"{1}\")", "bad value (", 10},
    {"$a (eval \"{\\\"v\\\":1\")", "bad value (", 10},
    {"$a (eval \"{\\\"v\\\":1} 2\")", "bad value (", 10},
};

TEST(conditions, refused_with_the_column) {
  const test::balanced_memory balanced;
  for (const auto &row : refused) {
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
  report errors;
  const std::string deep = repeated("(and ", 64) + "1" + repeated(")", 64);
  EXPECT_NE(parse(deep.c_str(), errors), nullptr) << errors.message;
  const std::string deeper = repeated("(and ", 65) + "1" + repeated(")", 65);
  EXPECT_EQ(parse(deeper.c_str(), errors), nullptr);
  EXPECT_EQ(errors.message, "condition: groups nested more than 64 deep at column 321");
  const std::string many = "(and " + repeated("(eq 1 1) ", 5000) + ")";
  bool holds = false;
  zu_cli_exec_resolve_cond(nullptr, nullptr, "TEST", operation(many.c_str()).get(), nullptr, &holds);
  EXPECT_TRUE(holds);
  const std::string word = "1 " + repeated("\xc3\xa9", 200);
  report long_word;
  EXPECT_EQ(parse(word.c_str(), long_word), nullptr);
  EXPECT_EQ(long_word.message, "condition: unknown operand \"" + repeated("\xc3\xa9", 24) + "\" at column 3");
}

// Fails each allocation of a run in turn until a run has none to fail; gives how many there were.
template <typename Run>
int fail_each(Run run) {
  run(0); // so that what is kept for good exists
  for (int n = 1;; ++n) {
    const test::balanced_memory balanced;
    qmalloc_fail_nth(static_cast<uint64_t>(n), false);
    run(n);
    const bool fired = qmalloc_fail_fired() > 0;
    qmalloc_fail_nth(0, false);
    if (!fired) return n - 1;
  }
}

TEST(conditions, survive_failed_allocations) {
  constexpr const char *text =
      "(eval \"$unseen_1\") (eval \"{\\\"v\\\":[1,\\\"x\\\"]}\") (or (eq $unseen_2 1.5) "
      "(lt $unseen_3 \"a\") (not (set null))) $a 1 $b 2 $c 3";
  int failed = 0;
  const int allocations = fail_each([&failed](int n) {
    report errors;
    const owned_list list = parse(text, errors);
    if (list != nullptr) return; // giving back spare room may fail without harm
    EXPECT_EQ(errors.code, ZU_EXHAUSTED) << n << ": " << errors.message;
    EXPECT_TRUE(errors.message.starts_with("condition: memory exhausted at column ")) << errors.message;
    ++failed;
  });
  EXPECT_GT(allocations, 10);
  EXPECT_GE(failed, allocations - 2);
}

TEST(conditions, an_operation_that_fails_leaves_the_list) {
  report errors;
  const owned_list list = parse("$a 1", errors);
  qmalloc_fail_nth(1, false);
  EXPECT_EQ(zu_cli_cmd_op_new(1, nullptr, 17, 0, "", "", list.get(), 1, 1, 0, 0), nullptr);
  qmalloc_fail_nth(0, false);
}

TEST(conditions, evaluation_reports_exhausted_memory) {
  report errors;
  zu_cli_context *cli = zu_cli_context_new(
      nullptr, [](void *to, int32_t code, const char *text) { report::take(to, code, text); }, &errors);
  zu_results_array *results = zu_results_array_new(cli->result_ifc);
  const owned_op op = operation("(or (lt $arr \"\") (set $arr))");
  const owned_properties properties = sample();
  bool holds = false;
  qmalloc_fail_nth(1, true);
  EXPECT_FALSE(zu_cli_exec_resolve_cond(cli, results, "TEST", op.get(), properties.get(), &holds));
  qmalloc_fail_nth(0, false);
  EXPECT_EQ(errors.calls, 1);
  EXPECT_EQ(errors.code, ZU_EXHAUSTED);
  EXPECT_EQ(zu_results_array_get_len(results), 1u);
  EXPECT_TRUE(zu_cli_exec_resolve_cond(cli, results, "TEST", op.get(), properties.get(), &holds));
  EXPECT_TRUE(holds);
  zu_results_array_free(results);
  zu_cli_context_free(cli);
}

TEST(conditions, threads_share_an_operation) {
  const owned_op op = operation("(and (gt $ten 9) (lt $arr \"2\") (eq $up \"up\") (not $null))");
  std::vector<int> held(4);
  std::vector<std::thread> threads;
  for (int &count : held) {
    threads.emplace_back([&op, &count] {
      const owned_properties properties = sample();
      for (int i = 0; i < 500; ++i) {
        bool holds = false;
        zu_cli_exec_resolve_cond(nullptr, nullptr, "TEST", op.get(), properties.get(), &holds);
        count += holds ? 1 : 0;
      }
    });
  }
  for (auto &thread : threads) thread.join();
  EXPECT_EQ(held, std::vector<int>(4, 500));
}

} // namespace
