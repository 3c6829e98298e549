// The collection node's operations and the steps that its files share.
#pragma once

#include "record_caches.hpp"
#include "zu_tovra/coll.h"
#include "zu_tovra/walk_ctx.h"

namespace tvr {

int32_t coll_node_execute(zu_tvr_coll_data *data, zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx,
                          uint8_t is_start_node) noexcept;
int32_t coll_node_iterate(zu_tvr_coll_data *data, zu_tvr_coll_scratch_data *scratch,
                          zu_tvr_walk_ctx *ctx) noexcept;
void coll_node_pop(zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx) noexcept;
void coll_node_cleanup(zu_tvr_coll_scratch_data *scratch, int32_t execute_result) noexcept;

// Let go of what the scratch data hold; each field is none afterwards.
void coll_close_cursor(zu_tvr_coll_scratch_data *scratch) noexcept;
void coll_drop_batch(zu_tvr_coll_scratch_data *scratch) noexcept;

// ---- Partial queries ----

// True when a render that starts at the node narrows its collection by the walk's arguments.
bool coll_is_partial_query(const zu_tvr_coll_data *data, const zu_tvr_walk_ctx *ctx,
                           uint8_t is_start_node) noexcept;
// The query: argument names and values. None on failure (reported).
ref<zu_do_nvlist> coll_build_query(zu_tvr_walk_ctx *ctx, zu_do_nvlist *node_query) noexcept;

// ---- Rows ----

// A record of a row with the node's collection URI; none (traced, not reported) on failure.
ref<zu_do_properties> coll_record_from_row(zu_tvr_coll_scratch_data *scratch, zu_do_vlist *row) noexcept;

// ---- Routing ----

// Where a row's record goes when the whole collection was requested for caching: no_record is a failure that
// costs the row its record (reported by the caller), refused one of the cache.
enum class route { own, queued, no_record, refused };

// Queues a record of a sibling collection for the node that will visit that one.
route coll_route(zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx, zu_do_properties *record) noexcept;

// ---- Groups ----

// The key of the group that is being gathered: the order-by values of its first record. Empty before that.
class group_key {
public:
  bool empty() const noexcept { return !first_; }
  // Takes the key from the group's first record; false (traced) on failure.
  bool start(zu_do_nlist *orderby, zu_do_properties *record) noexcept;
  bool matches(zu_do_properties *record) const noexcept;

private:
  void trace() const noexcept;

  zu_do_nlist *orderby_ = nullptr; // borrowed
  ref<zu_do_properties> first_;
};

// ---- Location order ----

// A new table of the batch's rows, ordered by location between equal order-by values; none on failure
// (reported).
ref<zu_do_vtable> coll_sort_by_location(zu_tvr_walk_ctx *ctx, zu_do_nlist *orderby,
                                        zu_do_vtable *batch) noexcept;
// The first column of that unqualified name.
bool coll_find_column(zu_do_ntlist *columns, const char *name, size_t *index) noexcept;

} // namespace tvr
