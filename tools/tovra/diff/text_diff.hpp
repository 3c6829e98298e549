// The difference of two texts in which indentation makes sections, as in a configuration.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tovra::diff {

// Changed lines that are next to each other, in the same section of both texts.
struct change {
  std::vector<std::string_view> section; // the lines of the sections around it, outermost first
  size_t old_line = 0;                   // its first line, from 1; if none is removed, the next one
  size_t new_line = 0;
  std::vector<std::string_view> removed;
  std::vector<std::string_view> added;
};

// Lines are only the same if they are in the same section: the same line in another section has another
// meaning.
std::vector<change> sections_changed(std::string_view old_text, std::string_view new_text);

struct style {
  bool colour = false;
};

// Each change below its section. Lines of both texts begin with two blanks, others with "- " or "+ ".
std::string by_section(const std::vector<change> &changes, style style);
// One object for each change.
std::string as_json(const std::vector<change> &changes);
// In the format that `patch` reads; empty when the texts are equal.
std::string unified(std::string_view old_text, std::string_view new_text, const std::string &old_name,
                    const std::string &new_name, style style);

} // namespace tovra::diff
