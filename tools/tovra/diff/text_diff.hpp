// The difference of two texts whose indentation makes sections: a configuration.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tovra::diff {

// Lines that stand together below the same lines of both texts.
struct change {
  std::vector<std::string_view> section; // the lines that it stands below, outermost first
  size_t old_line = 0;                   // of the first one, from 1; where none is removed, of the next one
  size_t new_line = 0;
  std::vector<std::string_view> removed;
  std::vector<std::string_view> added;
};

// A line is the same only below the same lines: one of another section never takes its place.
std::vector<change> sections_changed(std::string_view old_text, std::string_view new_text);

struct style {
  bool colour = false;
};

// Each change below its section: lines that both have after two blanks, others after "- " or "+ ".
std::string by_section(const std::vector<change> &changes, style style);
// One object a change.
std::string as_json(const std::vector<change> &changes);
// As `patch` reads it; empty when the texts are equal.
std::string unified(std::string_view old_text, std::string_view new_text, const std::string &old_name,
                    const std::string &new_name, style style);

} // namespace tovra::diff
