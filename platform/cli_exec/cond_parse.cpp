// Parses a condition text into its node block, or refuses it with the column where it does not fit.
#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <iterator>
#include <memory>
#include <string_view>
#include <utility>

#include "cli_exec/cond_tree.hpp"
#include "infra/text.hpp"
#include "zuapi/name.h"
#include "zuapi/value.h"

namespace zu_cond {

namespace {

constexpr unsigned max_depth = 64;
constexpr size_t max_text = UINT32_MAX / 2; // node indexes are 32 bits wide and a node takes a byte or more

template <auto release>
struct releaser {
  template <typename T>
  void operator()(T *object) const {
    release(object);
  }
};
using owned_value = std::unique_ptr<zu_do_value, releaser<zu_do_value_deref>>;
using owned_name = std::unique_ptr<zu_do_name, releaser<zu_do_name_deref>>;
using owned_error = std::unique_ptr<zu_do_error, releaser<zu_do_error_deref>>;
using owned_list = std::unique_ptr<zu_cond_list, releaser<zu_cond_list_free>>;

struct operation {
  std::string_view word;
  kind what;
  unsigned least, most; // arguments
  const char *takes;
};
constexpr operation operations[] = {
    {"and", kind::all_of, 1, UINT32_MAX, "one or more arguments"},
    {"or", kind::any_of, 1, UINT32_MAX, "one or more arguments"},
    {"not", kind::negation, 1, 1, "one argument"},
    {"eq", kind::equal, 2, 2, "two arguments"},
    {"ne", kind::not_equal, 2, 2, "two arguments"},
    {"lt", kind::less, 2, 2, "two arguments"},
    {"le", kind::less_or_equal, 2, 2, "two arguments"},
    {"gt", kind::greater, 2, 2, "two arguments"},
    {"ge", kind::greater_or_equal, 2, 2, "two arguments"},
    {"set", kind::is_set, 1, 1, "one argument"},
};

using infra::is_blank;

bool ends_word(char c) {
  return is_blank(c) || c == '(' || c == ')';
}

bool is_name(std::string_view text) {
  const auto bad = [](unsigned char c) { return c <= ' ' || c == 0x7f || c == '"' || c == '(' || c == ')'; };
  return !text.empty() && std::none_of(text.begin(), text.end(), bad);
}

// A start of a text that is short enough for a message and does not end within a character.
std::string_view shown(std::string_view text) {
  size_t length = std::min<size_t>(text.size(), 48);
  if (length < text.size()) {
    while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xc0) == 0x80) --length;
  }
  return text.substr(0, length);
}

class parser {
public:
  explicit parser(std::string_view text) : text_(text) {}

  bool parse();
  zu_cond_list *give() { return list_.release(); }
  int32_t code() const { return code_; }
  const char *message() const { return message_; }

private:
  // Reading the text.
  bool at_end() const { return at_ == text_.size(); }
  char here() const { return text_[at_]; } // not at the end
  void skip_blanks();
  std::string_view word_at(size_t at) const;
  bool at_group() const;

  // Each adds the nodes of what stands here; false after a refusal.
  bool parse_pair();
  bool parse_group(unsigned depth);
  bool parse_argument(unsigned depth) { return at_group() ? parse_group(depth) : parse_operand(); }
  bool parse_operand();
  bool parse_eval();
  bool parse_string();
  bool parse_word();
  bool read_string(owned_value &value);
  bool decode(std::string_view json, size_t at, owned_value &value);

  bool open(kind group, uint32_t &index);
  void close(uint32_t index) { list_->nodes()[index].end = list_->count; }
  bool add(const node &added);
  bool add_constant(owned_value value);
  bool add_property(std::string_view name, size_t at);

  bool refuse(size_t at, const char *format, ...) __attribute__((format(printf, 3, 4)));
  bool exhausted();

  std::string_view text_;
  size_t at_ = 0;
  owned_list list_;
  int32_t code_ = ZU_FAILED;
  char message_[256] = "";
};

bool parser::refuse(size_t at, const char *format, ...) {
  char reason[160];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(reason, sizeof reason, format, arguments);
  va_end(arguments);
  std::snprintf(message_, sizeof message_, "condition: %s at column %zu", reason, at + 1);
  return false;
}

bool parser::exhausted() {
  code_ = ZU_EXHAUSTED;
  return refuse(at_, "memory exhausted");
}

void parser::skip_blanks() {
  while (!at_end() && is_blank(here())) ++at_;
}

std::string_view parser::word_at(size_t at) const {
  size_t end = at;
  while (end < text_.size() && !ends_word(text_[end])) ++end;
  return text_.substr(at, end - at);
}

// An "(eval ...)" looks like a group but is an operand.
bool parser::at_group() const {
  if (here() != '(') return false;
  size_t at = at_ + 1;
  while (at < text_.size() && is_blank(text_[at])) ++at;
  return word_at(at) != "eval";
}

bool parser::parse() {
  if (text_.size() > max_text) return refuse(max_text, "text too long");
  skip_blanks();
  if (at_end()) return refuse(at_, "empty text");
  list_.reset(list_new());
  uint32_t all = 0;
  if (list_ == nullptr || !open(kind::all_of, all)) return exhausted();
  for (; !at_end(); skip_blanks()) {
    if (here() == ')') return refuse(at_, "text left over");
    if (!(at_group() ? parse_group(1) : parse_pair())) return false;
  }
  close(all);
  zu_cond_list *list = list_.release();
  list_trim(list);
  list_.reset(list);
  return true;
}

bool parser::parse_pair() {
  const size_t start = at_;
  uint32_t pair = 0;
  if (!open(kind::equal, pair) || !parse_operand()) return false;
  skip_blanks();
  if (at_end() || here() == ')' || at_group()) return refuse(start, "operand without a partner");
  if (!parse_operand()) return false;
  close(pair);
  return true;
}

bool parser::parse_group(unsigned depth) {
  const size_t start = at_++;
  if (depth > max_depth) return refuse(start, "groups nested more than %u deep", max_depth);
  skip_blanks();
  const size_t word_start = at_;
  const std::string_view word = word_at(at_);
  const auto *op = std::find_if(std::begin(operations), std::end(operations),
                                [word](const operation &known) { return known.word == word; });
  if (word.empty()) return refuse(at_, "missing operator");
  if (op == std::end(operations)) {
    const std::string_view part = shown(word);
    return refuse(at_, "unknown operator \"%.*s\"", static_cast<int>(part.size()), part.data());
  }
  at_ += word.size();
  uint32_t group = 0;
  if (!open(op->what, group)) return false;
  unsigned count = 0;
  for (skip_blanks(); !at_end() && here() != ')'; skip_blanks(), ++count) {
    if (!parse_argument(depth + 1)) return false;
  }
  if (at_end()) return refuse(start, "group without end");
  if (count < op->least || count > op->most) {
    return refuse(word_start, "operator \"%s\" takes %s, not %u,", op->word.data(), op->takes, count);
  }
  ++at_;
  close(group);
  return true;
}

bool parser::parse_operand() {
  switch (here()) {
  case '(':
    return parse_eval();
  case '"':
    return parse_string();
  default:
    return parse_word();
  }
}

bool parser::parse_eval() {
  const size_t start = at_++;
  skip_blanks();
  at_ += std::strlen("eval");
  skip_blanks();
  const size_t string_start = at_;
  if (at_end() || here() != '"') return refuse(at_, "\"eval\" without a string");
  owned_value value;
  if (!read_string(value)) return false;
  skip_blanks();
  if (at_end()) return refuse(start, "group without end");
  if (here() != ')') return refuse(at_, "more than one string in \"eval\"");
  ++at_;
  const std::string_view text = zu_do_value_get_string(value.get(), nullptr);
  if (text.starts_with('$') && is_name(text.substr(1))) return add_property(text.substr(1), string_start);
  if (text.starts_with('{') && text.ends_with('}')) {
    owned_value decoded;
    return decode(text, string_start, decoded) && add_constant(std::move(decoded));
  }
  return add_constant(std::move(value));
}

bool parser::parse_string() {
  owned_value value;
  if (!read_string(value)) return false;
  if (!at_end() && !ends_word(here())) return refuse(at_, "missing blank");
  return add_constant(std::move(value));
}

bool parser::parse_word() {
  const size_t start = at_;
  const std::string_view word = word_at(start);
  at_ += word.size();
  if (word.starts_with('$')) return add_property(word.substr(1), start);
  const bool number = word[0] == '-' || (word[0] >= '0' && word[0] <= '9');
  if (!number && word != "true" && word != "false" && word != "null") {
    const std::string_view part = shown(word);
    return refuse(start, "unknown operand \"%.*s\"", static_cast<int>(part.size()), part.data());
  }
  owned_value value;
  return decode(word, start, value) && add_constant(std::move(value));
}

bool parser::read_string(owned_value &value) {
  const size_t start = at_;
  size_t end = start + 1;
  while (end < text_.size() && text_[end] != '"') end += text_[end] == '\\' ? 2 : 1;
  if (end >= text_.size()) return refuse(start, "string without end");
  at_ = end + 1;
  return decode(text_.substr(start, at_ - start), start, value);
}

bool parser::decode(std::string_view json, size_t at, owned_value &value) {
  zu_do_error *raw_error = nullptr;
  value.reset(zu_do_value_from_json(json.data(), json.size(), &raw_error));
  const owned_error error(raw_error);
  if (value != nullptr) return true;
  // An error object that could not be made is memory that is not there.
  if (error == nullptr || zu_do_error_get_code(error.get()) == ZU_EXHAUSTED) return exhausted();
  const std::string_view why = shown(zu_do_error_get_msg(error.get()));
  return refuse(at, "bad value (%.*s)", static_cast<int>(why.size()), why.data());
}

bool parser::add(const node &added) {
  zu_cond_list *list = list_.release();
  const bool grown = list_add(list, added);
  list_.reset(list);
  return grown || exhausted();
}

bool parser::open(kind group, uint32_t &index) {
  index = list_->count;
  return add({group, index + 1, {nullptr}});
}

bool parser::add_constant(owned_value value) {
  if (!add({kind::constant, list_->count + 1, {value.get()}})) return false;
  static_cast<void>(value.release()); // the list owns it now
  return true;
}

bool parser::add_property(std::string_view text, size_t at) {
  if (!is_name(text)) return refuse(at, "bad property name");
  owned_name name(zu_do_name_new_l(text.data(), text.size()));
  if (name == nullptr) return exhausted();
  node added{kind::property, list_->count + 1, {nullptr}};
  added.name = name.get();
  if (!add(added)) return false;
  static_cast<void>(name.release()); // the list owns it now
  return true;
}

} // namespace

} // namespace zu_cond

bool parse_cond_expr_no_trailing(void *context, zu_cli_error_fn error, const char *, const char *text,
                                 zu_cond_list **list) {
  zu_cond::parser parser(text != nullptr ? text : "");
  const bool parsed = parser.parse();
  *list = parsed ? parser.give() : nullptr;
  if (!parsed && error != nullptr) error(context, parser.code(), parser.message());
  return parsed;
}
