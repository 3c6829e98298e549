// Converts a YAML document to JSON while the parser reports its events. Only anchors are kept, so that a big
// file needs no second copy in memory.
#include "yaml/document.hpp"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <new>
#include <simdjson.h>
#include <sstream>
#include <unordered_map>
#include <yaml-cpp/eventhandler.h>
#include <yaml-cpp/exceptions.h>
#include <yaml-cpp/mark.h>
#include <yaml-cpp/parser.h>

namespace zu_yaml {

namespace {

constexpr std::string_view standard_tags = "tag:yaml.org,2002:";

bool is_one_of(std::string_view text, std::initializer_list<std::string_view> words) {
  return std::find(words.begin(), words.end(), text) != words.end();
}

// The length of the run of digits at the beginning.
size_t digits_of(std::string_view text) {
  return std::min(text.find_first_not_of("0123456789"), text.size());
}

// A whole number of another base as JSON; empty when the text is no such number, or does not fit.
std::string number_of_base(std::string_view text) {
  const bool octal = text.starts_with("0o");
  if (!octal && !text.starts_with("0x")) return "";
  uint64_t value = 0;
  const char *end = text.data() + text.size();
  const auto [read, fault] = std::from_chars(text.data() + 2, end, value, octal ? 8 : 16);
  return fault == std::errc() && read == end ? std::to_string(value) : "";
}

// A plain scalar that is a number, in the form of JSON: no plus, digits on both sides of the point, no
// leading zeros. Empty when it is no number.
std::string number_of(std::string_view text) {
  if (std::string number = number_of_base(text); !number.empty()) return number;
  std::string number;
  if (text.starts_with('-')) number = "-";
  if (text.starts_with('-') || text.starts_with('+')) text.remove_prefix(1);
  const size_t whole = digits_of(text);
  std::string_view digits = text.substr(0, whole);
  while (digits.size() > 1 && digits.front() == '0') digits.remove_prefix(1);
  number += digits.empty() ? "0" : digits;
  text.remove_prefix(whole);
  size_t fraction = 0;
  if (text.starts_with('.')) {
    fraction = digits_of(text.substr(1));
    number.append(".").append(fraction == 0 ? "0" : text.substr(1, fraction));
    text.remove_prefix(1 + fraction);
  }
  if (whole + fraction == 0) return "";
  if (text.starts_with('e') || text.starts_with('E')) {
    const size_t sign = text.size() > 1 && (text[1] == '+' || text[1] == '-') ? 1 : 0;
    const size_t exponent = digits_of(text.substr(1 + sign));
    if (exponent == 0) return "";
    number += text.substr(0, 1 + sign + exponent);
    text.remove_prefix(1 + sign + exponent);
  }
  return text.empty() ? number : "";
}

class writer : public YAML::EventHandler {
public:
  explicit writer(size_t longest) : longest_(longest) {}
  document take() { return std::move(made_); }

  void OnDocumentStart(const YAML::Mark &mark) override {
    if (!made_.json.empty()) refuse(mark, "more than one document");
  }
  void OnDocumentEnd() override {}
  void OnNull(const YAML::Mark &mark, YAML::anchor_t anchor) override {
    if (is_key()) refuse(mark, "a name must be a text");
    begin(mark);
    put_leaf("null", "", anchor);
  }
  void OnAlias(const YAML::Mark &mark, YAML::anchor_t anchor) override {
    if (is_key()) refuse(mark, "a name must be a text, not an alias");
    const auto found = anchored_.find(anchor);
    if (found == anchored_.end()) refuse(mark, "an alias stands in what it stands for");
    begin(mark);
    made_.json += found->second;
    ended();
  }
  void OnScalar(const YAML::Mark &mark, const std::string &tag, YAML::anchor_t anchor,
                const std::string &text) override {
    if (is_key()) return put_name(mark, tag, anchor, text);
    const std::string type = type_of(mark, tag);
    // A text without quotes that begins with a '!', a password perhaps, would be taken for a type, and lost.
    if (!type.empty() && text.empty()) refuse(mark, "no text stands behind the tag");
    const bool plain = tag == "?" || (type.empty() && tag != "!" && !tag.ends_with(":str"));
    const std::string json = plain ? json_of_plain(text) : "";
    if (plain && json.empty() && tag != "?") refuse(mark, "the text does not fit its tag");
    begin(mark);
    put_leaf(json.empty() ? quoted(text) : json, type, anchor);
  }
  void OnSequenceStart(const YAML::Mark &mark, const std::string &tag, YAML::anchor_t anchor,
                       YAML::EmitterStyle::value) override {
    open(mark, tag, anchor, '[');
  }
  void OnSequenceEnd() override { close(']'); }
  void OnMapStart(const YAML::Mark &mark, const std::string &tag, YAML::anchor_t anchor,
                  YAML::EmitterStyle::value) override {
    open(mark, tag, anchor, '{');
  }
  void OnMapEnd() override { close('}'); }

private:
  // A sequence or mapping that is being read.
  struct container {
    bool mapping;
    bool any = false;   // it is not empty
    bool named = false; // a mapping's name was read, and its value comes
    bool typed;
    YAML::anchor_t anchor;
    size_t start; // in the JSON text
  };

  [[noreturn]] static void refuse(const YAML::Mark &mark, std::string message) {
    throw refusal{{static_cast<size_t>(mark.line) + 1, static_cast<size_t>(mark.column) + 1},
                  std::move(message)};
  }

  bool is_key() const { return !open_.empty() && open_.back().mapping && !open_.back().named; }

  // Writes the text before a node: a comma, and the line feeds up to its line.
  void begin(const YAML::Mark &mark) {
    if (!open_.empty() && !open_.back().named) {
      if (open_.back().any) made_.json += ',';
      open_.back().any = true;
    }
    const auto line = static_cast<size_t>(std::max(mark.line, 0));
    if (line > line_) made_.json.append(line - line_, '\n');
    line_ = std::max(line, line_);
    made_.tokens.push_back({made_.json.size(), {line + 1, static_cast<size_t>(mark.column) + 1}});
    if (made_.json.size() > longest_) refuse(mark, "aliases make the text too long");
  }
  // Called after a node: in a mapping another name follows.
  void ended() {
    if (!open_.empty()) open_.back().named = false;
  }
  void remember(YAML::anchor_t anchor, size_t start) {
    if (anchor == 0) return;
    std::string text = made_.json.substr(start);
    std::erase(text, '\n'); // an alias is on one line
    anchored_[anchor] = std::move(text);
  }

  void put_name(const YAML::Mark &mark, const std::string &tag, YAML::anchor_t anchor,
                const std::string &text) {
    if (tag == "?" && text == "<<") refuse(mark, "mappings are not merged");
    if (tag != "?" && tag != "!" && tag != std::string(standard_tags) + "str") {
      refuse(mark, "a name must be a text");
    }
    begin(mark);
    const size_t start = made_.json.size();
    made_.json += quoted(text);
    remember(anchor, start);
    made_.json += ':';
    open_.back().named = true;
  }
  void put_leaf(const std::string &json, const std::string &type, YAML::anchor_t anchor) {
    const size_t start = made_.json.size();
    made_.json += type.empty() ? json : "{" + quoted(type) + ":" + json + "}";
    remember(anchor, start);
    ended();
  }
  void open(const YAML::Mark &mark, const std::string &tag, YAML::anchor_t anchor, char bracket) {
    if (is_key()) refuse(mark, "a name must be a text");
    const std::string type = type_of(mark, tag);
    begin(mark);
    open_.push_back({bracket == '{', false, false, !type.empty(), anchor, made_.json.size()});
    if (!type.empty()) made_.json += "{" + quoted(type) + ":";
    made_.json += bracket;
  }
  void close(char bracket) {
    made_.json += bracket;
    if (open_.back().typed) made_.json += '}';
    remember(open_.back().anchor, open_.back().start);
    open_.pop_back();
    ended();
  }

  // The typedef name from a tag of the document's own; empty for a standard tag.
  static std::string type_of(const YAML::Mark &mark, const std::string &tag) {
    if (tag.empty() || tag == "?" || tag == "!") return "";
    if (tag.starts_with(standard_tags)) {
      const std::string_view name = std::string_view(tag).substr(standard_tags.size());
      if (is_one_of(name, {"str", "int", "float", "bool", "null", "seq", "map"})) return "";
    } else if (tag.starts_with('!')) {
      return tag.substr(1);
    }
    refuse(mark, "unknown tag"); // of a text without quotes, perhaps, which begins with a '!'
  }
  // The value of a plain scalar; empty when it is a text.
  static std::string json_of_plain(const std::string &text) {
    if (is_one_of(text, {"", "~", "null", "Null", "NULL"})) return "null";
    if (is_one_of(text, {"true", "True", "TRUE"})) return "true";
    if (is_one_of(text, {"false", "False", "FALSE"})) return "false";
    return number_of(text);
  }
  static std::string quoted(std::string_view text) {
    std::string json;
    infra::put_quoted(json, text);
    return json;
  }

  size_t longest_;
  document made_;
  size_t line_ = 0; // of the end of the JSON text
  std::vector<container> open_;
  std::unordered_map<YAML::anchor_t, std::string> anchored_;
};

// Refuses bytes that the parser would read as another encoding
// or as marks of its own, or would pass on unchanged.
void check_bytes(std::string_view text) {
  const bool valid = simdjson::validate_utf8(text.data(), text.size());
  size_t line = 1;
  while (!text.empty()) {
    const std::string_view here = text.substr(0, text.find('\n'));
    if (!valid && !simdjson::validate_utf8(here.data(), here.size())) {
      throw refusal{{line, 1}, "the line is not valid UTF-8"};
    }
    const auto bad = std::find_if(here.begin(), here.end(),
                                  [](char c) { return infra::is_control(c) && c != '\t' && c != '\r'; });
    if (bad != here.end()) {
      throw refusal{{line, static_cast<size_t>(bad - here.begin()) + 1}, "control character"};
    }
    text.remove_prefix(std::min(here.size() + 1, text.size()));
    ++line;
  }
}

} // namespace

infra::place document::place_of(size_t offset) const {
  auto after = std::upper_bound(tokens.begin(), tokens.end(), offset,
                                [](size_t wanted, const token &each) { return wanted < each.offset; });
  return after == tokens.begin() ? infra::place{1, 1} : std::prev(after)->at;
}

document read_document(std::string_view text) {
  check_bytes(text);
  constexpr size_t always = size_t{16} << 20;
  constexpr size_t a_byte = 64;
  writer to(always + a_byte * text.size());
  std::istringstream stream{std::string(text)};
  try {
    YAML::Parser parser(stream);
    if (!parser.HandleNextDocument(to)) throw refusal{{1, 1}, "the document is empty"};
    parser.HandleNextDocument(to); // which is refused
  } catch (const YAML::Exception &fault) {
    throw refusal{{static_cast<size_t>(std::max(fault.mark.line, 0)) + 1,
                   static_cast<size_t>(std::max(fault.mark.column, 0)) + 1},
                  fault.msg};
  }
  return to.take();
}

} // namespace zu_yaml
