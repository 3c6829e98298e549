// What stands at a place of a template file.
#pragma once

#include "../handles.hpp"
#include "workspace.hpp"

namespace tovra::lsp {

enum class token_kind {
  other,    // a comment, a format, a condition, ...
  keyword,  // of a line
  op,       // the value of "Op:"
  id,       // of a node, where it is defined or named
  uri,      // of "Uri:", "Props:" or "Location:"
  property, // a property of that URI's record
};

struct token {
  token_kind kind = token_kind::other;
  std::string text; // of the property its name alone
  span where;       // of the text, in the file
  word keyword = word::none;
  std::string value;          // of the line, as it stands
  const record *in = nullptr; // the record that the line belongs to
};

// The keyword of a line of a text, and where its value begins.
struct keyword_line {
  word keyword = word::none;
  span name;  // the keyword; without one the line's first word
  span value; // to the end of the line
};
keyword_line keyword_line_at(const text &of, int line);

// The words of a part of a text, parted by blanks.
std::vector<span> words_of(const text &of, span part);

token token_at(const workspace &in, const std::string &path, size_t offset);

// Whether a line of a record names a node with its value.
bool names_id(const record &record, word keyword);

struct occurrence {
  std::string path;
  span where;
  const record *in;
  bool definition;
};
// Where an id is defined and named, file by file.
std::vector<occurrence> occurrences_of(const workspace &in, const std::string &id);

// The records that put what a URI names into scope for a node, on any way to it.
std::vector<const record *> readers_of(const workspace &in, const record &node, const std::string &uri);

} // namespace tovra::lsp
