// Cursors of the framework, held by a handle that frees them through their own operation.
#pragma once

#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/internal/report.hpp"

namespace tvr {

inline void free_cursor(zu_cursor *cursor) noexcept {
  cursor->ops->free(cursor);
}
using cursor_handle = unique<zu_cursor, free_cursor>;

// Gets the walk's collection interface on first use: 0, or an error code (traced, not reported).
inline int32_t get_coll_ifc(zu_tvr_walk_ctx *ctx) noexcept {
  if (ctx->coll_ifc != nullptr) return 0;
  const int error = ctx->data_ifc->ops->get_coll_ifc(ctx->data_ifc, &ctx->coll_ifc);
  if (error == 0 && ctx->coll_ifc != nullptr) return 0;
  ctx->coll_ifc = nullptr;
  TVR_ERROR("Failed to get collection interface");
  return error != 0 ? error : ZU_FAILED;
}

// Clears the status after the end of the data and after "no such record", which are no errors for a walk.
template <class Source>
void clear_status(Source *source) noexcept {
  zu_status *status = source->ops->status(source);
  if (status != nullptr) status->ops->clear(status);
}

} // namespace tvr
