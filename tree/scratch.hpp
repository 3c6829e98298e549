// Scratch nodes: what a node remembers during one walk.
#pragma once

#include "zu_tovra/walk_ctx.h"

namespace tvr {

// By the node's key in the walk's table of scratch nodes, where it is made on first use.
[[nodiscard]] void *find_or_make_scratch_data(zu_tvr_node *node, zu_tvr_walk_ctx *ctx) noexcept;

// The scratch data of a collection, iteration or print node for this walk. It lives as long as the walk
// context. None (traced) when it cannot be made. The slot spares a walk the key; slots of two trees overlap,
// so that it counts only for the node that it was noted for.
[[nodiscard]] inline void *scratch_data(zu_tvr_node *node, zu_tvr_walk_ctx *ctx) noexcept {
  if (node->slot < ctx->scratch_slot_count) {
    const zu_tvr_scratch_slot &slot = ctx->scratch_slots[node->slot];
    if (slot.node == node) return slot.scratch_node->scratch;
  }
  return find_or_make_scratch_data(node, ctx);
}

} // namespace tvr
