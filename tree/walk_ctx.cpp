// The walk context: made for one render, filled by its walk, cleared and freed afterwards.
#include "zu_tovra/walk_ctx.h"

#include <algorithm>

#include "node.hpp"
#include "zu_tovra/internal/observed.hpp"
#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/internal/report.hpp"
#include "zu_tovra/internal/walk_memory.hpp"

namespace {

using tvr::or_error;
using owned_ctx = tvr::unique<zu_tvr_walk_ctx, zu_tvr_walk_ctx_delete>;

// Frees an interface through its table; a failure is only traced, since clearing goes on.
template <class Interface>
void free_interface(Interface *&field, const char *word) noexcept {
  Interface *ifc = std::exchange(field, nullptr);
  if (ifc != nullptr && ifc->ops->free(ifc) != 0) TVR_ERROR("Failed to free %s ifc", word);
}

void delete_stack(zu_tvr_stack *&field, void (*release)(void *item)) noexcept {
  zu_tvr_stack *stack = std::exchange(field, nullptr);
  if (stack != nullptr) zu_tvr_stack_delete(stack, release);
}

template <class Item>
void release(void *item) noexcept {
  tvr::ref<Item>::adopt(static_cast<Item *>(item)).reset();
}

void free_scratch_node(char *key, void *value) noexcept {
  const tvr::text owned_key(key);
  auto *scratch_node = static_cast<zu_tvr_node *>(value);
  TVR_INFO("Deleting scratch node %p %s %u", value, key, scratch_node->type);
  zu_tvr_node_delete(scratch_node);
}

} // namespace

zu_tvr_walk_ctx *zu_tvr_walk_ctx_new(zu_data_ifc *data_ifc, const char *config_name,
                                     zu_do_properties *arguments, int32_t render_defaults, uint64_t flags,
                                     uint32_t fetch_count, uint8_t tag_submodes, zu_tvr_cond_args *cond_args,
                                     void *cb_ctx, zu_tvr_error_fn error_cb,
                                     zu_tvr_output_fn output_cb) noexcept {
  TVR_ASSERT(error_cb);
  TVR_ASSERT(output_cb);
  static constexpr char no_memory[] = "Failed to allocate tovra walk context";
  owned_ctx ctx(or_error(tvr::make_zeroed<zu_tvr_walk_ctx>(), no_memory).release());
  if (ctx == nullptr) return nullptr;
  const bool shared = data_ifc != nullptr && data_ifc->ops->ref(data_ifc) == 0;
  if (!or_error(shared, "Failed to ref data_ifc")) return nullptr;
  ctx->data_ifc = data_ifc;
  ctx->config_name = config_name;
  ctx->arguments = tvr::share_into_field(arguments);
  ctx->render_defaults = static_cast<uint8_t>(render_defaults);
  ctx->flags = flags;
  ctx->fetch_count = fetch_count;
  ctx->tag_submodes = tag_submodes;
  ctx->observer = tvr::current_observer();
  if (ctx->observer != nullptr) ctx->observed = ctx->observer->kinds;
  ctx->cond_args = cond_args;
  ctx->cb_ctx = cb_ctx;
  ctx->error_cb = error_cb;
  ctx->output_cb = output_cb;
  ctx->scratch_nodes = or_error(htMake(0), no_memory);
  return ctx->scratch_nodes != nullptr ? ctx.release() : nullptr;
}

void zu_tvr_walk_ctx_clear(zu_tvr_walk_ctx *ctx) noexcept {
  TVR_ASSERT(ctx);
  free_interface(ctx->coll_ifc, "coll");
  free_interface(ctx->crudx_ifc, "crudx");
  delete_stack(ctx->node_path, nullptr);
  tvr::drop_field(ctx->arguments);
  delete_stack(ctx->props_cache, release<zu_do_properties>);
  delete_stack(ctx->props_groups_cache, release<zu_do_properties_list>);
  tvr::retrieval_clear(ctx);
  ctx->indentation = 0;
  ctx->starting_node = nullptr;
  htCloseWithFunction2(std::exchange(ctx->scratch_nodes, nullptr), free_scratch_node);
  const tvr::block<zu_tvr_scratch_slot> slots(std::exchange(ctx->scratch_slots, nullptr));
  ctx->scratch_slot_count = 0;
  tvr::render_memory_delete(std::exchange(ctx->render, nullptr));
}

void zu_tvr_walk_ctx_delete(zu_tvr_walk_ctx *ctx) noexcept {
  TVR_ASSERT(ctx);
  const tvr::block<zu_tvr_walk_ctx> owner(ctx);
  zu_tvr_walk_ctx_clear(ctx);
  free_interface(ctx->data_ifc, "data");
}

void zu_tvr_walk_ctx_print(FILE *stream, int32_t indentation, zu_tvr_walk_ctx *ctx) noexcept {
  TVR_ASSERT(stream);
  TVR_ASSERT(ctx);
  const auto tabs = static_cast<uint32_t>(std::max(indentation, 0));
  const auto nested = static_cast<uint32_t>(std::max(indentation, -1)) + 1; // a level more, also below 0
  const auto put_tabs = [&] {
    for (uint32_t i = 0; i < tabs; ++i) std::fputc('\t', stream);
  };
  put_tabs();
  std::fprintf(stream, "config_name: %s\n", ctx->config_name != nullptr ? ctx->config_name : "(null)");
  put_tabs();
  std::fprintf(stream, "indentation: %d\n", static_cast<int>(ctx->indentation));
  if (ctx->node_path != nullptr) {
    std::fputs("node path:", stream);
    for (zu_tvr_stack_entry *entry = ctx->node_path->top; entry != nullptr; entry = entry->next) {
      std::fprintf(stream, " %ld ", tvr::node_number(static_cast<zu_tvr_node *>(entry->item)));
    }
    std::fputc('\n', stream);
  }
  put_tabs();
  std::fputs("arguments:\n", stream);
  zu_do_print_properties(stream, nested, ctx->arguments);
  if (ctx->props_cache != nullptr) {
    for (zu_tvr_stack_entry *entry = ctx->props_cache->top; entry != nullptr; entry = entry->next) {
      zu_do_print_properties(stream, nested, static_cast<zu_do_properties *>(entry->item));
    }
    std::fputc('\n', stream);
  }
  put_tabs();
  std::fprintf(stream, "starting node: %ld\n", tvr::node_number(ctx->starting_node));
}
