// Parses a condition text into a block of nodes, or refuses it with the column of the fault.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli_exec/cond_tree.hpp"
#include "infra/memory.hpp"
#include "infra/text.hpp"
#include "qmalloc/qmalloc.h"
#include "zuapi/name.h"
#include "zuapi/value.h"

namespace zu_cond {

namespace {

constexpr unsigned max_depth = 64;
constexpr size_t max_text = UINT32_MAX / 2; // node indexes are 32 bits wide and a node takes a byte or more

using owned_value = infra::owned<zu_do_value, zu_do_value_deref>;
using owned_error = infra::owned<zu_do_error, zu_do_error_deref>;

void release_nodes(const node *nodes, size_t count) {
  for (const node *each = nodes; each != nodes + count; ++each) {
    if (each->what == kind::constant) zu_do_value_deref(each->value);
    if (each->what == kind::property) zu_do_name_deref(each->name);
  }
}

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

// A word as a message shows it.
std::string shown(std::string_view word) {
  return '"' + std::string(infra::start_of(word, 48)) + '"';
}

// Thrown when a text is refused.
struct refused {
  size_t at;
  std::string reason;
};

[[noreturn]] void refuse(size_t at, std::string reason) {
  throw refused{at, std::move(reason)};
}

class parser {
public:
  explicit parser(std::string_view text) : text_(text) {}
  ~parser() { release_nodes(nodes_.data(), nodes_.size()); }
  parser(const parser &) = delete;
  parser &operator=(const parser &) = delete;

  // Throws refused or std::bad_alloc.
  zu_cond_list *parse() {
    parse_all();
    return give();
  }
  size_t at() const { return at_; }

private:
  // Reading the text.
  bool at_end() const { return at_ == text_.size(); }
  char here() const { return text_[at_]; } // not at the end
  void skip_blanks();
  std::string_view word_at(size_t at) const;
  bool at_group() const;

  // Each parses one form at the current position and adds its nodes, or throws.
  void parse_all();
  void parse_pair();
  void parse_group(unsigned depth);
  void parse_argument(unsigned depth) { at_group() ? parse_group(depth) : parse_operand(); }
  void parse_operand();
  void parse_eval();
  void parse_string();
  void parse_word();
  owned_value read_string();
  owned_value decode(std::string_view json, size_t at);

  size_t open(kind group) {
    nodes_.push_back({group, 0, {nullptr}});
    return nodes_.size() - 1;
  }
  void close(size_t index) { nodes_[index].end = static_cast<uint32_t>(nodes_.size()); }
  void add_constant(owned_value value);
  void add_property(std::string_view name, size_t at);
  zu_cond_list *give();

  std::string_view text_;
  size_t at_ = 0;
  std::vector<node> nodes_; // they own their values and names
};

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

void parser::parse_all() {
  if (text_.size() > max_text) refuse(max_text, "text too long");
  skip_blanks();
  if (at_end()) refuse(at_, "empty text");
  const size_t all = open(kind::all_of);
  for (; !at_end(); skip_blanks()) {
    if (here() == ')') refuse(at_, "text left over");
    at_group() ? parse_group(1) : parse_pair();
  }
  close(all);
}

// The nodes in a block of their own.
zu_cond_list *parser::give() {
  const size_t size = nodes_.size() * sizeof(node);
  auto *list = static_cast<zu_cond_list *>(qmalloc_named(ZU_DO_AREA, sizeof(zu_cond_list) + size));
  if (list == nullptr) throw std::bad_alloc();
  list->count = static_cast<uint32_t>(nodes_.size());
  std::copy(nodes_.begin(), nodes_.end(), list->nodes());
  nodes_.clear();
  return list;
}

void parser::parse_pair() {
  const size_t start = at_;
  const size_t pair = open(kind::equal);
  parse_operand();
  skip_blanks();
  if (at_end() || here() == ')' || at_group()) refuse(start, "operand without a partner");
  parse_operand();
  close(pair);
}

void parser::parse_group(unsigned depth) {
  const size_t start = at_++;
  if (depth > max_depth) refuse(start, "groups nested more than " + std::to_string(max_depth) + " deep");
  skip_blanks();
  const size_t word_start = at_;
  const std::string_view word = word_at(at_);
  const auto *op = std::find_if(std::begin(operations), std::end(operations),
                                [word](const operation &known) { return known.word == word; });
  if (word.empty()) refuse(at_, "missing operator");
  if (op == std::end(operations)) refuse(at_, "unknown operator " + shown(word));
  at_ += word.size();
  const size_t group = open(op->what);
  unsigned count = 0;
  for (skip_blanks(); !at_end() && here() != ')'; skip_blanks(), ++count) parse_argument(depth + 1);
  if (at_end()) refuse(start, "group without end");
  if (count < op->least || count > op->most) {
    refuse(word_start,
           "operator " + shown(word) + " takes " + op->takes + ", not " + std::to_string(count) + ",");
  }
  ++at_;
  close(group);
}

void parser::parse_operand() {
  switch (here()) {
  case '(':
    return parse_eval();
  case '"':
    return parse_string();
  default:
    return parse_word();
  }
}

void parser::parse_eval() {
  const size_t start = at_++;
  skip_blanks();
  at_ += std::strlen("eval");
  skip_blanks();
  const size_t string_start = at_;
  if (at_end() || here() != '"') refuse(at_, "\"eval\" without a string");
  owned_value value = read_string();
  skip_blanks();
  if (at_end()) refuse(start, "group without end");
  if (here() != ')') refuse(at_, "more than one string in \"eval\"");
  ++at_;
  const std::string_view text = zu_do_value_get_string(value.get(), nullptr);
  if (text.starts_with('$') && is_name(text.substr(1))) return add_property(text.substr(1), string_start);
  if (text.starts_with('{') && text.ends_with('}')) return add_constant(decode(text, string_start));
  add_constant(std::move(value));
}

void parser::parse_string() {
  owned_value value = read_string();
  if (!at_end() && !ends_word(here())) refuse(at_, "missing blank");
  add_constant(std::move(value));
}

void parser::parse_word() {
  const size_t start = at_;
  const std::string_view word = word_at(start);
  at_ += word.size();
  if (word.starts_with('$')) return add_property(word.substr(1), start);
  const bool number = word[0] == '-' || (word[0] >= '0' && word[0] <= '9');
  if (!number && word != "true" && word != "false" && word != "null") {
    refuse(start, "unknown operand " + shown(word));
  }
  add_constant(decode(word, start));
}

owned_value parser::read_string() {
  const size_t start = at_;
  size_t end = start + 1;
  while (end < text_.size() && text_[end] != '"') end += text_[end] == '\\' ? 2 : 1;
  if (end >= text_.size()) refuse(start, "string without end");
  at_ = end + 1;
  return decode(text_.substr(start, at_ - start), start);
}

owned_value parser::decode(std::string_view json, size_t at) {
  zu_do_error *raw_error = nullptr;
  owned_value value(zu_do_value_from_json(json.data(), json.size(), &raw_error));
  const owned_error error(raw_error);
  if (value != nullptr) return value;
  // Without an error object memory was exhausted.
  if (error == nullptr || zu_do_error_get_code(error.get()) == ZU_EXHAUSTED) throw std::bad_alloc();
  refuse(at, std::string("bad value (") + zu_do_error_get_msg(error.get()) + ")");
}

void parser::add_constant(owned_value value) {
  const size_t index = open(kind::constant);
  nodes_[index].value = value.release();
  close(index);
}

void parser::add_property(std::string_view text, size_t at) {
  if (!is_name(text)) refuse(at, "bad property name");
  const size_t index = open(kind::property);
  nodes_[index].name = zu_do_name_new_l(text.data(), text.size());
  if (nodes_[index].name == nullptr) throw std::bad_alloc();
  close(index);
}

} // namespace

} // namespace zu_cond

bool parse_cond_expr_no_trailing(void *context, zu_cli_error_fn error, const char *, const char *text,
                                 zu_cond_list **list) {
  zu_cond::parser parser(text != nullptr ? text : "");
  int32_t code = ZU_EXHAUSTED;
  char message[256];
  const auto say = [&](size_t at, const char *reason) {
    std::snprintf(message, sizeof message, "condition: %s at column %zu", reason, at + 1);
  };
  try {
    *list = parser.parse();
    return true;
  } catch (const zu_cond::refused &why) {
    code = ZU_FAILED;
    say(why.at, why.reason.c_str());
  } catch (const std::bad_alloc &) {
    say(parser.at(), "memory exhausted");
  }
  *list = nullptr;
  if (error != nullptr) error(context, code, message);
  return false;
}

void zu_cond_list_free(zu_cond_list *list) {
  if (list == nullptr) return;
  zu_cond::release_nodes(list->nodes(), list->count);
  qfree_named(list);
}
