// Reads `args`: lines NAME[STATUS]: ARGUMENTS, with quotes as in a shell.
#include "case_file.hpp"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <sstream>

namespace tovra::test {

namespace {

constexpr std::string_view blanks = " \t\r";

[[noreturn]] void refuse(const std::filesystem::path &file, int number, const std::string &why) {
  throw bad_case(file.string() + ":" + std::to_string(number) + ": " + why);
}

// Splits words as a shell does, but expands nothing. False when a quote is not closed.
bool split(std::string_view text, std::vector<std::string> &words) {
  char quote = '\0';
  bool in_word = false;
  std::string word;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    const bool escapes = c == '\\' && quote != '\'' && i + 1 < text.size() &&
                         (quote == '\0' || text[i + 1] == '"' || text[i + 1] == '\\');
    if (quote == '\0' && blanks.find(c) != blanks.npos) {
      if (in_word) words.push_back(std::move(word));
      word.clear();
      in_word = false;
      continue;
    }
    in_word = true;
    if (escapes) {
      word += text[++i];
    } else if (c == quote) {
      quote = '\0';
    } else if (quote == '\0' && (c == '"' || c == '\'')) {
      quote = c;
    } else {
      word += c;
    }
  }
  if (in_word) words.push_back(std::move(word));
  return quote == '\0';
}

bool is_name(std::string_view text) {
  const auto may_stand = [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '.' || c == '-';
  };
  return !text.empty() && text.front() != '.' && std::all_of(text.begin(), text.end(), may_stand);
}

std::string expected_form() {
  return "expected 'NAME: ARGUMENTS' or 'NAME[STATUS]: ARGUMENTS'";
}

case_run read_run(const std::filesystem::path &file, int number, const std::string &line) {
  case_run run;
  const size_t colon = line.find(':');
  if (colon == line.npos) refuse(file, number, expected_form());
  std::string_view head = std::string_view(line).substr(0, colon);
  if (const size_t bracket = head.find('['); bracket != head.npos) {
    const std::string_view status = head.substr(bracket + 1);
    const char *end = status.data() + status.size();
    const auto read = std::from_chars(status.data(), end, run.status);
    if (read.ec != std::errc() || read.ptr + 1 != end || *read.ptr != ']')
      refuse(file, number, expected_form());
    head = head.substr(0, bracket);
  }
  if (!is_name(head)) refuse(file, number, expected_form());
  run.name = head;
  run.command_line = line.substr(std::min(line.find_first_not_of(blanks, colon + 1), line.size()));
  if (!split(run.command_line, run.arguments)) refuse(file, number, "a quote is not closed");
  if (run.arguments.empty()) refuse(file, number, "no arguments");
  return run;
}

std::set<std::string> read_without(const std::filesystem::path &file, int number, const std::string &words) {
  std::set<std::string> without;
  std::istringstream given(words);
  for (std::string word; given >> word;) {
    const auto &known = variation_names();
    if (word.front() != '-' || std::find(known.begin(), known.end(), word.substr(1)) == known.end()) {
      refuse(file, number, "unknown variation " + word);
    }
    without.insert(word.substr(1));
  }
  return without;
}

} // namespace

const std::vector<std::string> &variation_names() {
  static const std::vector<std::string> names{"again", "locale", "order",  "trace",
                                              "fetch", "yaml",   "sqlite", "redis"};
  return names;
}

golden_case read_case(const std::filesystem::path &folder) {
  golden_case made{folder, {}, {}};
  const std::filesystem::path file = folder / "args";
  std::ifstream lines(file);
  if (!lines) throw bad_case(file.string() + ": cannot be read");
  std::set<std::string> names;
  int number = 0;
  for (std::string line; std::getline(lines, line);) {
    ++number;
    if (line.find_first_not_of(blanks) == line.npos || line.front() == '#') continue;
    if (line.starts_with("vary:")) {
      made.without = read_without(file, number, line.substr(5));
      continue;
    }
    made.runs.push_back(read_run(file, number, line));
    if (!names.insert(made.runs.back().name).second) refuse(file, number, "a second run of that name");
  }
  if (made.runs.empty()) throw bad_case(file.string() + ": names no run");
  return made;
}

} // namespace tovra::test
