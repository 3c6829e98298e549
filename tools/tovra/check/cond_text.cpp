// Finds names in a condition without parsing it.
#include "cond_text.hpp"

#include <algorithm>
#include <utility>

namespace tovra::check {

namespace {

constexpr std::string_view blanks = " \t\n\v\f\r";
constexpr std::string_view after_name = " \t\n\v\f\r()\"";

// The end of a string that begins at `at`, after its closing quote.
size_t end_of_string(std::string_view text, size_t at) {
  for (size_t i = at + 1; i < text.size(); ++i) {
    if (text[i] == '\\') {
      ++i;
    } else if (text[i] == '"') {
      return i + 1;
    }
  }
  return text.size();
}

struct operand {
  std::string name;       // of a property; empty: a literal
  nlohmann::json literal; // discarded: the operand is a group
};

// Reads a condition that is known to parse, group by group.
class condition_reader {
public:
  explicit condition_reader(std::string_view text) : text_(text) {}

  std::vector<comparison> read() {
    std::vector<operand> pair;
    while (skip_blanks()) {
      pair.push_back(read_operand());
      if (is_group(pair.back())) {
        pair.clear(); // only operands make pairs
      } else if (pair.size() == 2) {
        add("eq", pair);
        pair.clear();
      }
    }
    return std::move(found_);
  }

private:
  static bool is_group(const operand &given) { return given.name.empty() && given.literal.is_discarded(); }

  bool skip_blanks() {
    at_ = std::min(text_.find_first_not_of(blanks, at_), text_.size());
    return at_ < text_.size();
  }

  std::string_view take_until(size_t end) {
    const size_t begin = std::exchange(at_, end);
    return text_.substr(begin, end - begin);
  }

  std::string_view take_word() {
    return take_until(std::min(text_.find_first_of(after_name, at_), text_.size()));
  }

  nlohmann::json take_string() {
    return nlohmann::json::parse(take_until(end_of_string(text_, at_)), nullptr, false);
  }

  operand read_operand() {
    if (text_[at_] == '(') return read_group();
    if (text_[at_] == '$') return {std::string(take_word().substr(1)), {}};
    if (text_[at_] == '"') return {"", take_string()};
    const std::string_view word = take_word();
    if (word.empty()) ++at_; // cannot happen in a condition that parses
    return {"", nlohmann::json::parse(word, nullptr, false)};
  }

  operand read_group() {
    ++at_;
    skip_blanks();
    const std::string op(take_word());
    std::vector<operand> given;
    while (skip_blanks() && text_[at_] != ')') given.push_back(read_operand());
    at_ = std::min(at_ + 1, text_.size());
    if (op == "eval" && given.size() == 1) return evaluated(given.front());
    add(op, given);
    return {"", nlohmann::json(nlohmann::json::value_t::discarded)};
  }

  // What a literal text stands for: it may be the text of a name or of a value.
  static operand evaluated(const operand &given) {
    if (!given.literal.is_string()) return given;
    const auto &text = given.literal.get_ref<const std::string &>();
    if (text.starts_with('$')) return {text.substr(1), {}};
    return text.starts_with('{') ? operand{"", nlohmann::json::parse(text, nullptr, false)} : given;
  }

  void add(const std::string &op, const std::vector<operand> &given) {
    static const std::set<std::string> ops = {"eq", "ne", "lt", "le", "gt", "ge"};
    if (given.size() != 2 || !ops.contains(op)) return;
    const bool first = !given[0].name.empty();
    if (first == !given[1].name.empty() || is_group(given[first ? 1 : 0])) return;
    const nlohmann::json &literal = given[first ? 1 : 0].literal;
    const std::string &name = given[first ? 0 : 1].name;
    const std::string operands =
        first ? " $" + name + " " + literal.dump() : " " + literal.dump() + " $" + name;
    found_.push_back({op, name, literal, "(" + op + operands + ")"});
  }

  std::string_view text_;
  size_t at_ = 0;
  std::vector<comparison> found_;
};

bool follows_eval(std::string_view text, size_t at) {
  const size_t last = text.substr(0, at).find_last_not_of(blanks);
  return last != text.npos && text.substr(0, last + 1).ends_with("(eval");
}

} // namespace

std::set<std::string> names_in(std::string_view condition) {
  std::set<std::string> names;
  for (size_t at = 0; at < condition.size();) {
    size_t end = at + 1;
    if (condition[at] == '"') {
      end = end_of_string(condition, at);
      const std::string_view content = condition.substr(at + 1, end > at + 2 ? end - at - 2 : 0);
      if (content.starts_with('$') && follows_eval(condition, at)) names.emplace(content.substr(1));
    } else if (condition[at] == '$') {
      end = std::min(condition.find_first_of(after_name, at), condition.size());
      names.emplace(condition.substr(at + 1, end - at - 1));
    }
    at = end;
  }
  return names;
}

std::vector<comparison> comparisons_in(std::string_view condition) {
  return condition_reader(condition).read();
}

} // namespace tovra::check
