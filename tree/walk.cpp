// The walk engine: visits the tree depth first, and calls the operations of each node's data in the order
// that the node's type needs. It knows the data records only by their public operations.
#include "walk.hpp"

#include "scratch.hpp"
#include "zu_tovra/coll.h"
#include "zu_tovra/crudx.h"
#include "zu_tovra/internal/observed.hpp"
#include "zu_tovra/internal/report.hpp"
#include "zu_tovra/iter.h"
#include "zu_tovra/jump.h"
#include "zu_tovra/print.h"

namespace {

using tvr::fail;

template <class Data>
Data *data_of(zu_tvr_node *node) noexcept {
  return static_cast<Data *>(node->data);
}

// The node's scratch data; a walk cannot go on without it.
template <class Scratch>
inline Scratch *scratch_of(zu_tvr_node *node, zu_tvr_walk_ctx *ctx) noexcept {
  void *scratch = tvr::scratch_data(node, ctx);
  // The failure has been traced.
  if (scratch == nullptr) tvr::report(ctx, ZU_EXHAUSTED, "Failed to allocate tovra node");
  return static_cast<Scratch *>(scratch);
}

// ---- The children ----

bool walk_node(zu_tvr_node *node, zu_tvr_walk_ctx *ctx) noexcept;

inline bool walk_child(zu_tvr_node *child, zu_tvr_walk_ctx *ctx) noexcept {
  if (child->walk == tvr_node_walk) return walk_node(child, ctx);
  if (child->walk != nullptr) return child->walk(child, ctx);
  return fail(ctx, ZU_FAILED, "Walk callback not initialized");
}

[[gnu::noinline]] bool walk_next_of_path(zu_tvr_node *node, zu_tvr_walk_ctx *ctx) noexcept {
  auto *next = static_cast<zu_tvr_node *>(zu_tvr_stack_pop(ctx->node_path));
  if (ctx->node_path->top == nullptr) {
    zu_tvr_stack_delete(ctx->node_path, nullptr);
    ctx->node_path = nullptr;
  }
  if (next == nullptr) return fail(ctx, ZU_FAILED, "Incomplete path for partial tovra");
  TVR_DEBUG("node %p: walking %p (partial TOVRA)", static_cast<void *>(node), static_cast<void *>(next));
  return walk_child(next, ctx);
}

[[gnu::noinline]] bool walk_siblings(zu_tvr_node *child, zu_tvr_walk_ctx *ctx) noexcept {
  for (; child != nullptr; child = child->next_sibling) {
    if (!walk_child(child, ctx)) return false;
  }
  return true;
}

void trace_children(zu_tvr_node *node) noexcept {
  TVR_DEBUG("node %p: walking children", static_cast<void *>(node));
}

// Above the starting node of a partial render only the next
// node of the path is walked, elsewhere all children.
inline bool walk_below(zu_tvr_node *node, zu_tvr_walk_ctx *ctx) noexcept {
  bool result = true;
  if (ctx->node_path != nullptr) {
    result = walk_next_of_path(node, ctx);
  } else {
    trace_children(node);
    if (node->first_child != nullptr) result = walk_siblings(node->first_child, ctx);
  }
  ctx->node = node; // the children's walk has changed it
  return result;
}

// Walks the children once for every instance of the batch. After a failure the remaining instances are still
// read (which also queues the records of other parents), but no child is walked for them.
bool walk_instances(zu_tvr_node *node, zu_tvr_walk_ctx *ctx) noexcept {
  auto *data = data_of<zu_tvr_coll_data>(node);
  auto *scratch = scratch_of<zu_tvr_coll_scratch_data>(node, ctx);
  if (scratch == nullptr) return false;
  for (bool result = true;;) {
    const int32_t step = data->iterate(data, scratch, ctx);
    if (step != ZU_TVR_STEP_WALK) {
      TVR_DEBUG("node %p: iteration returned %d: stopping", static_cast<void *>(node), step);
      return step != ZU_TVR_STEP_FAILED && result;
    }
    if (result || ctx->node_path != nullptr) {
      result = walk_below(node, ctx);
    } else {
      trace_children(node);
    }
    data->pop(scratch, ctx);
  }
}

// ---- The node by its type ----

void trace_done(zu_tvr_node *node) noexcept {
  TVR_DEBUG("node %p: done waolking (type %d)", static_cast<void *>(node), node->type);
}

// Walks a collection batch by batch. A batch that cannot be fetched ends the node's walk with the result so
// far, which may be true: the failure is reported, and the rest of the configuration is still rendered.
[[gnu::noinline]] bool walk_collection(zu_tvr_node *node, zu_tvr_walk_ctx *ctx) noexcept {
  auto *data = data_of<zu_tvr_coll_data>(node);
  auto *scratch = scratch_of<zu_tvr_coll_scratch_data>(node, ctx);
  if (scratch == nullptr) return false;
  bool result = true;
  int32_t step = ZU_TVR_STEP_WALK;
  while (step == ZU_TVR_STEP_WALK) {
    step = data->execute(data, scratch, ctx, ctx->starting_node == node ? 1 : 0);
    if (step == ZU_TVR_STEP_FAILED) return result;
    TVR_DEBUG("node %p: collection returned %d", static_cast<void *>(node), step);
    result = walk_instances(node, ctx);
    if (result) {
      TVR_DEBUG("node %p: children walk successful", static_cast<void *>(node));
    } else {
      TVR_WARN("node %p: children walk failed", static_cast<void *>(node));
    }
    data->cleanup(scratch, step);
  }
  trace_done(node);
  return result;
}

// The record stays on the cache when the children fail: the
// walk then ends, and clearing the context releases it.
bool walk_get_one(zu_tvr_node *node, zu_tvr_walk_ctx *ctx) noexcept {
  auto *data = data_of<zu_tvr_crudx_data>(node);
  const int32_t step = data->walk(data, ctx);
  if (step != ZU_TVR_STEP_WALK) return step != ZU_TVR_STEP_FAILED;
  const bool result = walk_below(node, ctx);
  if (result) zu_tvr_pop_props_from_cache(ctx);
  return result;
}

[[gnu::noinline]] bool walk_iteration(zu_tvr_node *node, zu_tvr_walk_ctx *ctx) noexcept {
  auto *data = data_of<zu_tvr_iter_data>(node);
  auto *scratch = scratch_of<zu_tvr_iter_scratch_data>(node, ctx);
  if (scratch == nullptr) return false;
  bool result = true;
  int32_t step = data->next(scratch, ctx);
  while (step == ZU_TVR_STEP_WALK && result) {
    result = walk_below(node, ctx);
    data->pop(scratch, ctx);
    step = data->next(scratch, ctx);
  }
  if (step == ZU_TVR_STEP_FAILED) result = false;
  data->cleanup(scratch);
  return result;
}

bool walk_print(zu_tvr_node *node, zu_tvr_walk_ctx *ctx) noexcept {
  auto *data = data_of<zu_tvr_print_data>(node);
  auto *scratch = scratch_of<zu_tvr_print_scratch_data>(node, ctx);
  if (scratch == nullptr) return false;
  const int32_t step = data->walk(data, scratch, ctx);
  if (step != ZU_TVR_STEP_WALK) return step != ZU_TVR_STEP_FAILED;
  return walk_below(node, ctx);
}

[[gnu::cold, gnu::noinline]] void leave(zu_tvr_node *node, zu_tvr_walk_ctx *ctx) noexcept {
  ctx->node = node; // the walk of the nodes below has changed it
  tvr::observe(ctx, tvr::event_of(ZU_TVR_EVENT_LEAVE));
}

bool walk_by_type(zu_tvr_node *node, zu_tvr_walk_ctx *ctx) noexcept {
  bool result = true;
  switch (__builtin_expect(node->type, TVR_NODE_PRINT)) {
  case TVR_NODE_JUMP: {
    auto *data = data_of<zu_tvr_jump_data>(node);
    return data->walk(data, ctx);
  }
  case TVR_NODE_COLL:
    return walk_collection(node, ctx);
  case TVR_NODE_CRUDX:
    result = walk_get_one(node, ctx);
    break;
  case TVR_NODE_ITER:
    result = walk_iteration(node, ctx);
    break;
  case TVR_NODE_PRINT:
    result = walk_print(node, ctx);
    break;
  default:
    result = walk_below(node, ctx);
    break;
  }
  trace_done(node);
  return result;
}

// Only a jump can lead back to a node that is being walked, and only to a node that has a child or the next
// node of a path below it. So other nodes get no frame and no check, which most lines would pay for.
bool walk_node(zu_tvr_node *node, zu_tvr_walk_ctx *ctx) noexcept {
  TVR_DEBUG("node %p: wolking (type %d)", static_cast<void *>(node), node->type);
  ctx->node = node;
  if (ctx->depth >= tvr::max_depth) return fail(ctx, ZU_FAILED, "Template tree nested too deep");
  const bool leads_on =
      node->first_child != nullptr || node->type == TVR_NODE_JUMP || ctx->node_path != nullptr;
  if (leads_on && ctx->jumps != 0 && tvr::refuse_if_walked(node, ctx)) return false;
  zu_tvr_walk_frame frame;
  if (leads_on) {
    frame = {ctx->frame, node};
    ctx->frame = &frame;
    ++ctx->depth;
  }
  if (tvr::observed(ctx, ZU_TVR_EVENT_ENTER)) tvr::observe(ctx, tvr::event_of(ZU_TVR_EVENT_ENTER));
  const bool result = walk_by_type(node, ctx);
  if (leads_on) {
    ctx->frame = ctx->frame->above;
    --ctx->depth;
  }
  if (tvr::observed(ctx, ZU_TVR_EVENT_LEAVE)) leave(node, ctx);
  return result;
}

} // namespace

namespace tvr {

bool refuse_if_walked(const zu_tvr_node *node, zu_tvr_walk_ctx *ctx) noexcept {
  const zu_tvr_walk_frame *frame = ctx->frame;
  while (frame != nullptr && frame->node != node) frame = frame->above;
  if (frame == nullptr) return false;
  fail(ctx, ZU_FAILED, "Jump into a node that is being walked");
  return true;
}

} // namespace tvr

bool tvr_node_walk(zu_tvr_node *node, zu_tvr_walk_ctx *ctx) noexcept {
  TVR_ASSERT(node);
  TVR_ASSERT(ctx);
  return walk_node(node, ctx);
}

bool tvr_node_walk_children(zu_tvr_node *node, zu_tvr_walk_ctx *ctx) noexcept {
  TVR_ASSERT(node);
  TVR_ASSERT(ctx);
  return node->type == TVR_NODE_COLL ? walk_instances(node, ctx) : walk_below(node, ctx);
}
