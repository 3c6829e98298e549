// The two tables of a walk that hold records fetched ahead of need: whole collections as queues
// (mr_cache_cursor) and single instances (mr_cache). Keys are exact URI texts, copies that the table owns.
//
// Failures are traced, never reported: the callers decide. Texts that are given are NUL-terminated.
#pragma once

#include <string_view>

#include "zu_tovra/coll.h"
#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/record_cache.h"
#include "zu_tovra/walk_ctx.h"

namespace tvr {

// ---- Queues by collection ----

// Makes the table when there is none; false (not traced) when memory is exhausted.
bool cursor_cache_make(zu_tvr_walk_ctx *ctx) noexcept;
// Appends a record (shared) to the queue under a collection's text, which it makes when it is missing. False
// on failure, and then the entry is gone with what it held.
bool cursor_cache_insert(zu_tvr_walk_ctx *ctx, std::string_view coll_text, zu_do_properties *record) noexcept;

// The entry under the URI that the node resolved, borrowed, or none. Looked up when that may have changed.
cursor_cache_entry *cursor_cache_find(zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx) noexcept;
// The head record, which stays queued (borrowed); none when nothing is queued.
zu_do_properties *cursor_cache_peek(cursor_cache_entry *entry) noexcept;
// The head record, taken out; none when nothing is queued.
ref<zu_do_properties> cursor_cache_take(zu_tvr_walk_ctx *ctx, cursor_cache_entry *entry) noexcept;
// Removes that entry with its queue; false (traced) when the table does not give it up.
bool cursor_cache_remove(zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx,
                         cursor_cache_entry *entry) noexcept;

// Notes that a collection was requested, so that it is not requested again; false on failure.
enum class requester { collection_node, get_one_node };
bool cursor_cache_mark_requested(zu_tvr_walk_ctx *ctx, std::string_view coll_text, requester who) noexcept;

// ---- Single instances ----

// Keeps a record under an instance's text; false with the record released.
bool mr_cache_put(zu_tvr_walk_ctx *ctx, std::string_view uri_text, ref<zu_do_properties> record) noexcept;
// Takes the record under an instance's text out; none when there is none.
ref<zu_do_properties> mr_cache_take(zu_tvr_walk_ctx *ctx, const char *uri_text) noexcept;

} // namespace tvr
