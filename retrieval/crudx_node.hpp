// The get-one node's two ways to read its record.
#pragma once

#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/walk_ctx.h"

namespace tvr {

// What a read came to; the record is given with ZU_TVR_STEP_WALK only.
struct get_one_result {
  int32_t step;
  ref<zu_do_properties> record;
};

// From the data interface's crudx interface.
get_one_result crudx_read_direct(zu_tvr_walk_ctx *ctx, zu_do_uri *uri) noexcept;
// From the cache; when the instance's collection was not requested yet, by fetching it whole.
get_one_result crudx_read_cached(zu_tvr_walk_ctx *ctx, zu_do_uri *uri) noexcept;

// Sets the record's URI: false on failure (reported).
bool crudx_set_uri(zu_tvr_walk_ctx *ctx, zu_do_properties *record, zu_do_uri *uri) noexcept;

} // namespace tvr
