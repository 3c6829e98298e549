// What may be written at a place.
#pragma once

#include "json.hpp"
#include "token.hpp"

namespace tovra::lsp {

// A list of items; each of them replaces the word at the place.
json completions_at(const workspace &in, const std::string &path, size_t offset);

} // namespace tovra::lsp
