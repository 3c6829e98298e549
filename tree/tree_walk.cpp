// Starts a walk: finds the starting node, and the path from the root down to it.
//
// A partial render does not begin at its node: the nodes above it may fetch the records that it needs. So the
// walk begins at the root and follows the path; the siblings beside the path are not walked.
#include <glib.h>

#include "node.hpp"
#include "walk.hpp"
#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/internal/report.hpp"

namespace {

void delete_path(zu_tvr_stack *path) noexcept {
  zu_tvr_stack_delete(path, nullptr);
}
using node_path = tvr::unique<zu_tvr_stack, delete_path>;

// Gives the walk its path to the node: a stack with the node at the bottom and its ancestors above it,
// without the root, which is the result. Null on failure.
zu_tvr_node *build_path(zu_tvr_node *node, zu_tvr_walk_ctx *ctx) noexcept {
  TVR_INFO("tree: partial TOVRA detected, building path to node %ld", tvr::node_address(node));
  node_path path(zu_tvr_stack_new(nullptr));
  if (path == nullptr) return nullptr;
  for (; node->parent != nullptr; node = node->parent) {
    TVR_DEBUG("tree: adding node %ld to path", tvr::node_address(node));
    if (!zu_tvr_stack_push(path.get(), node)) {
      tvr::report(ctx, ZU_FAILED, "Failed to push to node path stack");
      return nullptr;
    }
  }
  const node_path earlier(std::exchange(ctx->node_path, path.release()));
  return node;
}

} // namespace

namespace tvr {

bool walk_tree(zu_tvr_tree *tree, const char *id, zu_tvr_walk_ctx *ctx) noexcept {
  TVR_ASSERT(tree);
  TVR_ASSERT(ctx);
  if (id == nullptr) id = "config";
  auto *node = static_cast<zu_tvr_node *>(g_hash_table_lookup(tree->nodes, id));
  if (node == nullptr) {
    TVR_ERROR("Invalid node id: %s", id);
    return report(ctx, ZU_FAILED, "Invalid node id for walk start");
  }
  ctx->starting_node = node;
  if (node != tree->root && node->parent != nullptr) node = build_path(node, ctx);
  if (node == nullptr) return false;
  TVR_DEBUG("tree: STARTING WALK FROM NODE %ld", node_address(node));
  const bool result = node->walk(node, ctx);
  ctx->node = nullptr;
  return result;
}

} // namespace tvr
