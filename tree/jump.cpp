// The jump node: walks its destination one CLI mode deeper, between submode tags when asked.
#include "zu_tovra/jump.h"

#include "walk.hpp"
#include "zu_tovra/internal/observed.hpp"
#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/internal/report.hpp"

namespace {

using tvr::fail;
using tvr::or_error;

// A tag that cannot be built, or that the output refuses, is no failure: the result of a jump is that of its
// destination's walk.
void write_tag(const char *submode, zu_tvr_walk_ctx *ctx, bool closing) noexcept {
  if (submode == nullptr || ctx->tag_submodes == 0) return;
  const tvr::string_buffer buffer(zu_do_strbuf_new());
  if (buffer != nullptr) {
    zu_do_strbuf_add_char(buffer.get(), '\n');
    zu_do_strbuf_add_fill(buffer.get(), ' ', ctx->indentation);
    zu_do_strbuf_add_string(buffer.get(), closing ? "! </submode> \"" : "! <submode> \"");
    zu_do_strbuf_add_string(buffer.get(), submode);
    zu_do_strbuf_add_char(buffer.get(), '"');
  }
  const char *tag = zu_do_strbuf_to_string(buffer.get());
  if (tag == nullptr) {
    TVR_ERROR("Failed to allocate buffer");
    return;
  }
  if (tvr::observed(ctx, ZU_TVR_EVENT_LINE)) tvr::observe_text(ctx, tag);
  (void)ctx->output_cb(ctx->cb_ctx, tag);
}

bool walk_jump(zu_tvr_jump_data *data, zu_tvr_walk_ctx *ctx) noexcept {
  TVR_ASSERT(data);
  TVR_ASSERT(ctx);
  if (data->dest == nullptr) return fail(ctx, ZU_EXHAUSTED, "Unable to find destination for jump node");
  if (tvr::refuse_if_walked(data->dest, ctx)) return false;
  zu_tvr_node *node = ctx->node;
  ++ctx->indentation;
  ++ctx->jumps;
  write_tag(data->dest_id, ctx, false);
  const bool result = data->dest->walk(data->dest, ctx);
  ctx->node = node; // the destination's walk has changed it
  write_tag(data->dest_id, ctx, true);
  --ctx->jumps;
  --ctx->indentation;
  return result;
}

} // namespace

zu_tvr_jump_data *zu_tvr_jump_data_new(const char *dest_id) noexcept {
  TVR_ASSERT(dest_id);
  auto data = or_error(tvr::make_zeroed<zu_tvr_jump_data>(), "Failed to allocate tovra node data");
  if (data == nullptr) return nullptr;
  data->dest_id = or_error(tvr::copy_text(dest_id), "Failed to allocate key in node data").release();
  if (data->dest_id == nullptr) return nullptr;
  data->walk = walk_jump;
  return data.release();
}

void zu_tvr_jump_data_delete(zu_tvr_jump_data *data) noexcept {
  if (data == nullptr) return;
  const tvr::block<zu_tvr_jump_data> owner(data);
  const tvr::text dest_id(data->dest_id);
}
