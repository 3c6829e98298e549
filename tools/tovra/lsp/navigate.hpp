// Going from one place of the templates to another: definition, references, outline, new names.
#pragma once

#include "json.hpp"
#include "token.hpp"

namespace tovra::lsp {

// Of an id the records that define it; of a URI the nodes that read its record.
json definition_at(const workspace &in, const std::string &path, size_t offset);
json references_at(const workspace &in, const std::string &path, size_t offset, bool with_definition);
// The range of the id that stands there, or null.
json id_range_at(const workspace &in, const std::string &path, size_t offset);
// The changes that give an id another name; null when none stands there.
json rename_at(const workspace &in, const std::string &path, size_t offset, const std::string &name);
// Of one file, nested as the nodes are.
json outline_of(const workspace &in, const std::string &path);
// All nodes whose ids have that in them.
json nodes_named(const workspace &in, const std::string &part);

} // namespace tovra::lsp
