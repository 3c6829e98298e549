// Values from JSON. The reader is written out here so that its memory is the data objects' own and a refusal
// can name the byte where it is.
#include <charconv>

#include "zuapi/objects.hpp"

using namespace zuapi;

namespace {

constexpr int deepest = 64;

// What every step of the reader answers when it fails.
struct nothing {
  operator zu_do_value *() const { return nullptr; }
  operator bool() const { return false; }
};

class json_reader {
public:
  json_reader(const char *text, size_t length) : start_(text), at_(text), end_(text + length) {}
  ~json_reader() { release(scratch_); }
  json_reader(const json_reader &) = delete;
  json_reader &operator=(const json_reader &) = delete;

  zu_do_value *document();

  bool exhausted() const { return exhausted_; }
  const char *reason() const { return reason_; }
  size_t position() const { return static_cast<size_t>(at_ - start_); }

private:
  nothing fail(const char *reason) {
    if (reason_ == nullptr) reason_ = reason;
    return {};
  }
  nothing exhaust() {
    exhausted_ = true;
    return {};
  }
  zu_do_value *make(const zu_do_value &content, std::string_view typedef_name) {
    zu_do_value *value = value_make(content, typedef_name, false);
    return value == nullptr ? exhaust() : value;
  }
  bool next_is(char c) const { return at_ < end_ && *at_ == c; }
  bool digit_is_next() const { return at_ < end_ && *at_ >= '0' && *at_ <= '9'; }
  void skip_blanks() {
    while (at_ < end_ && (*at_ == ' ' || *at_ == '\t' || *at_ == '\n' || *at_ == '\r')) ++at_;
  }
  bool take_word(std::string_view word) {
    if (static_cast<size_t>(end_ - at_) < word.size() || std::string_view(at_, word.size()) != word)
      return false;
    at_ += word.size();
    return true;
  }

  // Each gives a value of that typedef (the outermost that the document names), or none.
  zu_do_value *value(std::string_view typedef_name, int depth);
  zu_do_value *number(std::string_view typedef_name);
  zu_do_value *string(std::string_view typedef_name);
  zu_do_value *array(std::string_view typedef_name, int depth);
  zu_do_value *object(std::string_view typedef_name, int depth);
  bool add_element(zu_do_vlist *list, uint32_t &last, int depth);

  bool scan_string(std::string_view &text);
  bool take_escape(char *&out);
  bool take_utf8();
  int32_t take_hex4();

  const char *start_;
  const char *at_;
  const char *end_;
  const char *reason_ = nullptr;
  bool exhausted_ = false;
  char *scratch_ = nullptr; // decoded text of a string with escapes
};

zu_do_value *json_reader::document() {
  skip_blanks();
  zu_do_value *result = value(no_typedef, 0);
  if (result == nullptr) return nullptr;
  skip_blanks();
  if (at_ == end_) return result;
  zu_do_value_deref(result);
  return fail("text after the value");
}

zu_do_value *json_reader::value(std::string_view typedef_name, int depth) {
  if (at_ == end_) return fail("value expected");
  switch (*at_) {
  case '"':
    return string(typedef_name);
  case '[':
    return depth == deepest ? fail("nested too deep") : array(typedef_name, depth + 1);
  case '{':
    return depth == deepest ? fail("nested too deep") : object(typedef_name, depth + 1);
  case 't':
    return take_word("true") ? make(cell_bool(true), typedef_name) : fail("value expected");
  case 'f':
    return take_word("false") ? make(cell_bool(false), typedef_name) : fail("value expected");
  case 'n':
    return take_word("null") ? make(cell_null(), typedef_name) : fail("value expected");
  default:
    return number(typedef_name);
  }
}

// True when a number with a fraction or exponent is below one in size: then it is out of range downwards.
bool is_small(std::string_view text) {
  const size_t exponent = text.find_first_of("eE");
  const std::string_view digits = text.substr(0, exponent);
  const size_t first = digits.find_first_of("123456789");
  if (first == digits.npos) return true;
  size_t point = digits.find('.');
  if (point == digits.npos) point = digits.size();
  long power = 0;
  if (exponent != text.npos) {
    std::string_view power_text = text.substr(exponent + 1);
    if (power_text.starts_with('+')) power_text.remove_prefix(1);
    const auto result = std::from_chars(power_text.data(), power_text.data() + power_text.size(), power);
    if (result.ec != std::errc{}) return power_text.starts_with('-');
  }
  return static_cast<long>(point) - static_cast<long>(first) + power < 0;
}

zu_do_value *json_reader::number(std::string_view typedef_name) {
  const char *first = at_;
  bool whole = true;
  if (next_is('-')) ++at_;
  if (!digit_is_next()) {
    at_ = first;
    return fail("value expected");
  }
  if (*at_++ != '0') {
    while (digit_is_next()) ++at_;
  }
  if (next_is('.')) {
    whole = false;
    ++at_;
    if (!digit_is_next()) return fail("digit expected");
    while (digit_is_next()) ++at_;
  }
  if (next_is('e') || next_is('E')) {
    whole = false;
    ++at_;
    if (next_is('+') || next_is('-')) ++at_;
    if (!digit_is_next()) return fail("digit expected");
    while (digit_is_next()) ++at_;
  }
  const auto out_of_range = [&] {
    at_ = first;
    return fail("number out of range");
  };
  if (whole) {
    int64_t integer = 0;
    if (std::from_chars(first, at_, integer).ec == std::errc{}) return make(cell_int(integer), typedef_name);
    uint64_t natural = 0;
    if (*first == '-' || std::from_chars(first, at_, natural).ec != std::errc{}) return out_of_range();
    return make(cell_uint(natural), typedef_name);
  }
  double real = 0;
  if (std::from_chars(first, at_, real).ec != std::errc{}) {
    if (!is_small({first, static_cast<size_t>(at_ - first)})) return out_of_range();
    real = *first == '-' ? -0.0 : 0.0;
  }
  return make(cell_double(real), typedef_name);
}

zu_do_value *json_reader::string(std::string_view typedef_name) {
  const char *first = at_;
  std::string_view text;
  if (!scan_string(text)) return nullptr;
  if (text.size() > longest_text) {
    at_ = first;
    return fail("string too long");
  }
  return make({ZU_DO_TYPE_STRING, 0, 0, static_cast<uint32_t>(text.size()), {.text = text.data()}},
              typedef_name);
}

// The quote that ends a string: the first, from the backslash `at` on, that no backslash escapes.
const char *closing_quote(const char *at, const char *end) {
  while (at < end && *at != '"') {
    at += *at == '\\' && end - at > 1 ? 2 : 1;
  }
  return at < end ? at : nullptr;
}

// Reads a string; the text is in the document, or in the scratch block until the next string.
bool json_reader::scan_string(std::string_view &text) {
  const char *const first = ++at_;
  while (at_ < end_ && *at_ != '"' && *at_ != '\\') {
    if (!take_utf8()) return false;
  }
  if (next_is('"')) {
    text = {first, static_cast<size_t>(at_++ - first)};
    return true;
  }
  if (at_ == end_) return fail("string without an end");
  // Decoded text is never longer than the text with its escapes.
  const char *const escape = at_;
  const char *const quote = closing_quote(escape, end_);
  if (quote == nullptr) {
    at_ = end_;
    return fail("string without an end");
  }
  const auto room = static_cast<size_t>(quote - first);
  release(scratch_);
  scratch_ = static_cast<char *>(qmalloc_named(ZU_DO_AREA, room));
  if (scratch_ == nullptr) return exhaust();
  const auto plain = static_cast<size_t>(escape - first);
  memcpy(scratch_, first, plain);
  char *out = scratch_ + plain;
  while (*at_ != '"') {
    const char *const from = at_;
    if (*at_ == '\\') {
      if (!take_escape(out)) return false;
    } else if (!take_utf8()) {
      return false;
    } else {
      for (const char *byte = from; byte < at_; ++byte) *out++ = *byte;
    }
  }
  ++at_;
  text = {scratch_, static_cast<size_t>(out - scratch_)};
  return true;
}

// Moves over one character of a string.
bool json_reader::take_utf8() {
  const auto byte = [this](int i) { return at_ + i < end_ ? static_cast<uint8_t>(at_[i]) : uint8_t{0}; };
  const auto tail = [&byte](int i) { return (byte(i) & 0xc0) == 0x80; };
  const uint8_t lead = byte(0);
  if (lead < 0x20) return fail(lead == 0 ? "NUL in a string" : "control byte in a string");
  int length = 0;
  if (lead < 0x80) {
    length = 1;
  } else if (lead >= 0xc2 && lead <= 0xdf) {
    length = tail(1) ? 2 : 0;
  } else if (lead >= 0xe0 && lead <= 0xef) {
    const bool shortest = lead != 0xe0 || byte(1) >= 0xa0;
    const bool no_surrogate = lead != 0xed || byte(1) <= 0x9f;
    length = shortest && no_surrogate && tail(1) && tail(2) ? 3 : 0;
  } else if (lead >= 0xf0 && lead <= 0xf4) {
    const bool in_range = (lead != 0xf0 || byte(1) >= 0x90) && (lead != 0xf4 || byte(1) <= 0x8f);
    length = in_range && tail(1) && tail(2) && tail(3) ? 4 : 0;
  }
  if (length == 0) return fail("bytes that are not UTF-8");
  at_ += length;
  return true;
}

// Four hexadecimal digits, or -1.
int32_t json_reader::take_hex4() {
  if (end_ - at_ < 4) return -1;
  uint32_t code = 0;
  const auto result = std::from_chars(at_, at_ + 4, code, 16);
  if (result.ptr != at_ + 4) return -1;
  at_ += 4;
  return static_cast<int32_t>(code);
}

char *put_utf8(char *out, uint32_t code) {
  const auto put = [&out](uint32_t byte) { *out++ = static_cast<char>(byte); };
  if (code < 0x80) {
    put(code);
  } else if (code < 0x800) {
    put(0xc0 | code >> 6);
    put(0x80 | (code & 0x3f));
  } else if (code < 0x10000) {
    put(0xe0 | code >> 12);
    put(0x80 | (code >> 6 & 0x3f));
    put(0x80 | (code & 0x3f));
  } else {
    put(0xf0 | code >> 18);
    put(0x80 | (code >> 12 & 0x3f));
    put(0x80 | (code >> 6 & 0x3f));
    put(0x80 | (code & 0x3f));
  }
  return out;
}

bool json_reader::take_escape(char *&out) {
  constexpr std::string_view letters = "\"\\/bfnrt";
  constexpr std::string_view bytes = "\"\\/\b\f\n\r\t";
  const char *const first = at_++;
  const auto refuse = [&](const char *reason) {
    at_ = first;
    return fail(reason);
  };
  const char letter = *at_++; // there is one: the closing quote is ahead
  const size_t index = letters.find(letter);
  if (index != letters.npos) {
    *out++ = bytes[index];
    return true;
  }
  if (letter != 'u') return refuse("unknown escape");
  int32_t code = take_hex4();
  if (code < 0) return refuse("malformed \\u escape");
  if (code == 0) return refuse("NUL in a string");
  if (code >= 0xdc00 && code <= 0xdfff) return refuse("half a surrogate pair");
  if (code >= 0xd800 && code <= 0xdbff) {
    const int32_t low = take_word("\\u") ? take_hex4() : -1;
    if (low < 0xdc00 || low > 0xdfff) return refuse("half a surrogate pair");
    code = 0x10000 + (code - 0xd800) * 0x400 + (low - 0xdc00);
  }
  out = put_utf8(out, static_cast<uint32_t>(code));
  return true;
}

// Appends one element; null is an element without value. `last` counts up to the last that has one.
bool json_reader::add_element(zu_do_vlist *list, uint32_t &last, int depth) {
  const bool without = take_word("null");
  zu_do_value *element = without ? zu_do_value_new_none() : value(no_typedef, depth);
  if (element == nullptr) return false;
  const int code = zu_do_vlist_add(list, element);
  zu_do_value_deref(element);
  if (code != ZU_OK) return exhaust();
  if (!without) last = list->length;
  return true;
}

zu_do_value *json_reader::array(std::string_view typedef_name, int depth) {
  zu_do_vlist *list = zu_do_vlist_new();
  if (list == nullptr) return exhaust();
  uint32_t last = 0;
  zu_do_value *result = nullptr;
  ++at_;
  skip_blanks();
  bool open = !next_is(']');
  bool good = true;
  while (open && good) {
    skip_blanks();
    good = add_element(list, last, depth);
    skip_blanks();
    open = good && next_is(',');
    if (open) ++at_;
  }
  if (good && !next_is(']')) {
    fail("',' or ']' expected");
  } else if (good) {
    ++at_;
    list->length = last; // what is dropped are the shared elements without value
    result = make(cell_array(list), typedef_name);
  }
  zu_do_vlist_deref(list);
  return result;
}

zu_do_value *json_reader::object(std::string_view typedef_name, int depth) {
  ++at_;
  skip_blanks();
  if (!next_is('"')) return fail("member name expected");
  const char *const name_at = at_;
  std::string_view name;
  if (!scan_string(name)) return nullptr;
  if (name.empty()) {
    at_ = name_at;
    return fail("empty member name");
  }
  // The name may stand in the scratch block, which the value may need: it is kept as a value of its own.
  zu_do_value *kept =
      make({ZU_DO_TYPE_STRING, 0, 0, static_cast<uint32_t>(name.size()), {.text = name.data()}}, no_typedef);
  if (kept == nullptr) return nullptr;
  if (typedef_name.data() == nullptr && name != "v") typedef_name = kept->text();
  zu_do_value *result = nullptr;
  skip_blanks();
  if (!next_is(':')) {
    fail("':' expected");
  } else {
    ++at_;
    skip_blanks();
    result = value(typedef_name, depth);
  }
  skip_blanks();
  if (result != nullptr && !next_is('}')) {
    fail(next_is(',') ? "more than one member" : "'}' expected");
    zu_do_value_deref(result);
    result = nullptr;
  } else if (result != nullptr) {
    ++at_;
  }
  zu_do_value_deref(kept);
  return result;
}

zu_do_error *error_of(const json_reader &reader) {
  char message[128];
  if (reader.exhausted()) return zu_do_error_new(ZU_EXHAUSTED, "memory exhausted");
  snprintf(message, sizeof message, "%s at byte %zu", reader.reason(), reader.position());
  return zu_do_error_new(ZU_FAILED, message);
}

} // namespace

zu_do_value *zu_do_value_from_json(const char *text, size_t length, zu_do_error **error) {
  if (error != nullptr) *error = nullptr;
  json_reader reader(text == nullptr ? "" : text, text == nullptr ? 0 : length);
  zu_do_value *value = reader.document();
  if (value == nullptr && error != nullptr) *error = error_of(reader);
  return value;
}
