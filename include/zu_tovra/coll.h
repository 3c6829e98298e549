/* The data of a collection node, which walks its children once for each instance, or each group of instances,
 * of a collection.
 *
 * The data is made while templates are loaded and only read afterwards. What a walk changes is in the scratch
 * data, so that any number of renders may use one node at the same time. */
#ifndef ZU_TOVRA_COLL_H
#define ZU_TOVRA_COLL_H

#include "zu_tovra/uri.h"

ZU_TVR_BEGIN

/* In the scratch data's flags: the collection was requested for caching, that is, for all parents at once. */
#define TVR_COLL_FOR_CACHING 0x10000000u

/* Of one walk and its thread: the collection being read. */
typedef struct zu_tvr_coll_scratch_data {
  int32_t props_pushed;  /* entries that the last instance pushed; 0: nothing to pop */
  int32_t groups_pushed; /* 1 while a group is on the groups cache */
  zu_do_uri *coll_uri;   /* one reference: the resolved URI, or null */
  uint64_t flags;        /* TVR_COLL_FOR_CACHING, or 0 */
  zu_cursor *cursor;     /* owned: kept open between batches, or null */
  zu_do_vtable *vtable;  /* one reference: the batch; null when all comes from the records cache */
  zu_do_iter *iter;      /* owned: over the batch; null before its first row */

  /* Private. */
  zu_do_properties *last; /* one reference, or null: the record of the last row, to be used again */
  /* The last look-up in mr_cache_cursor, since each instance asks again for the same URI. */
  struct cursor_cache_entry *cached; /* what it found, or null */
  zu_do_uri *cached_for;             /* the URI that was looked up: one reference, or null */
  uint32_t cached_mark;              /* changes when the answer may be another; 0: not looked up */
} zu_tvr_coll_scratch_data;

typedef struct zu_tvr_coll_data zu_tvr_coll_data;
struct zu_tvr_coll_data {
  zu_tvr_uri *coll_uri; /* owned */
  zu_do_nvlist *query;  /* one reference, or null: arguments of a partial render */
  zu_do_nlist *orderby; /* one reference, or null */
  uint8_t location;     /* order batches by location; push records with their location */
  uint8_t group;        /* push groups of instances with equal order-by values */
  /* Called in this order: { execute, { iterate, walk the children, pop }, cleanup }. The outer part is
   * repeated while execute gives ZU_TVR_STEP_WALK (more batches follow), the inner one while iterate does.
   * Failures are reported. `is_start_node`: the render begins at this node, so that the query applies. */
  int32_t (*execute)(zu_tvr_coll_data *data, zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx,
                     uint8_t is_start_node);
  int32_t (*iterate)(zu_tvr_coll_data *data, zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx);
  void (*pop)(zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx);
  void (*cleanup)(zu_tvr_coll_scratch_data *scratch, int32_t execute_result);
};

/* The URI template must be given; see zu_tvr_node_new_coll for what is kept. On failure (null, traced) the
 * URI template is still the caller's. */
ZU_TVR_API zu_tvr_coll_data *zu_tvr_coll_data_new(zu_tvr_uri *coll_uri, zu_do_nvlist *query,
                                                  zu_do_nlist *orderby, const char *location_scheme,
                                                  uint8_t group) ZU_TVR_NOEXCEPT;
ZU_TVR_API void zu_tvr_coll_data_delete(zu_tvr_coll_data *data) ZU_TVR_NOEXCEPT; /* null is ignored */
/* Writes a dump at `indentation` tabs. */
ZU_TVR_API void zu_tvr_coll_data_print(FILE *stream, uint32_t indentation,
                                       zu_tvr_coll_data *data) ZU_TVR_NOEXCEPT;
/* New scratch data for one walk; null (traced) on failure.
 * The second releases what it holds; null is ignored. */
ZU_TVR_API zu_tvr_coll_scratch_data *zu_tvr_coll_scratch_data_new(void) ZU_TVR_NOEXCEPT;
ZU_TVR_API void zu_tvr_coll_scratch_data_delete(zu_tvr_coll_scratch_data *scratch) ZU_TVR_NOEXCEPT;

ZU_TVR_END

#endif
