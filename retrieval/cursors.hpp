// Cursors of the framework, held by a handle that frees them through their own operation.
#pragma once

#include "zu_tovra/internal/own.hpp"

namespace tvr {

inline void free_cursor(zu_cursor *cursor) noexcept {
  cursor->ops->free(cursor);
}
using cursor_handle = unique<zu_cursor, free_cursor>;

// Asked for at the end of the data, before the cursor is freed.
inline void clear_status(zu_cursor *cursor) noexcept {
  zu_status *status = cursor->ops->status(cursor);
  status->ops->clear(status);
}

} // namespace tvr
