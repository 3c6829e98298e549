// What other folders keep in a walk context, which frees it with the rest of a render.
#pragma once

struct zu_tvr_render_memory;

namespace tvr {

void render_memory_delete(zu_tvr_render_memory *memory) noexcept; // null is ignored

} // namespace tvr
