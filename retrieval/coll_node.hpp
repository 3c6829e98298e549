// The collection node's operations, and the steps that its files share.
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

// Release members of the scratch data and set them to null.
void coll_close_cursor(zu_tvr_coll_scratch_data *scratch) noexcept;
void coll_drop_batch(zu_tvr_coll_scratch_data *scratch) noexcept;

// ---- Partial queries ----

// A render that starts at a collection node may ask for a part of the collection: the node's query lines say
// which walk arguments restrict it.

// True when the render starts at the node, and both the node's query and the walk's arguments are given.
bool coll_is_partial_query(const zu_tvr_coll_data *data, const zu_tvr_walk_ctx *ctx,
                           uint8_t is_start_node) noexcept;
// The query: names and values of the arguments. Null on failure (reported).
ref<zu_do_nvlist> coll_build_query(zu_tvr_walk_ctx *ctx, zu_do_nvlist *node_query) noexcept;

// ---- Rows ----

// A record of a row with the node's collection URI; null (traced, not reported) on failure.
ref<zu_do_properties> coll_record_from_row(zu_tvr_coll_scratch_data *scratch, zu_do_vlist *row) noexcept;

// ---- Routing ----

// When a collection was requested for all parents, its rows belong to several collections, one per parent.
// The node walks the rows under its own parent; the others wait in a queue until the node runs for their
// parent. Without this each row would be rendered under the first parent. `own`: walk it now; `queued`: it
// waits for its parent; `no_record`: its collection cannot be found out (traced, the caller reports it);
// `refused`: the cache failed to take it (traced).
enum class route { own, queued, no_record, refused };

// Finds out where the record of a row belongs, and queues it if it belongs to another parent.
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

// A new table with the rows of the batch: rows with equal order-by values are sorted by location, the order
// of the others stays. Null on failure (reported).
ref<zu_do_vtable> coll_sort_by_location(zu_tvr_walk_ctx *ctx, zu_do_nlist *orderby,
                                        zu_do_vtable *batch) noexcept;
// Finds the first column with that unqualified name; false when there is none.
bool coll_find_column(zu_do_ntlist *columns, const char *name, size_t *index) noexcept;

} // namespace tvr
