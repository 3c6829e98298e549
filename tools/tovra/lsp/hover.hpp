// What an editor shows about the place under the pointer.
#pragma once

#include "json.hpp"
#include "token.hpp"

namespace tovra::lsp {

// Null when there is nothing to show.
json hover_at(workspace &in, const std::string &path, size_t offset);

} // namespace tovra::lsp
