// The walk engine: the one walk operation of every node, and the walk of a node's children.
#pragma once

#include "zu_tovra/walk_ctx.h"

extern "C" {

// True: go on; false: stop the walk of later siblings and of the ancestors.
bool tvr_node_walk(zu_tvr_node *node, zu_tvr_walk_ctx *ctx) noexcept;
// The children once; those of a collection node once for every instance of its batch. The node must be given.
bool tvr_node_walk_children(zu_tvr_node *node, zu_tvr_walk_ctx *ctx) noexcept;
}

namespace tvr {

// How deep nodes may nest on a walk, so that no template can exhaust the thread's stack.
inline constexpr uint32_t max_depth = 1000;

// A node's entry on the walk's list of nodes that are being walked, while it lives.
class walk_level {
public:
  walk_level(zu_tvr_walk_ctx *ctx, zu_tvr_node *node) noexcept : ctx_(ctx), frame_{ctx->frame, node} {
    ctx_->frame = &frame_;
    ++ctx_->depth;
  }
  ~walk_level() {
    ctx_->frame = frame_.above;
    --ctx_->depth;
  }
  walk_level(const walk_level &) = delete;
  walk_level &operator=(const walk_level &) = delete;

private:
  zu_tvr_walk_ctx *ctx_;
  zu_tvr_walk_frame frame_;
};

} // namespace tvr
