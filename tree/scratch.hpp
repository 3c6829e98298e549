// Scratch nodes: the state of a node during one walk. It cannot be in the node itself, because other renders
// walk the same node at the same time.
#pragma once

#include "zu_tovra/walk_ctx.h"

namespace tvr {

// Finds the scratch data by the node's key in the walk's
// table of scratch nodes, and makes it at the first use.
[[nodiscard]] void *find_or_make_scratch_data(zu_tvr_node *node, zu_tvr_walk_ctx *ctx) noexcept;

// The scratch data of a collection, iteration or print node for this walk, owned by the walk context. Null
// (traced) when it cannot be made. The slot saves formatting and hashing the key at each visit. A context may
// walk two trees, whose slots are the same numbers: so the slot's node is compared too.
[[nodiscard]] inline void *scratch_data(zu_tvr_node *node, zu_tvr_walk_ctx *ctx) noexcept {
  if (node->slot < ctx->scratch_slot_count) {
    const zu_tvr_scratch_slot &slot = ctx->scratch_slots[node->slot];
    if (slot.node == node) return slot.scratch_node->scratch;
  }
  return find_or_make_scratch_data(node, ctx);
}

} // namespace tvr
