// Rules about lines that several records write together: a record with "Newline:" begins the line, and the
// records after it continue it.
#include <algorithm>
#include <utility>

#include "rules.hpp"

namespace tovra::check {

namespace {

bool prints(const record &record) {
  return record.is("print_if") && !record.id.empty();
}

bool goes_on(const record &record) {
  return record.find(word::newline) == nullptr;
}

size_t blanks_before(std::string_view value) {
  return std::min(value.find_first_not_of(" \t"), value.size());
}

bool has_blank_behind(std::string_view value) {
  if (value.ends_with('\r')) value.remove_suffix(1);
  return !trimmed(value).empty() && (value.ends_with(' ') || value.ends_with('\t'));
}

// True when other values of the record are also away from their keywords: then they are columns, not text.
bool is_in_columns(const record &record) {
  return std::any_of(record.lines.begin(), record.lines.end(), [](const line &line) {
    return line.keyword != word::fmt && line.keyword != word::none && blanks_before(line.value) > 1;
  });
}

} // namespace

// Finds blanks at the end of a format whose line another record continues: those blanks are not printed.
void find_dropped_blanks(const subject &subject, const teller &tell) {
  const std::string effect =
      " of the format is dropped, and the texts run together; write them in one 'Fmt:'";
  const record *next = nullptr; // the record that writes after this one
  for (auto visit = subject.ways.visits.rbegin(); visit != subject.ways.visits.rend(); ++visit) {
    const record &at = *visit->at;
    if (!prints(at)) continue;
    const record *after = std::exchange(next, &at);
    const line *format = at.find(word::fmt);
    if (format == nullptr) continue;
    if (goes_on(at) && blanks_before(format->value) > 1 && !is_in_columns(at)) {
      tell(at, word::fmt, "this line goes on where the last one ended, and the blank at the start" + effect);
    }
    if (after == nullptr || !goes_on(*after) || !has_blank_behind(format->value)) continue;
    tell(at, word::fmt, "'" + after->id + "' goes on with this line, and the blank at the end" + effect);
  }
}

// Finds formats that continue a line inside a submode: its indentation is written where a record begins, even
// within a line.
void find_blanks_within_lines(const subject &subject, const teller &tell) {
  for (const visit &visit : subject.ways.visits) {
    if (!prints(*visit.at) || !goes_on(*visit.at)) continue;
    size_t depth = 0;
    for (const step *above = visit.way; above != nullptr; above = above->above) {
      depth += above->at->is("push_mode") ? 1 : 0;
    }
    if (depth == 0) continue;
    tell(*visit.at, word::cmd,
         "without 'Newline:' this goes on where the last line ended, and the indentation of the submode (" +
             std::to_string(depth) + (depth == 1 ? " blank" : " blanks") +
             ") comes between; write 'Newline:', or all in one 'Fmt:'");
  }
}

} // namespace tovra::check
