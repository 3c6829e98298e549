// Scratch nodes: what a node remembers during one walk.
#pragma once

#include "zu_tovra/walk_ctx.h"

namespace tvr {

// The scratch data of a collection, iteration or print node for this walk, made on first use. It lives as
// long as the walk context. None (traced) when it cannot be made.
[[nodiscard]] void *scratch_data(zu_tvr_node *node, zu_tvr_walk_ctx *ctx) noexcept;

} // namespace tvr
