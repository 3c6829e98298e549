// Finds the way from one place of the templates to another: definition, references, outline, new names.
#pragma once

#include "json.hpp"
#include "token.hpp"

namespace tovra::lsp {

// For an id, the records that define it; for a URI, the nodes that read its record.
json definition_at(const workspace &in, const std::string &path, size_t offset);
json references_at(const workspace &in, const std::string &path, size_t offset, bool with_definition);
// The range of the id at that place, or null.
json id_range_at(const workspace &in, const std::string &path, size_t offset);
// The changes that give the id at that place another name; null when there is no id.
json rename_at(const workspace &in, const std::string &path, size_t offset, const std::string &name);
// The nodes of one file, nested as in the tree.
json outline_of(const workspace &in, const std::string &path);
// All nodes whose ids contain that text.
json nodes_named(const workspace &in, const std::string &part);

} // namespace tovra::lsp
