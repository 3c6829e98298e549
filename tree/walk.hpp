// The walk engine: the walk operations of trees and nodes, and the walk of a node's children.
#pragma once

#include "zu_tovra/tree.h"
#include "zu_tovra/walk_ctx.h"

extern "C" {

// True: go on; false: stop the walk of later siblings and of the ancestors.
bool tvr_node_walk(zu_tvr_node *node, zu_tvr_walk_ctx *ctx) noexcept;
// The children once; those of a collection node once for every instance of its batch. The node must be given.
bool tvr_node_walk_children(zu_tvr_node *node, zu_tvr_walk_ctx *ctx) noexcept;
}

namespace tvr {

// The walk operation of a tree.
bool walk_tree(zu_tvr_tree *tree, const char *id, zu_tvr_walk_ctx *ctx) noexcept;

// How deep nodes may nest on a walk, so that no template can exhaust the thread's stack.
inline constexpr uint32_t max_depth = 1000;

// True, reported, when the node is being walked: entered again within itself it would overwrite what it
// remembers, and might never end.
bool refuse_if_walked(const zu_tvr_node *node, zu_tvr_walk_ctx *ctx) noexcept;

} // namespace tvr
