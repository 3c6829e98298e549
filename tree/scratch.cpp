// Scratch nodes: made at the first use in a walk, found by the template node's slot or by its key.
#include "scratch.hpp"

#include <algorithm>

#include "node.hpp"
#include "zu_tovra/coll.h"
#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/internal/report.hpp"
#include "zu_tovra/iter.h"
#include "zu_tovra/print.h"
#include "zu_tovra/tree.h"

namespace {

using tvr::text;
using owned_node = tvr::unique<zu_tvr_node, zu_tvr_node_delete>;

const char *type_word(uint32_t type) noexcept {
  return type == TVR_NODE_COLL ? "coll" : type == TVR_NODE_ITER ? "iter" : "print";
}

// New scratch data for a node of a type; null (traced) on failure.
void *new_scratch_data(uint32_t type) noexcept {
  if (type == TVR_NODE_COLL) return zu_tvr_coll_scratch_data_new();
  if (type == TVR_NODE_ITER) return zu_tvr_iter_scratch_data_new();
  return zu_tvr_print_scratch_data_new();
}

// Stores a scratch node under the slot of its template node.
// If memory is exhausted, later look-ups use the table.
void note_in_slot(zu_tvr_node *node, zu_tvr_node *scratch_node, zu_tvr_walk_ctx *ctx) noexcept {
  if (node->slot == 0) return;
  if (node->slot >= ctx->scratch_slot_count) {
    const uint32_t count = std::max({node->slot + 1, 2 * ctx->scratch_slot_count, 64u});
    tvr::block<zu_tvr_scratch_slot> slots(ctx->scratch_slots);
    const bool resized = tvr::resize(slots, count);
    ctx->scratch_slots = slots.release();
    if (!resized) return;
    std::fill(ctx->scratch_slots + ctx->scratch_slot_count, ctx->scratch_slots + count,
              zu_tvr_scratch_slot{nullptr, nullptr});
    ctx->scratch_slot_count = count;
  }
  ctx->scratch_slots[node->slot] = {node, scratch_node};
}

// A new scratch node in the walk's table; null (traced) on failure.
zu_tvr_node *add_scratch_node(zu_tvr_node *node, text key, zu_tvr_walk_ctx *ctx) noexcept {
  owned_node scratch_node(tvr::new_node(node->type));
  if (scratch_node == nullptr) return nullptr;
  scratch_node->scratch = new_scratch_data(node->type);
  if (scratch_node->scratch == nullptr) return nullptr;
  if (htAdd(ctx->scratch_nodes, key.get(), scratch_node.get()) != 0) {
    TVR_ERROR("Failed to add %s scratch node to ctx hash %s", type_word(node->type), key.get());
    return nullptr;
  }
  TVR_INFO("add %s scratch node %p key:%s", type_word(node->type), static_cast<void *>(scratch_node.get()),
           key.get());
  (void)key.release();
  return scratch_node.release();
}

} // namespace

namespace tvr {

void *find_or_make_scratch_data(zu_tvr_node *node, zu_tvr_walk_ctx *ctx) noexcept {
  text key(zu_tovra_create_key_from_ptr(node));
  if (key == nullptr) return nullptr;
  auto *found = static_cast<zu_tvr_node *>(htFind(ctx->scratch_nodes, key.get()));
  if (found == nullptr) found = add_scratch_node(node, std::move(key), ctx);
  if (found == nullptr) return nullptr;
  note_in_slot(node, found, ctx);
  return found->scratch;
}

} // namespace tvr

char *zu_tovra_create_key_from_ptr(const void *address) noexcept {
  char *key = nullptr;
  if (zu_printf(&key, "%p", address) >= 0) return key;
  TVR_ERROR("Failed to create ht key from ptr");
  return nullptr;
}
