// The walk operation of a tree.
#pragma once

#include "zu_tovra/tree.h"

namespace tvr {

bool walk_tree(zu_tvr_tree *tree, const char *id, zu_tvr_walk_ctx *ctx) noexcept;

} // namespace tvr
