// How a walk context frees the private state of other folders (render, retrieval) that hangs on it.
#pragma once

#include "zu_tovra/walk_ctx.h"

struct zu_tvr_render_memory;

namespace tvr {

void render_memory_delete(zu_tvr_render_memory *memory) noexcept; // null is ignored
// Releases the records that were fetched early: both tables with all entries, and their memory.
void retrieval_clear(zu_tvr_walk_ctx *ctx) noexcept;

} // namespace tvr
