// Template files as their authors see them: keyword lines with their numbers, and the records that they make.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "zu_tovra/internal/keywords.hpp"
#include "zu_tovra/zu_tovra.h"

namespace tovra::check {

using tvr::word;

// The keyword that a line without one was probably meant to begin with, or none.
word nearest_keyword(std::string_view text);

std::string trimmed(std::string_view text); // without the blanks at both ends

struct line {
  int number = 0;
  word keyword = word::none;
  std::string value;    // after the keyword's colon; the whole line when there is no keyword
  bool refused = false; // by the load
};

struct record {
  std::string file;
  int number = 0; // of its "Cmd:" line
  std::string id;
  std::string parent; // empty: the root
  std::string op;     // its own, or that of the record before it; never empty
  std::string format; // likewise, "Dest:" included; may be empty
  bool own_op = false;
  bool own_format = false;
  std::vector<line> lines; // without blank lines and comments

  int first_number = 0; // of its first line, comments and blank lines included

  // After the load.
  zu_tvr_node *node = nullptr; // none when nothing was made of it
  bool sound = true;           // the node was made of all its lines

  bool is(const char *name) const { return op == name; }
  // The last line of a keyword, or none.
  const line *find(word keyword) const;
  // The number of that line, or else of the "Cmd:" line.
  int number_of(word keyword) const;
  // All "Props:" and "Location:" lines, in order: each has a URI item in the properties map.
  std::vector<const line *> property_lines() const;
};

// The records of a file's text. The last one may have no id: then nothing is made of its lines.
std::vector<record> read_records(const std::string &file, std::string_view text);

size_t count_slots(std::string_view format);

} // namespace tovra::check
