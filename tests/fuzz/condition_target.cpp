// Condition text: parsed, and evaluated over properties of every kind.
#include "fuzz.hpp"

namespace {

struct refusal {
  int calls = 0;
  std::string message;
};

int take_error(void *self, int32_t, const char *message) {
  auto *got = static_cast<refusal *>(self);
  ++got->calls;
  got->message = message;
  return 0;
}

struct condition {
  explicit condition(const std::string &text) {
    zu_cond_list *list = nullptr;
    const bool parsed = parse_cond_expr_no_trailing(&refused, take_error, "fuzz", text.c_str(), &list);
    fuzz::check(parsed == (list != nullptr) && refused.calls == (parsed ? 0 : 1), "one answer", text);
    if (parsed) op.reset(zu_cli_cmd_op_new(0, take_error, 0, 0, nullptr, nullptr, list, 0, 0, 0, 0));
  }
  bool holds(zu_do_properties *properties) const {
    bool answers[2] = {};
    for (bool &answer : answers) {
      fuzz::check(zu_cli_exec_resolve_cond(nullptr, nullptr, "fuzz", op.get(), properties, &answer),
                  "a condition is evaluated");
    }
    fuzz::check(answers[0] == answers[1], "an answer is an answer");
    return answers[0];
  }

  refusal refused;
  fuzz::own<zu_cli_cmd_op, zu_cli_cmd_op_free> op;
};

// Column, from 1, at the end of a message; it may be just behind the text.
void check_column(const std::string &message, size_t length) {
  const size_t digits = message.find_last_not_of("0123456789") + 1;
  fuzz::check(digits < message.size(), "a refusal ends with its column", message);
  const size_t column = std::stoul(message.substr(digits));
  fuzz::check(column >= 1 && column <= length + 1, "the column is in the text", message);
}

fuzz::own_record record_of(size_t first) {
  static constexpr std::string_view values[] = {"null",   "true",         "false", "0",     "-1",
                                                "1500",   "1.5",          "\"\"",  "\"1\"", "\"a b\"",
                                                "[1, 2]", "[\"a\", [0]]", "1e300"};
  fuzz::own_record record(zu_do_properties_new());
  for (size_t i = 0; i < 4; ++i) {
    const auto json = values[(first + 3 * i) % std::size(values)];
    const fuzz::own_value value(zu_do_value_from_json(json.data(), json.size(), nullptr));
    zu_do_properties_set_value(record.get(), ("tvr" + std::to_string(i)).c_str(), value.get());
  }
  return record;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const fuzz::balanced_memory balanced;
  const std::string text(reinterpret_cast<const char *>(data), size);
  const size_t length = std::string_view(text.c_str()).size();
  const condition once(text);
  if (!once.op) {
    check_column(once.refused.message, length);
    return 0;
  }
  const condition twice(text.substr(0, length) + " " + text.substr(0, length));
  fuzz::check(twice.op != nullptr, "a condition stands beside itself", twice.refused.message);
  for (size_t first = 0; first < 14; ++first) {
    const fuzz::own_record record = first < 13 ? record_of(first) : nullptr;
    fuzz::check(once.holds(record.get()) == twice.holds(record.get()), "all conditions must hold", text);
  }
  return 0;
}
