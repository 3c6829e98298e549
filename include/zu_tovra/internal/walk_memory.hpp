// What other folders keep in a walk context, which frees it with the rest of a render.
#pragma once

#include "zu_tovra/walk_ctx.h"

struct zu_tvr_render_memory;

namespace tvr {

void render_memory_delete(zu_tvr_render_memory *memory) noexcept; // null is ignored
// Releases what was fetched ahead: both tables with all they hold, and the memory that they lie in.
void retrieval_clear(zu_tvr_walk_ctx *ctx) noexcept;

} // namespace tvr
