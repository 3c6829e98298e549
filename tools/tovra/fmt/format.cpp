// The style: an empty line between records, keywords in one order, one blank before a value. Whatever the
// loader uses exactly as written stays unchanged: conditions, blanks inside formats, blanks at the end of a
// URI or a query.
#include "format.hpp"

#include <algorithm>
#include <optional>
#include <vector>

#include "../check/source.hpp"

namespace tovra::fmt {

namespace {

using check::word;

constexpr std::string_view blanks = " \t\n\v\f\r";

std::string_view without_leading(std::string_view text) {
  return text.substr(std::min(text.find_first_not_of(blanks), text.size()));
}

std::string_view trimmed(std::string_view text) {
  text = without_leading(text);
  return text.substr(0, text.find_last_not_of(blanks) + 1);
}

// The place of a keyword in its record. Lines of the same rank keep their order, because a later one may
// replace an earlier one, or may name what an earlier one put into a slot.
int rank(word keyword) {
  switch (keyword) {
  case word::parent:
    return 1;
  case word::op:
    return 2;
  case word::uri:
    return 3;
  case word::query:
    return 4;
  case word::orderby:
    return 5;
  case word::group:
    return 6;
  case word::location_scheme:
    return 7;
  case word::fmt:
  case word::dest:
    return 8;
  case word::props:
  case word::location:
  case word::value_map:
    return 9;
  case word::cond:
    return 10;
  case word::newline:
    return 11;
  case word::cmd:
  case word::version:
  case word::none:
    break;
  }
  return 0;
}

bool makes_map(word keyword) {
  return keyword == word::props || keyword == word::location;
}

std::string joined(const std::vector<std::string_view> &tokens) {
  std::string made;
  for (const auto token : tokens) made.append(made.empty() ? "" : " ").append(token);
  return made;
}

// Splits a line of properties as its reader does. Nullopt when this is not safe: a name may contain a blank,
// or a token may end at a tab for one step of the reader and not for another.
std::optional<std::vector<std::string_view>> property_tokens(std::string_view value) {
  std::vector<std::string_view> tokens;
  if (value.find_first_of("\t\v\f\r") != value.npos) return std::nullopt;
  for (size_t at = value.find_first_not_of(' '); at < value.size(); at = value.find_first_not_of(' ', at)) {
    const size_t begin = at;
    for (bool quoted = false; at < value.size() && (quoted || value[at] != ' '); ++at) {
      if (value[at] == '"') quoted = !quoted;
    }
    const std::string_view token = value.substr(begin, at - begin);
    const size_t colon = token.find(':'), quote = token.find('"');
    if (tokens.empty() ? quote != token.npos : colon == token.npos || quote < colon) return std::nullopt;
    tokens.push_back(token);
  }
  return tokens;
}

std::vector<std::string_view> words(std::string_view value) {
  std::vector<std::string_view> found;
  for (value = without_leading(value); !value.empty(); value = without_leading(value)) {
    found.push_back(value.substr(0, value.find_first_of(blanks)));
    value.remove_prefix(found.back().size());
  }
  return found;
}

std::string value_text(word keyword, std::string_view value) {
  switch (keyword) {
  case word::op:
    return std::string(trimmed(value).empty() ? "no_op" : trimmed(value));
  case word::fmt:
  case word::dest: // blanks alone mean the default, no value at all is the empty text
    return std::string(trimmed(value).empty() && !value.empty() ? "%s" : trimmed(value));
  case word::uri:
  case word::query:
  case word::orderby:
    return std::string(without_leading(value));
  case word::value_map:
    return joined(words(value));
  case word::props:
  case word::location: {
    const auto tokens = property_tokens(value);
    return tokens ? joined(*tokens) : std::string(without_leading(value));
  }
  default:
    return std::string(trimmed(value));
  }
}

struct line {
  word keyword = word::none; // none: a comment, text without a keyword, or an empty line
  std::string text;          // as it will be written
};

line read_line(std::string_view whole) {
  const std::string_view text = without_leading(whole);
  for (auto i = 0; i < static_cast<int>(word::none); ++i) {
    const auto keyword = static_cast<word>(i);
    const std::string_view name = tvr::keyword_of(keyword).text;
    if (!text.starts_with(name)) continue;
    const std::string_view value = text.substr(name.size());
    // These stay unchanged.
    if (keyword == word::cond || keyword == word::location_scheme) return {keyword, std::string(text)};
    const std::string made = value_text(keyword, value);
    line read{keyword, std::string(name)};
    if (!made.empty()) read.text.append(1, ' ').append(made);
    return read;
  }
  return {word::none, std::string(trimmed(text))};
}

std::vector<line> read_lines(std::string_view text) {
  std::vector<line> lines;
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size());
    lines.push_back(read_line(text.substr(0, end)));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

// The line of a keyword, with the comments directly above it.
struct entry {
  word keyword;
  std::vector<std::string> lines;
};

class writer {
public:
  std::string text;

  // Writes what is between records, and after the last one: comments unchanged, and never two empty lines in
  // a row.
  void gap(const std::vector<std::string> &lines, bool at_end) {
    const bool parted = std::find(lines.begin(), lines.end(), "") != lines.end();
    bool empty = !parted && !at_end;
    for (const auto &one : lines) {
      if (!one.empty()) put(one, empty);
      empty = one.empty();
    }
    pending_empty_ = empty && !at_end;
  }

  void record(std::vector<entry> &entries) {
    bool map = false, sorted = true; // a format after the properties does not count slots for them
    for (const entry &one : entries) {
      map = map || makes_map(one.keyword);
      if (one.keyword == word::fmt && map) sorted = false;
    }
    const bool has_id = !entries.empty() && entries.front().keyword == word::cmd;
    if (sorted && has_id) {
      std::stable_sort(entries.begin(), entries.end(),
                       [](const entry &a, const entry &b) { return rank(a.keyword) < rank(b.keyword); });
    }
    for (const entry &one : entries) {
      for (const auto &line : one.lines) put(line, false);
    }
  }

private:
  void put(const std::string &line, bool after_empty) {
    if ((after_empty || pending_empty_) && !text.empty()) text += '\n';
    pending_empty_ = false;
    text.append(line).append("\n");
  }

  bool pending_empty_ = false;
};

} // namespace

std::string formatted(std::string_view text) {
  const std::vector<line> lines = read_lines(text);
  writer out;
  std::vector<entry> record;
  std::vector<std::string> loose; // comments and empty lines since the last keyword
  for (const line &one : lines) {
    if (one.keyword == word::none) {
      loose.push_back(one.text);
      continue;
    }
    if (one.keyword == word::cmd || record.empty()) {
      out.record(record);
      record.clear();
      out.gap(loose, false);
    } else {
      record.push_back({one.keyword, {}});
      std::copy_if(loose.begin(), loose.end(), std::back_inserter(record.back().lines),
                   [](const std::string &comment) { return !comment.empty(); });
    }
    if (record.empty()) record.push_back({one.keyword, {}});
    record.back().lines.push_back(one.text);
    loose.clear();
  }
  out.record(record);
  out.gap(loose, true);
  if (out.text.empty() && !text.empty()) out.text.push_back('\n'); // an empty file would not load
  return std::move(out.text);
}

} // namespace tovra::fmt
