// The get-one node's two ways to read its record.
#pragma once

#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/walk_ctx.h"

namespace tvr {

// Each gives a ZU_TVR_STEP_*, and the record with ZU_TVR_STEP_WALK.

// From the data interface's crudx interface.
int32_t crudx_read_direct(zu_tvr_walk_ctx *ctx, zu_do_uri *uri, ref<zu_do_properties> *record) noexcept;
// From the cache; when the instance's collection was not requested yet, by fetching it whole.
int32_t crudx_read_cached(zu_tvr_walk_ctx *ctx, zu_do_uri *uri, ref<zu_do_properties> *record) noexcept;

// Sets the record's URI: false on failure (reported).
bool crudx_set_uri(zu_tvr_walk_ctx *ctx, zu_do_properties *record, zu_do_uri *uri) noexcept;

} // namespace tvr
