// Splits a template text into lines and records, by the loader's rules.
#include "source.hpp"

#include <algorithm>
#include <cctype>

#include "nearest.hpp"

namespace tovra::check {

namespace {

constexpr std::string_view blanks = " \t\n\v\f\r";

line read_line(int number, std::string_view text) {
  const word found = tvr::find_keyword(text);
  const size_t from = found != word::none ? tvr::keyword_of(found).text.size() : 0;
  return {number, found, std::string(text.substr(from)), false};
}

// The trimmed value of a line. A value of blanks alone means the default, a missing one is empty.
std::string value_of(const line &line) {
  const std::string text = trimmed(line.value);
  return text.empty() && !line.value.empty() ? tvr::keyword_of(line.keyword).when_blank : text;
}

void take(record &open, const line &line) {
  switch (line.keyword) {
  case word::cmd:
    open.id = trimmed(line.value);
    open.number = line.number;
    break;
  case word::parent:
    open.parent = trimmed(line.value);
    break;
  case word::op:
    open.op = value_of(line);
    open.own_op = true;
    break;
  case word::fmt:
  case word::dest:
    open.format = value_of(line);
    open.own_format = true;
    break;
  default:
    break;
  }
  open.lines.push_back(line);
}

record record_after(const record &before, int number) {
  record next;
  next.file = before.file;
  next.first_number = number;
  if (tvr::keyword_of(word::op).passes_to_the_next) next.op = before.op;
  if (tvr::keyword_of(word::fmt).passes_to_the_next) next.format = before.format;
  return next;
}

void finish(std::vector<record> &records, record &open) {
  if (open.op.empty()) open.op = "no_op";
  records.push_back(std::move(open));
}

} // namespace

word nearest_keyword(std::string_view text) {
  const auto lower = [](std::string_view given) {
    std::string made(given);
    for (char &c : made) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return made;
  };
  const size_t colon = text.find(':');
  const std::string given =
      lower(text.substr(0, colon == text.npos ? text.find_first_of(blanks) : colon + 1));
  word best = word::none;
  size_t least = 3;
  for (size_t i = 0; i < std::size(tvr::keywords); ++i) {
    const size_t apart = distance(given, lower(tvr::keywords[i].text));
    if (apart >= least) continue;
    least = apart;
    best = static_cast<word>(i);
  }
  return best;
}

std::string trimmed(std::string_view text) {
  const size_t start = text.find_first_not_of(blanks);
  if (start == text.npos) return "";
  return std::string(text.substr(start, text.find_last_not_of(blanks) - start + 1));
}

const line *record::find(word keyword) const {
  const auto found =
      std::find_if(lines.rbegin(), lines.rend(), [keyword](const line &l) { return l.keyword == keyword; });
  return found != lines.rend() ? &*found : nullptr;
}

int record::number_of(word keyword) const {
  const line *found = find(keyword);
  return found != nullptr ? found->number : number;
}

std::vector<const line *> record::property_lines() const {
  std::vector<const line *> found;
  for (const line &line : lines) {
    if (line.keyword == word::props || line.keyword == word::location) found.push_back(&line);
  }
  return found;
}

std::vector<record> read_records(const std::string &file, std::string_view text) {
  std::vector<record> records;
  record open;
  open.file = file;
  open.first_number = 1;
  for (int number = 1; !text.empty(); ++number) {
    const size_t end = std::min(text.find('\n'), text.size());
    const std::string_view whole = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));

    const size_t start = whole.find_first_not_of(blanks);
    const bool counts = start != whole.npos && whole[start] != '#';
    const line read = counts ? read_line(number, whole.substr(start)) : line{};
    if (counts && read.keyword == word::cmd && !open.id.empty()) {
      record next = record_after(open, number);
      finish(records, open);
      open = std::move(next);
    }
    if (counts) take(open, read);
  }
  if (!open.lines.empty()) finish(records, open);
  return records;
}

size_t count_slots(std::string_view format) {
  size_t slots = 0;
  for (size_t at = format.find("%s"); at != format.npos; at = format.find("%s", at + 2)) ++slots;
  return slots;
}

} // namespace tovra::check
