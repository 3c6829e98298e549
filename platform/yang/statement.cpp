// Finds statements in the text of a module: keyword, argument, and a block or a semicolon each.
#include "yang/statement.hpp"

#include <algorithm>
#include <string>
#include <vector>

namespace zu_yang {

namespace {

constexpr std::string_view blanks = " \t\r\n";

struct step {
  std::string_view module;  // none: that of the one before
  std::string_view keyword; // none: of any node of data
  std::string_view name;
};

// Reads "/MODULE:NAME" and "/MODULE:{KEYWORD='ARGUMENT'}", in which there may be slashes.
std::vector<step> steps_of(std::string_view path) {
  std::vector<step> steps;
  for (size_t at = 1; at < path.size();) {
    const size_t brace = path.find('{', at);
    size_t end = std::min(path.find('/', at), path.size());
    const bool is_block = brace < end;
    if (is_block) end = std::min(path.find("'}", brace), path.size() - 2) + 2;
    std::string_view text = path.substr(at, end - at);
    step made;
    if (const size_t colon = text.find(':'); colon < text.find('{')) {
      made.module = text.substr(0, colon);
      text.remove_prefix(colon + 1);
    }
    const size_t equals = text.find("='");
    made.name = text;
    if (is_block && equals != text.npos) {
      made.keyword = text.substr(1, equals - 1);
      made.name = text.substr(equals + 2, text.size() - equals - 4);
    }
    steps.push_back(made);
    at = end + 1;
  }
  return steps;
}

struct token {
  char mark = 0; // of a block or an end: '{', '}', ';'; 0 of a word; '.' at the end of the text
  std::string word;
  size_t at = 0;
};

class tokens {
public:
  explicit tokens(std::string_view text) : text_(text) {}

  token next() {
    skip();
    token made{'.', "", at_};
    if (at_ >= text_.size()) return made;
    const char c = text_[at_];
    if (c == '{' || c == '}' || c == ';') {
      made.mark = c;
      ++at_;
      return made;
    }
    made.mark = 0;
    if (c == '"' || c == '\'') {
      add_quoted(made.word);
    } else {
      const size_t end = std::min(text_.find_first_of(" \t\r\n{};", at_), text_.size());
      made.word = text_.substr(at_, end - at_);
      at_ = end;
    }
    return made;
  }

private:
  void skip() { // what is between words
    for (;;) {
      at_ = std::min(text_.find_first_not_of(blanks, at_), text_.size());
      const std::string_view rest = text_.substr(at_);
      const std::string_view end = rest.starts_with("//") ? "\n" : rest.starts_with("/*") ? "*/" : "";
      if (end.empty()) return;
      const size_t found = text_.find(end, at_ + 2);
      at_ = found == text_.npos ? text_.size() : found + end.size();
    }
  }

  void add_quoted(std::string &word) { // parts of a text may be joined by a plus
    for (bool more = true; more;) {
      const char quote = text_[at_++];
      for (; at_ < text_.size() && text_[at_] != quote; ++at_) {
        if (quote == '"' && text_[at_] == '\\') ++at_;
        if (at_ < text_.size()) word += text_[at_];
      }
      at_ = std::min(at_ + 1, text_.size());
      const size_t behind = at_;
      skip();
      more = text_.substr(at_).starts_with('+');
      if (more) {
        ++at_;
        skip();
        more = at_ < text_.size() && (text_[at_] == '"' || text_[at_] == '\'');
      }
      if (!more) at_ = behind;
    }
  }

  std::string_view text_;
  size_t at_ = 0;
};

bool is_it(const step &wanted, std::string_view keyword, std::string_view argument) {
  constexpr std::string_view of_data[] = {"container", "leaf",   "leaf-list", "list",   "choice",      "case",
                                          "anydata",   "anyxml", "rpc",       "action", "notification"};
  const bool fits = wanted.keyword.empty()
                        ? std::find(std::begin(of_data), std::end(of_data), keyword) != std::end(of_data)
                        : wanted.keyword == keyword;
  return fits && wanted.name == argument;
}

} // namespace

size_t statement_line(std::string_view text, std::string_view path) {
  const std::vector<step> steps = steps_of(path);
  tokens from(text);
  size_t depth = 0, matched = 0, found = 0; // what is wanted next stands one deeper than what is matched
  while (matched < steps.size()) {
    const token keyword = from.next();
    if (keyword.mark == '.') break;
    if (keyword.mark == '}' && (depth == 0 || --depth <= matched)) break; // the end of what was found
    if (keyword.mark != 0) continue;
    token next = from.next();
    const std::string argument = next.mark == 0 ? next.word : "";
    if (next.mark == 0) next = from.next();
    const bool opens = next.mark == '{';
    if (depth == matched + 1 && is_it(steps[matched], keyword.word, argument)) {
      found = keyword.at;
      ++matched;
      if (!opens) break;
    }
    if (opens) ++depth;
  }
  if (matched == 0) return 0;
  const bool by_uses = steps[matched - 1].keyword == "uses";
  const std::string_view module = matched < steps.size() ? steps[matched].module : "";
  if (!by_uses && !module.empty() && module != steps[0].module) return 0; // another module's, added to this
  return 1 +
         static_cast<size_t>(std::count(text.begin(), text.begin() + static_cast<ptrdiff_t>(found), '\n'));
}

} // namespace zu_yang
