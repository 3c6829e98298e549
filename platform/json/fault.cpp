// Finds the first fault in the syntax of a JSON text, with a second parser, which knows the places of faults.
#include "json/fault.hpp"

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>
#include <utility>

namespace zu_json {

namespace {

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}
bool is_in_word(char c) {
  return c >= 'a' && c <= 'z';
}
bool is_in_number(char c) {
  return is_digit(c) || std::string_view("+-.eE").find(c) != std::string_view::npos;
}

// The beginning of the run of such bytes that ends at `at`.
template <class IsIn>
size_t start_of_run(std::string_view text, size_t at, IsIn is_in) {
  while (at > 0 && is_in(text[at - 1])) --at;
  return at;
}

// The beginning of the UTF-8 sequence that the byte does not continue.
size_t start_of_sequence(std::string_view text, size_t bad) {
  const auto continues = [](char c) { return (static_cast<uint8_t>(c) & 0xc0) == 0x80; };
  const size_t lead = start_of_run(text, bad, continues) - 1;
  const auto first = static_cast<uint8_t>(text[lead]); // at least the quote before the text
  const size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : first >= 0xc0 ? 2 : 1;
  return bad - lead < length ? lead : bad;
}

// The parser's message for a fault, and ours.
struct wording {
  const char *theirs;
  const char *ours;
};
constexpr wording in_strings[] = {{"missing closing quote", "string without an end"},
                                  {"control character", "control character in a string"},
                                  {"after backslash", "unknown escape in a string"},
                                  {"4 hex digits", "unknown escape in a string"},
                                  {"surrogate", "half of a surrogate pair in a string"},
                                  {"ill-formed UTF-8", "the text is not valid UTF-8"}};
constexpr wording expected[] = {{"; expected end of input", "text after the end of the document"},
                                {"; expected string literal", "expected a name in quotes"},
                                {"; expected ':'", "expected ':' after the name"},
                                {"; expected '}'", "expected ',' or '}'"},
                                {"; expected ']'", "expected ',' or ']'"}};

template <size_t count>
const char *find(const wording (&all)[count], std::string_view said) {
  for (const wording &one : all) {
    if (said.find(one.theirs) != said.npos) return one.ours;
  }
  return nullptr;
}

// A fault that the parser found after reading up to `read`; `token` is the length of the last token.
refusal fault_at(std::string_view text, size_t read, size_t token, std::string_view said) {
  const auto says = [said](const char *what) { return said.find(what) != said.npos; };
  const size_t last = std::min(read, text.size()) - 1;
  if (const char *message = find(in_strings, said)) {
    if (says("closing quote")) return {text.size() - token, message};
    if (says("UTF-8")) return {start_of_sequence(text, last), message};
    if (says("control character")) return {last, message};
    const size_t escape = text.rfind('\\', says("4 hex digits") ? last - 1 : last);
    // The first escape of a pair is reported, although the parser may have read the next one too.
    return {says("must be followed by U") && last != escape + 6 ? escape - 6 : escape, message};
  }
  if (read > text.size() && says("unexpected end of input")) {
    const bool empty = text.find_first_not_of(" \t\r\n") == text.npos;
    return {text.size(), empty ? "the document is empty" : "the document ends too early"};
  }
  const char *message = find(expected, said);
  const bool number = says("number literal") || says("invalid number");
  const size_t start = says("unexpected string literal") ? read - token
                       : number                          ? start_of_run(text, last, is_in_number)
                                                         : start_of_run(text, last, is_in_word);
  // A number ends at a byte that may follow a number.
  const bool goes_on =
      start > 0 && is_digit(text[start - 1]) && std::string_view(",]}").find(text[start]) == text.npos;
  if (goes_on || (says("number literal") && read - token > start) ||
      (says("invalid number") && message == nullptr)) {
    return {start_of_run(text, start, is_in_number), "malformed number"};
  }
  return {start, message == nullptr ? "expected a value" : message};
}

// The place where the text is nested too deep, if it is
// correct up to there; its end if there is no such place.
size_t too_deep_at(std::string_view text) {
  uint32_t depth = 0;
  bool in_string = false;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '"') in_string = !in_string;
    if (in_string) {
      if (c == '\\') ++i;
    } else if (c == '{' || c == '[') {
      if (++depth > deepest) return i;
    } else if (c == '}' || c == ']') {
      --depth;
    }
  }
  return text.size();
}

// A receiver that accepts all values and stores the fault.
struct fault_finder : nlohmann::detail::json_sax_acceptor<nlohmann::json> {
  std::string_view text;
  refusal found;

  bool parse_error(size_t read, const std::string &token, const nlohmann::detail::exception &fault) {
    // The message repeats what was read last, which may contain the parser's own words.
    constexpr std::string_view introduction = "; last read: '";
    std::string said = fault.what();
    const size_t at = said.find(introduction);
    if (at != said.npos) said.erase(at + introduction.size(), token.size());
    found = fault_at(text, read, token.size(), said);
    constexpr int overflow = 406;
    if (fault.id == overflow) found.message = "a number out of range";
    return false;
  }
};

} // namespace

refusal first_fault(std::string_view text, const refusal &found) {
  if (text.starts_with("\xef\xbb\xbf")) return {0, "expected a value"}; // the parsers differ about the mark
  fault_finder finder;
  finder.text = text;
  finder.found.offset = text.size() + 1; // unless there is one
  nlohmann::json::sax_parse(text.begin(), text.end(), &finder);
  const size_t too_deep = too_deep_at(text);
  if (too_deep < std::min(finder.found.offset, text.size())) {
    finder.found = {too_deep, "nested deeper than 64 levels"};
  }
  return finder.found.offset > found.offset ? found : finder.found;
}

} // namespace zu_json
