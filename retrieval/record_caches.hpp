// The two tables of a walk that hold records fetched ahead of need: whole collections as queues
// (mr_cache_cursor) and single instances (mr_cache). Keys are exact URI texts, copies that the table owns.
//
// Failures are traced, never reported: the callers decide.
#pragma once

#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/record_cache.h"
#include "zu_tovra/walk_ctx.h"

namespace tvr {

// ---- Queues by collection ----

// Appends a record (shared) to the queue under a collection's text, which it makes when it is missing. The
// entry, borrowed from the table; none on failure, and then the entry is gone with what it held.
cursor_cache_entry *cursor_cache_insert(zu_tvr_walk_ctx *ctx, const char *coll_text,
                                        zu_do_properties *record) noexcept;
// The same by URI: 0, or -1.
int32_t insert_props_into_hashmap(zu_tvr_walk_ctx *ctx, zu_do_uri *coll_uri,
                                  zu_do_properties *record) noexcept;
// Appends to an entry that a cursor_cache_insert of the same call gave.
bool cursor_cache_append(zu_tvr_walk_ctx *ctx, const char *coll_text, cursor_cache_entry *entry,
                         zu_do_properties *record) noexcept;

// The entry under a collection's URI, borrowed, or none.
cursor_cache_entry *cursor_cache_find(zu_tvr_walk_ctx *ctx, zu_do_uri *coll_uri) noexcept;
// The head record, which stays queued (borrowed); none when nothing is queued.
zu_do_properties *cursor_cache_peek(cursor_cache_entry *entry) noexcept;
// The head record, taken out; none when nothing is queued.
ref<zu_do_properties> cursor_cache_take(cursor_cache_entry *entry) noexcept;
// Removes the entry under the URI with its queue; false when the table does not give it up.
bool cursor_cache_remove(zu_tvr_walk_ctx *ctx, zu_do_uri *coll_uri, cursor_cache_entry *entry) noexcept;

// Notes that a collection was requested, so that it is not requested again: 0, or -1. A get-one node has
// made the table before; a collection node has it made here.
enum class requester { collection_node, get_one_node };
int32_t cursor_cache_mark_requested(zu_tvr_walk_ctx *ctx, zu_do_uri *coll_uri, requester who) noexcept;

// ---- Single instances ----

// Keeps a record under an instance's text: 0, or -1 with the record released.
int32_t mr_cache_put(zu_tvr_walk_ctx *ctx, const char *uri_text, ref<zu_do_properties> record) noexcept;
// Takes the record under an instance's text out; none when there is none.
ref<zu_do_properties> mr_cache_take(zu_tvr_walk_ctx *ctx, const char *uri_text) noexcept;

} // namespace tvr
