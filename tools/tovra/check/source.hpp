// Template files as their authors see them: lines with keywords and numbers, and the records made of them.
// A node of the tree only knows where its record begins; the rules need every line, to say where a mistake
// is.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "zu_tovra/internal/keywords.hpp"
#include "zu_tovra/zu_tovra.h"

namespace tovra::check {

using tvr::word;

// The keyword that was probably meant on a line without one, or `none`.
word nearest_keyword(std::string_view text);

std::string trimmed(std::string_view text); // without the blanks at both ends

struct line {
  int number = 0;
  word keyword = word::none;
  std::string value;    // after the keyword's colon; the whole line when there is no keyword
  bool refused = false; // by the loader
};

struct record {
  std::string file;
  int number = 0; // the line of its "Cmd:"
  std::string id;
  std::string parent; // empty: the root
  std::string op;     // its own, or taken over from the record before it; never empty
  std::string format; // the same, "Dest:" included; may be empty
  bool own_op = false;
  bool own_format = false;
  std::vector<line> lines; // without empty lines and comments

  int first_number = 0; // the first line that belongs to it, counting comments and empty lines

  // Known after loading:
  zu_tvr_node *node = nullptr; // null when the record made no node
  bool sound = true;           // no line of it was refused

  bool is(const char *name) const { return op == name; }
  // The last line with that keyword, or null.
  const line *find(word keyword) const;
  // The number of that line, or else of the "Cmd:" line.
  int number_of(word keyword) const;
  // All "Props:" and "Location:" lines in order; each has a URI item in the properties map.
  std::vector<const line *> property_lines() const;
};

// The records of a file's text. The last one may have no id; then its lines make no node.
std::vector<record> read_records(const std::string &file, std::string_view text);

size_t count_slots(std::string_view format);

} // namespace tovra::check
