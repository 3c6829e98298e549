// A difference by sections: each change below the section lines in which it is.
#include <algorithm>
#include <nlohmann/json.hpp>

#include "../value_json.hpp"
#include "lines.hpp"
#include "mark.hpp"
#include "text_diff.hpp"

namespace tovra::diff {

namespace {

// The changed lines between two lines that both sides have.
struct run {
  size_t old_begin, old_end, new_begin, new_end;
};

std::vector<run> runs_of(const two_sides &both) {
  const auto &old_partner = both.old_side.partner;
  const auto &new_partner = both.new_side.partner;
  std::vector<run> found;
  size_t i = 0, j = 0;
  while (i < old_partner.size() || j < new_partner.size()) {
    const size_t old_begin = i, new_begin = j;
    while (i < old_partner.size() && old_partner[i] < 0) ++i;
    while (j < new_partner.size() && new_partner[j] < 0) ++j;
    if (i > old_begin || j > new_begin) found.push_back({old_begin, i, new_begin, j});
    ++i; // the line that both sides have
    ++j;
  }
  return found;
}

std::vector<std::string_view> way_to(const side &of, int64_t section) {
  std::vector<std::string_view> way;
  for (; section >= 0; section = of.lines[section].above) way.push_back(of.lines[section].text);
  std::reverse(way.begin(), way.end());
  return way;
}

// Lists the changes of a run. Sections may be open before it; both sides leave them from the innermost
// outwards.
void tell_run(const two_sides &both, const run &lines, std::vector<change> &into) {
  size_t i = lines.old_begin, j = lines.new_begin;
  while (i < lines.old_end || j < lines.new_end) {
    // The section of a line of the old side, as a line of the new side.
    const auto of_old = [&](size_t at) {
      const int64_t section = both.old_side.section[at];
      return section < 0 ? section : both.old_side.partner[section];
    };
    const int64_t old_section = i < lines.old_end ? of_old(i) : -1;
    const int64_t new_section = j < lines.new_end ? both.new_side.section[j] : -1;
    const int64_t section = std::max(old_section, new_section);
    change made{way_to(both.new_side, section), i + 1, j + 1, {}, {}};
    while (i < lines.old_end && of_old(i) == section) made.removed.push_back(both.old_side.lines[i++].text);
    while (j < lines.new_end && both.new_side.section[j] == section) {
      made.added.push_back(both.new_side.lines[j++].text);
    }
    into.push_back(std::move(made));
  }
}

} // namespace

std::vector<change> sections_changed(std::string_view old_text, std::string_view new_text) {
  const two_sides both = compare(old_text, new_text);
  std::vector<change> changes;
  for (const run &lines : runs_of(both)) tell_run(both, lines, changes);
  return changes;
}

std::string by_section(const std::vector<change> &changes, style style) {
  std::string told;
  std::vector<std::string_view> open;
  for (const change &change : changes) {
    const auto &section = change.section;
    const auto same_line = [](std::string_view a, std::string_view b) { return a.data() == b.data(); };
    const auto known = std::mismatch(open.begin(), open.end(), section.begin(), section.end(), same_line);
    for (auto at = known.second; at != section.end(); ++at) told += marked("  ", *at, style);
    for (const auto &line : change.removed) told += marked("- ", line, style);
    for (const auto &line : change.added) told += marked("+ ", line, style);
    open = section;
  }
  return told;
}

std::string as_json(const std::vector<change> &changes) {
  auto all = nlohmann::ordered_json::array();
  for (const change &change : changes) {
    all.push_back({{"section", change.section},
                   {"old_line", change.old_line},
                   {"new_line", change.new_line},
                   {"removed", change.removed},
                   {"added", change.added}});
  }
  return json_text(all, 2);
}

} // namespace tovra::diff
