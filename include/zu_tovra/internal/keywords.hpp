// The keywords and ops of template files. The loader and the tools that read template text (check, formatter,
// language server) share this table, so that they cannot differ.
#pragma once

#include <iterator>
#include <string_view>

namespace tvr {

// In the order in which a line is tested against them.
enum class word {
  cmd,
  parent,
  op,
  uri,
  query,
  fmt,
  dest,
  props,
  location,
  newline,
  cond,
  value_map,
  orderby,
  group,
  location_scheme,
  version,
  none // no keyword
};

struct keyword {
  std::string_view text;           // with its colon
  const char *when_blank = "";     // the value that a line with nothing but blanks gives
  bool passes_to_the_next = false; // a record without such a line has the value of the one before it
};

inline constexpr keyword keywords[] = {
    {"Cmd:"},
    {"Parent Cmd:"},
    {"Op:", "no_op", true},
    {"Uri:"},
    {"Query:"},
    {"Fmt:", "%s", true}, // the text, not the slots counted in it
    {"Dest:", "%s", true},
    {"Props:"},
    {"Location:"},
    {"Newline:"},
    {"Cond:"},
    {"ValueMap:"},
    {"Orderby:"},
    {"Group:"},
    {"LocationScheme:"},
    {"TvrLangVersion:"},
};
static_assert(std::size(keywords) == static_cast<size_t>(word::none));

inline constexpr const keyword &keyword_of(word word) noexcept {
  return keywords[static_cast<size_t>(word)];
}

// The keyword with which a line without leading blanks begins, or word::none.
inline constexpr word find_keyword(std::string_view line) noexcept {
  for (size_t i = 0; i < std::size(keywords); ++i) {
    if (line.starts_with(keywords[i].text)) return static_cast<word>(i);
  }
  return word::none;
}

// The ops of records.
inline constexpr const char *ops[] = {"no_op", "push_mode", "get_collection", "get_one", "print_if", "iter"};

} // namespace tvr
