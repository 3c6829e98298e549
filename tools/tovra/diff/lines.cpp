// Gives lines numbers: lines get the same number when they have the same text and are below the same section.
// So a line is never matched with an equal line of another section, and numbers are fast to compare.
#include "lines.hpp"

#include <unordered_map>

#include "edit_script.hpp"

namespace tovra::diff {

namespace {

struct key {
  uint32_t section;
  std::string_view text;
  bool operator==(const key &) const = default;
};
struct key_hash {
  size_t operator()(const key &k) const { return std::hash<std::string_view>()(k.text) * 31 + k.section; }
};

class numbers {
public:
  row of(const std::vector<line> &lines) {
    row made;
    made.reserve(lines.size());
    for (const line &line : lines) {
      const uint32_t section = line.above < 0 ? 0 : made[line.above];
      made.push_back(known_.try_emplace({section, line.text}, known_.size() + 1).first->second);
    }
    return made;
  }

private:
  std::unordered_map<key, uint32_t, key_hash> known_;
};

void find_sections(side &of) {
  for (const line &line : of.lines) {
    const bool known = line.above < 0 || of.partner[line.above] >= 0;
    of.section.push_back(known ? line.above : of.section[line.above]);
  }
}

} // namespace

std::vector<line> read_lines(std::string_view text) {
  struct section {
    size_t indentation;
    int64_t line;
  };
  std::vector<line> lines;
  std::vector<section> open;
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size());
    const std::string_view whole = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    const size_t indentation = whole.find_first_not_of(' ');
    const bool empty = indentation == whole.npos; // an empty line belongs to the section before it
    while (!empty && !open.empty() && open.back().indentation >= indentation) open.pop_back();
    lines.push_back({whole, open.empty() ? -1 : open.back().line});
    if (!empty) open.push_back({indentation, static_cast<int64_t>(lines.size()) - 1});
  }
  return lines;
}

two_sides compare(std::string_view old_text, std::string_view new_text) {
  two_sides made{{read_lines(old_text), {}, {}}, {read_lines(new_text), {}, {}}};
  numbers known;
  const row old_row = known.of(made.old_side.lines), new_row = known.of(made.new_side.lines);
  made.old_side.partner = partners(old_row, new_row);
  made.new_side.partner.assign(new_row.size(), -1);
  for (size_t i = 0; i < old_row.size(); ++i) {
    const int64_t at = made.old_side.partner[i];
    if (at >= 0) made.new_side.partner[at] = static_cast<int64_t>(i);
  }
  find_sections(made.old_side);
  find_sections(made.new_side);
  return made;
}

} // namespace tovra::diff
