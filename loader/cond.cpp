// Condition lines: the text for the print node, and the eval properties that are read from it.
//
// The evals of a condition are pairs: a variable ($tvrN) and a value. When default values are rendered, they
// decide which variables the condition sees, and whether as null.
#include "keywords.hpp"

#include <cstring>

#include "zu_tovra/internal/report.hpp"

namespace tvr::loader {

namespace {

using value_ref = ref<zu_do_value>;
using name_ref = ref<zu_do_name>;

enum class eval_result { read, malformed, none_left };

// An eval argument: its decoded string, and where its raw text begins (after the opening quote).
struct eval_argument {
  value_ref value;
  const char *raw = nullptr;
};

// Letters of the C locale, whatever locale the host runs under.
constexpr bool is_letter(char c) noexcept {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
constexpr bool is_letter_or_digit(char c) noexcept {
  return is_letter(c) || (c >= '0' && c <= '9');
}

// The quote that closes a string literal, or null. A backslash makes the next character ordinary.
const char *find_closing_quote(const char *at) noexcept {
  for (; *at != '\0'; ++at) {
    if (*at == '"') return at;
    if (*at == '\\' && *++at == '\0') return nullptr;
  }
  return nullptr;
}

value_ref decode_string(const char *start, const char *end) noexcept {
  zu_do_error *failure = nullptr;
  auto value = value_ref::adopt(zu_do_value_from_json(start, static_cast<size_t>(end - start), &failure));
  const error_object error(failure);
  if (value != nullptr) return value;
  if (error != nullptr) {
    TVR_ERROR("zu_do_value_from_json returned error : %d", zu_do_error_get_code(error.get()));
  } else {
    TVR_ERROR("Unable to parse value data as JSON");
  }
  TVR_ERROR("Decoding json expr failed");
  return value;
}

// Reads the next argument. The cursor stays at its opening quote: the next search starts inside the argument.
eval_result read_eval(const char **cursor, eval_argument *argument) noexcept {
  static constexpr char word[] = "(eval";
  *cursor = std::strstr(*cursor, word);
  if (*cursor == nullptr) return eval_result::none_left;

  const char *open = skip_blanks(*cursor + sizeof word - 1);
  if (!or_error(*open == '"', "Invalid eval expr")) return eval_result::malformed;
  *cursor = open;
  const char *close = or_error(find_closing_quote(open + 1), "Cond expression unexpectedly ended");
  if (close == nullptr) return eval_result::malformed;
  value_ref value = decode_string(open, close + 1);
  if (value == nullptr) return eval_result::malformed;
  const char *after = skip_blanks(close + 1);
  if (*after != ')') {
    TVR_ERROR("eval expr incorrect : %c", *after);
    return eval_result::malformed;
  }
  argument->value = std::move(value);
  argument->raw = open + 1;
  return eval_result::read;
}

// The variable's name from its raw text, `$name"`; null (traced) for any other.
name_ref read_variable(const char *raw) noexcept {
  if (*raw != '$') return {};
  const char *start = raw + 1;
  if (!is_letter(*start)) {
    TVR_ERROR("Invalid leading char in variable name:%c", *start);
    return {};
  }
  const char *end = start;
  while (is_letter_or_digit(*end)) ++end;
  if (!or_error(*end == '"', "Invalid variable name")) return {};
  auto name = name_ref::adopt(zu_do_name_new_l(start, static_cast<size_t>(end - start)));
  if (!or_error(name != nullptr, "Error creating zu_do_value(STRING)")) return {};
  TVR_INFO("found_name is %s", zu_do_name_get_strname(name.get()));
  return name;
}

// The value that the argument's string describes: JSON up to
// the first '}'. Null (traced) when it describes none.
value_ref read_value(const eval_argument &argument) noexcept {
  if (!or_error(argument.value != nullptr, "Value is NULL")) return {};
  int code = 0;
  const char *decoded = zu_do_value_get_string(argument.value.get(), &code);
  if (!or_error(decoded != nullptr && code == 0, "Empty eval argument")) return {};
  if (!or_error(*argument.raw == '{', "Invalid variable value in expression")) return {};
  const char *brace = or_error(std::strchr(decoded, '}'), "find_end_of_json_expr unexpectedly returned NULL");
  if (brace == nullptr) return {};
  zu_do_error *failure = nullptr;
  auto value =
      value_ref::adopt(zu_do_value_from_json(decoded, static_cast<size_t>(brace + 1 - decoded), &failure));
  const error_object error(failure);
  if (error != nullptr) {
    TVR_ERROR("%s", zu_do_error_get_msg(error.get()));
  } else if (value == nullptr) {
    TVR_ERROR("Unexpected NULL returned from zu_do_value_from_json.");
  }
  return value;
}

// Reads the pair whose variable has been read, and sets its property.
bool take_pair(zu_do_properties *properties, const char **cursor, const char *variable) noexcept {
  const name_ref name = or_error(read_variable(variable), "Invalid variable name");
  if (name == nullptr) return false;
  const char *name_text = zu_do_name_get_strname(name.get());
  eval_argument argument;
  if (read_eval(cursor, &argument) != eval_result::read) {
    TVR_ERROR("Found name[%s] but not corresponding value", name_text);
    return false;
  }
  const value_ref value = read_value(argument);
  if (value == nullptr) {
    TVR_ERROR("Invalid value for name[%s]", name_text);
    return false;
  }
  return zu_do_properties_set_value(properties, name_text, value.get()) == ZU_OK;
}

bool take_pairs(zu_do_properties *properties, const char *cursor) noexcept {
  for (;;) {
    eval_argument variable;
    const eval_result result = read_eval(&cursor, &variable);
    if (!or_error(result != eval_result::malformed, "Invalid eval expression")) return false;
    if (result == eval_result::none_left) break;
    if (!take_pair(properties, &cursor, variable.raw)) return false; // only its raw text counts
  }
  const size_t found = zu_do_properties_get_len(properties);
  if (!or_error(found != 0, "Unable to find name/value pairs")) return false;
  TVR_INFO("Number of nodes found:%u", static_cast<unsigned>(found));
  return true;
}

} // namespace

bool take_cond(parse_context &parse, const char *value) noexcept {
  tvr_parse_data &data = *parse.data;
  data.cond = copy_text(value);
  if (data.cond == nullptr) return exhausted(parse.error, "Failed to allocate string");

  auto properties = ref<zu_do_properties>::adopt(zu_do_properties_new());
  const bool made = or_error(properties != nullptr, "Failed to allocate condition properties");
  const bool taken = made && take_pairs(properties.get(), data.cond.get());
  if (!or_error(taken, "Failed to parse evals in Cond expr")) properties.reset();
  data.eval_props = std::move(properties);
  return true;
}

} // namespace tvr::loader
