// A difference in the format that `patch` reads.
#include <algorithm>

#include "lines.hpp"
#include "mark.hpp"
#include "text_diff.hpp"

namespace tovra::diff {

namespace {

constexpr size_t context = 3;

struct step {
  char mark; // ' ', '-' or '+'
  size_t old_at, new_at;
};

std::vector<step> steps_of(const two_sides &both) {
  const size_t old_end = both.old_side.lines.size(), new_end = both.new_side.lines.size();
  std::vector<step> steps;
  size_t i = 0, j = 0;
  while (i < old_end || j < new_end) {
    while (i < old_end && both.old_side.partner[i] < 0) steps.push_back({'-', i++, j});
    while (j < new_end && both.new_side.partner[j] < 0) steps.push_back({'+', i, j++});
    if (i < old_end) steps.push_back({' ', i++, j++});
  }
  return steps;
}

bool is_cut(std::string_view text) {
  return !text.empty() && text.back() != '\n';
}

// A last line with a line feed and one without it are different lines.
void part_ends(two_sides &both) {
  side &old_side = both.old_side, &new_side = both.new_side;
  if (old_side.lines.empty() || new_side.lines.empty()) return;
  if (old_side.partner.back() != static_cast<int64_t>(new_side.lines.size()) - 1) return;
  old_side.partner.back() = new_side.partner.back() = -1;
}

std::string range(size_t first, size_t count) {
  const std::string begin = std::to_string(count == 0 ? first : first + 1);
  return count == 1 ? begin : begin + "," + std::to_string(count);
}

} // namespace

std::string unified(std::string_view old_text, std::string_view new_text, const std::string &old_name,
                    const std::string &new_name, style style) {
  if (old_text == new_text) return "";
  two_sides both = compare(old_text, new_text);
  if (is_cut(old_text) != is_cut(new_text)) part_ends(both);
  const std::vector<step> steps = steps_of(both);
  std::string told = "--- " + old_name + "\n+++ " + new_name + "\n";
  const auto changed = [&steps](size_t at) { return steps[at].mark != ' '; };
  for (size_t at = 0; at < steps.size();) {
    if (!changed(at)) {
      ++at;
      continue;
    }
    const size_t begin = at - std::min(at, context);
    size_t end = at + 1; // after the last change of the hunk
    for (size_t i = end; i < steps.size() && i - end <= 2 * context; ++i) {
      if (changed(i)) end = i + 1;
    }
    at = end;
    end = std::min(end + context, steps.size());
    const auto count = [&](char without) {
      return std::count_if(steps.begin() + begin, steps.begin() + end,
                           [without](const step &s) { return s.mark != without; });
    };
    told += marked("@@ ",
                   "-" + range(steps[begin].old_at, count('+')) + " +" +
                       range(steps[begin].new_at, count('-')) + " @@",
                   style);
    for (size_t i = begin; i < end; ++i) {
      const auto &[mark, old_at, new_at] = steps[i];
      const bool is_new = mark == '+';
      told += marked({&mark, 1}, (is_new ? both.new_side.lines[new_at] : both.old_side.lines[old_at]).text,
                     style);
      const bool last =
          is_new ? new_at + 1 == both.new_side.lines.size() : old_at + 1 == both.old_side.lines.size();
      if (last && is_cut(is_new ? new_text : old_text)) told += "\\ No newline at end of file\n";
    }
  }
  return told;
}

} // namespace tovra::diff
