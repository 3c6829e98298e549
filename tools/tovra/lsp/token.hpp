// The token at a place of a template file.
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
  std::string text; // of a property only its name
  span where;       // of the text, in the file
  word keyword = word::none;
  std::string value;          // the whole value of the line
  const record *in = nullptr; // the record of the line
};

// A line of a text, split into keyword and value.
struct keyword_line {
  word keyword = word::none;
  span name;  // the keyword, or the first word of a line without one
  span value; // to the end of the line
};
keyword_line keyword_line_at(const text &of, int line);

// The words of a part of a text, separated by blanks.
std::vector<span> words_of(const text &of, span part);

token token_at(const workspace &in, const std::string &path, size_t offset);

// True when the value of that keyword is the id of a node.
bool names_id(const record &record, word keyword);

struct occurrence {
  std::string path;
  span where;
  const record *in;
  bool definition;
};
// All places where an id is defined or named, file by file.
std::vector<occurrence> occurrences_of(const workspace &in, const std::string &id);

// The records that put the record of a URI into scope for a node, on any way to the node.
std::vector<const record *> readers_of(const workspace &in, const record &node, const std::string &uri);

} // namespace tovra::lsp
