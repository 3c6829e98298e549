// The two tables of a walk that hold records which were fetched early. mr_cache_cursor has the records of
// collection nodes: a queue for each collection, in the order of the rows. mr_cache has the records of
// get-one nodes, each under its own URI. Both save requests: without them a list of N items would cost N
// requests for each node below it. Keys are exact URI texts, copies that the table owns.
//
// Failures are traced, never reported: the callers decide. Texts that are passed in are NUL-terminated.
#pragma once

#include <string_view>

#include "zu_tovra/coll.h"
#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/record_cache.h"
#include "zu_tovra/walk_ctx.h"

namespace tvr {

// ---- Queues by collection ----

// Makes the table if it is missing; false (not traced) when memory is exhausted.
bool cursor_cache_make(zu_tvr_walk_ctx *ctx) noexcept;
// Appends a record (shared) to the queue under a collection's text; a missing queue is made. False on
// failure; then the entry and its records are gone.
bool cursor_cache_insert(zu_tvr_walk_ctx *ctx, std::string_view coll_text, zu_do_properties *record) noexcept;

// The entry under the URI that the node resolved, borrowed; or null. It looks into the table only when the
// remembered answer may have changed.
cursor_cache_entry *cursor_cache_find(zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx) noexcept;
// The head record, which stays queued (borrowed); null when nothing is queued.
zu_do_properties *cursor_cache_peek(cursor_cache_entry *entry) noexcept;
// The head record, taken out; null when nothing is queued.
ref<zu_do_properties> cursor_cache_take(zu_tvr_walk_ctx *ctx, cursor_cache_entry *entry) noexcept;
// Removes that entry with its queue; false (traced) when the table fails to remove it.
bool cursor_cache_remove(zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx,
                         cursor_cache_entry *entry) noexcept;

// Marks a collection as requested, so that it is not requested again; false on failure.
enum class requester { collection_node, get_one_node };
bool cursor_cache_mark_requested(zu_tvr_walk_ctx *ctx, std::string_view coll_text, requester who) noexcept;

// ---- Single instances ----

// Keeps a record under an instance's text. On failure (false) the record is released.
bool mr_cache_put(zu_tvr_walk_ctx *ctx, std::string_view uri_text, ref<zu_do_properties> record) noexcept;
// Removes the record under an instance's text and returns it; null when there is none.
ref<zu_do_properties> mr_cache_take(zu_tvr_walk_ctx *ctx, const char *uri_text) noexcept;

} // namespace tvr
