// Reads values from a JSON text that the parser walks, into frozen cells.
#include "json/reader.hpp"

#include <charconv>

namespace zu_json {

using namespace zuapi;

namespace {

// The bytes up to the closing quote of a string that starts after `start`; null when something is escaped.
// The parser has made sure that there is a closing quote.
bool plain_string(const char *start, std::string_view &text) {
  // A word at a time while it has neither quote nor backslash: the text is padded.
  constexpr uint64_t ones = 0x0101010101010101u;
  const auto has_zero = [](uint64_t word) { return ((word - ones) & ~word & (ones << 7)) != 0; };
  const char *end = start;
  for (uint64_t word;; end += sizeof word) {
    memcpy(&word, end, sizeof word);
    if (has_zero(word ^ (ones * '"')) || has_zero(word ^ (ones * '\\'))) break;
  }
  while (*end != '"' && *end != '\\') ++end;
  text = {start, static_cast<size_t>(end - start)};
  return *end == '"';
}

// The number at the front of a token that the parser has checked. The parser's own doubles are wrong when
// there are more than 19 digits. One that is too small for a double is 0.
double to_double(std::string_view token) {
  double number = token.front() == '-' ? -0.0 : 0.0;
  std::from_chars(token.data(), token.data() + token.size(), number);
  return number;
}

} // namespace

std::string_view value_reader::name(json::field &field) {
  const char *start = start_of(field);
  std::string_view text;
  if (!plain_string(start + 1, text)) {
    text = field.unescaped_key().value();
    if (text.find('\0') != std::string_view::npos) refuse(start, "a name holds a NUL");
  }
  return text;
}

std::string_view value_reader::string(json::value &value) {
  const char *start = start_of(value);
  std::string_view text;
  if (plain_string(start + 1, text)) {
    static_cast<void>(value.get_raw_json_string().value()); // moves the document past the value
  } else {
    text = value.get_string().value();
    if (text.find('\0') != std::string_view::npos) refuse(start, "a string holds a NUL");
  }
  if (text.size() > longest_text) refuse(start, "a string is too long");
  return text;
}

const char *value_reader::intern_type(std::string_view name) {
  const auto found = type_names_.find(name);
  if (found != type_names_.end()) return found->second;
  return type_names_.emplace(name, memory_.copy_text(name)).first->second;
}

zu_do_value value_reader::with_type(zu_do_value cell, const char *type) {
  return type == nullptr ? cell : cell_typed(memory_, cell, type);
}

zu_do_value value_reader::string_cell(const char *text, size_t length, const char *type) {
  const bool keep_lines = type != nullptr && std::string_view(type) == "Text";
  return with_type(cell_string(text, length, keep_lines), type);
}

zu_do_value value_reader::read(json::value value, const char *class_type, uint32_t depth) {
  arrays_ = 0;
  types type = {nullptr, class_type};
  const zu_do_value cell = read_untyped(value, type, depth);
  return with_type(cell, type.used());
}

zu_do_value value_reader::read_untyped(json::value &value, types &type, uint32_t depth) {
  const char *start = start_of(value);
  switch (*start) {
  case '"': {
    const std::string_view text = string(value);
    const bool keep_lines = type.used() != nullptr && std::string_view(type.used()) == "Text";
    return cell_string(memory_.copy_text(text), text.size(), keep_lines);
  }
  case '{':
  case '[':
    if (depth >= deepest) refuse(start, "nested deeper than 64 levels");
    return *start == '{' ? read_wrapped(value, type, depth + 1) : read_array(value, type, depth + 1);
  case 't':
  case 'f':
    return cell_bool(value.get_bool().value());
  case 'n':
    if (!value.is_null()) refuse(start, "expected a value");
    return cell_null();
  default:
    return read_number(value);
  }
}

// An object stands for the value of its only member. The member's name becomes the typedef name, unless it is
// "v" or an outer object has given one.
zu_do_value value_reader::read_wrapped(json::value &value, types &type, uint32_t depth) {
  const char *start = start_of(value);
  zu_do_value cell = {};
  size_t members = 0;
  for (json::field field : members_of(value)) {
    if (members++ != 0) refuse(start, "an object as a value must have exactly one member");
    const char *name_start = start_of(field);
    const std::string_view type_name = name(field);
    if (type_name.empty()) refuse(name_start, "a typedef name is empty");
    if (type.own == nullptr && type_name != "v") type.own = intern_type(type_name);
    if (!open_secrets_ && type_name == "PasswordString" && (arrays_ != 0 || !is_secret_type(type.own))) {
      const std::string where = arrays_ != 0 ? "an array" : "a value of another type";
      refuse(name_start, "a PasswordString stands in " + where);
    }
    cell = read_untyped(field.value(), type, depth);
  }
  if (members == 0) refuse(start, "an object as a value must have exactly one member");
  return cell;
}

zu_do_value value_reader::read_array(json::value &value, const types &type, uint32_t depth) {
  const char *start = start_of(value);
  if (!open_secrets_ && is_secret_type(type.used())) refuse(start, "a PasswordString is an array");
  ++arrays_;
  const size_t first = elements_.size();
  for (json::value element : elements_of(value)) {
    const bool is_null = *start_of(element) == 'n';
    types type_of = {};
    const zu_do_value cell = read_untyped(element, type_of, depth);
    elements_.push_back(is_null ? cell_none() : with_type(cell, type_of.own));
  }
  --arrays_;
  // Elements without a value at the end are not elements.
  while (elements_.size() > first && elements_.back().type == ZU_DO_TYPE_NONE) elements_.pop_back();
  const zu_do_value array =
      cell_array(memory_, elements_.data() + first, static_cast<uint32_t>(elements_.size() - first));
  elements_.resize(first);
  return array;
}

zu_do_value value_reader::read_number(json::value &value) {
  const std::string_view token = value.raw_json_token();
  json::number number;
  // For a malformed number the syntax check, which follows every refusal, finds the exact place.
  if (value.get_number().get(number) != simdjson::SUCCESS) refuse(token.data(), "a number out of range");
  switch (number.get_number_type()) {
  case json::number_type::signed_integer:
    return cell_int(number.get_int64());
  case json::number_type::unsigned_integer:
    return cell_uint(number.get_uint64());
  default:
    return cell_double(to_double(token));
  }
}

} // namespace zu_json
