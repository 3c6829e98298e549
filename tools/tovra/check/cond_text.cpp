// Finding names in a condition without parsing it.
#include "cond_text.hpp"

#include <algorithm>

namespace tovra::check {

namespace {

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

bool follows_eval(std::string_view text, size_t at) {
  const size_t last = text.substr(0, at).find_last_not_of(" \t\n\v\f\r");
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

} // namespace tovra::check
