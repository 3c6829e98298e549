// The walk engine: the walk operations of trees and nodes, and the walk of a node's children. Of the results,
// true means: continue; false: do not walk later siblings and those of the ancestors.
#pragma once

#include "zu_tovra/tree.h"
#include "zu_tovra/walk_ctx.h"

extern "C" {

// Walks a node and what is below it.
bool tvr_node_walk(zu_tvr_node *node, zu_tvr_walk_ctx *ctx) noexcept;
// Walks the children once; those of a collection node once
// for every instance of its batch. The node must be given.
bool tvr_node_walk_children(zu_tvr_node *node, zu_tvr_walk_ctx *ctx) noexcept;
}

namespace tvr {

// The walk operation of a tree.
bool walk_tree(zu_tvr_tree *tree, const char *id, zu_tvr_walk_ctx *ctx) noexcept;

// How deep nodes may nest on a walk. Each level takes room on the thread's stack, and templates must not be
// able to exhaust it.
inline constexpr uint32_t max_depth = 1000;

// True (reported) when the node is being walked already. Entered again, it would overwrite its scratch data,
// and the walk might never end.
bool refuse_if_walked(const zu_tvr_node *node, zu_tvr_walk_ctx *ctx) noexcept;

} // namespace tvr
