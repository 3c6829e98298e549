// The first fault in the syntax of a JSON text.
#include "zuapi/json_syntax.hpp"

namespace zuapi {

namespace {

constexpr const char *not_utf8 = "the text is not valid UTF-8";

bool is_blank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}
bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

// The value of four hexadecimal digits at the front of the text, or -1.
int hex4(std::string_view text) {
  if (text.size() < 4) return -1;
  int value = 0;
  for (char c : text.substr(0, 4)) {
    const char lower = static_cast<char>(c | 0x20);
    if (!is_digit(c) && (lower < 'a' || lower > 'f')) return -1;
    value = value * 16 + (is_digit(c) ? c - '0' : lower - 'a' + 10);
  }
  return value;
}

// The length of the UTF-8 sequence at the front of the text, 0 when it is not one.
size_t sequence_length(std::string_view text) {
  const auto byte = [&](size_t i) { return static_cast<uint8_t>(text[i]); };
  const uint8_t first = byte(0);
  if (first < 0x80) return 1;
  const size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
  if (first < 0xc2 || first > 0xf4 || text.size() < length) return 0;
  for (size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xc0) != 0x80) return 0;
  }
  const uint8_t second = byte(1);
  const bool fits = !(first == 0xe0 && second < 0xa0) && !(first == 0xed && second > 0x9f) &&
                    !(first == 0xf0 && second < 0x90) && !(first == 0xf4 && second > 0x8f);
  return fits ? length : 0;
}

class scanner {
public:
  explicit scanner(std::string_view text) : text_(text) {}

  void document() {
    value();
    while (depth_ > 0) next_in_container();
    if (peek() != '\0' || at_ < text_.size()) fail("text after the end of the document");
  }

private:
  [[noreturn]] void fail(const char *message) const { throw refusal{at_, message}; }

  // The next byte that is not blank; NUL at the end of the text.
  char peek() {
    while (at_ < text_.size() && is_blank(text_[at_])) ++at_;
    return at_ < text_.size() ? text_[at_] : '\0';
  }
  bool ended() const { return at_ == text_.size(); }

  void expect(bool fits, const char *message) {
    if (fits) return;
    if (ended()) fail(depth_ == 0 ? "the document is empty" : "the document ends too early");
    if (static_cast<uint8_t>(text_[at_]) >= 0x80 && sequence_length(text_.substr(at_)) == 0) fail(not_utf8);
    fail(message);
  }

  // A value; of a container only its start and, when there is one, its first member's name.
  void value() {
    const char c = peek();
    if (c == '{' || c == '[') return open(c == '{');
    if (c == '"') return string();
    if (c == '-' || is_digit(c)) return number();
    for (std::string_view word : {"true", "false", "null"}) {
      if (text_.substr(at_, word.size()) == word) {
        at_ += word.size();
        return;
      }
    }
    expect(false, "expected a value");
  }

  void open(bool object) {
    if (depth_ == deepest) fail("nested deeper than 64 levels");
    object_[depth_++] = object;
    ++at_;
    if (peek() == (object ? '}' : ']')) return;
    if (object) name();
    value_is_next_ = true;
  }

  void next_in_container() {
    if (value_is_next_) {
      value_is_next_ = false;
      return value();
    }
    const bool object = object_[depth_ - 1];
    const char c = peek();
    if (c == (object ? '}' : ']')) {
      ++at_;
      --depth_;
      return;
    }
    expect(c == ',', object ? "expected ',' or '}'" : "expected ',' or ']'");
    ++at_;
    if (object) name();
    value();
  }

  void name() {
    expect(peek() == '"', "expected a name in quotes");
    string();
    expect(peek() == ':', "expected ':' after the name");
    ++at_;
  }

  void string() {
    const size_t start = at_++;
    while (at_ < text_.size() && text_[at_] != '"') {
      const char c = text_[at_];
      if (static_cast<uint8_t>(c) < 0x20) fail("control character in a string");
      if (c == '\\') {
        escape();
        continue;
      }
      const size_t length = sequence_length(text_.substr(at_));
      if (length == 0) fail(not_utf8);
      at_ += length;
    }
    if (ended()) {
      at_ = start;
      fail("string without an end");
    }
    ++at_;
  }

  void escape() {
    const std::string_view rest = text_.substr(at_ + 1);
    if (rest.empty()) {
      ++at_;
      return; // the string has no end: the caller says so
    }
    if (std::string_view("\"\\/bfnrt").find(rest[0]) != std::string_view::npos) {
      at_ += 2;
      return;
    }
    const int unit = rest[0] == 'u' ? hex4(rest.substr(1)) : -1;
    if (unit < 0) fail("unknown escape in a string");
    at_ += 6;
    if (unit < 0xd800 || unit > 0xdfff) return;
    const int low = rest.size() > 7 && rest[5] == '\\' && rest[6] == 'u' ? hex4(rest.substr(7)) : -1;
    if (unit > 0xdbff || low < 0xdc00 || low > 0xdfff) {
      at_ -= 6;
      fail("half of a surrogate pair in a string");
    }
    at_ += 6;
  }

  void number() {
    size_t at = at_;
    const auto here = [&] { return at < text_.size() ? text_[at] : '\0'; };
    const auto digits = [&] {
      if (!is_digit(here())) fail("malformed number");
      while (is_digit(here())) ++at;
    };
    if (here() == '-') ++at;
    if (here() == '0') {
      ++at;
    } else {
      digits();
    }
    if (here() == '.') {
      ++at;
      digits();
    }
    if (here() == 'e' || here() == 'E') {
      ++at;
      if (here() == '+' || here() == '-') ++at;
      digits();
    }
    if (at < text_.size() && !is_blank(here()) &&
        std::string_view(",]}").find(here()) == std::string_view::npos)
      fail("malformed number");
    at_ = at;
  }

  std::string_view text_;
  size_t at_ = 0;
  uint32_t depth_ = 0;
  bool value_is_next_ = false;
  bool object_[deepest] = {};
};

} // namespace

refusal first_fault(std::string_view text, refusal found) {
  try {
    scanner(text).document();
  } catch (refusal &fault) {
    if (fault.offset <= found.offset) return std::move(fault);
  }
  return found;
}

} // namespace zuapi
