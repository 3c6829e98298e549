/* The data of a collection node, which walks its children per instance, or per group, of a collection. */
#ifndef ZU_TOVRA_COLL_H
#define ZU_TOVRA_COLL_H

#include "zu_tovra/uri.h"

ZU_TVR_BEGIN

/* In the scratch data's flags: the collection was requested for caching. */
#define TVR_COLL_FOR_CACHING 0x10000000u

/* Of one walk: the collection being read. */
typedef struct zu_tvr_coll_scratch_data {
  int32_t props_pushed;  /* entries that the last instance pushed; 0: nothing to pop */
  int32_t groups_pushed; /* 1 while a group is on the groups cache */
  zu_do_uri *coll_uri;   /* one reference: the resolved URI */
  uint64_t flags;
  zu_cursor *cursor;    /* owned: kept open between batches, or none */
  zu_do_vtable *vtable; /* one reference: the batch; none when all comes from the records cache */
  zu_do_iter *iter;     /* owned: over the batch; none before its first row */

  /* Private. */
  zu_do_properties *last;            /* one reference, or none: the last record of a row, to be used again */
  struct cursor_cache_entry *cached; /* what mr_cache_cursor has, or none, ... */
  zu_do_uri *cached_for;             /* ... under this (one reference), ... */
  uint32_t cached_mark;              /* ... as long as this holds; 0: not looked up */
} zu_tvr_coll_scratch_data;

typedef struct zu_tvr_coll_data zu_tvr_coll_data;
struct zu_tvr_coll_data {
  zu_tvr_uri *coll_uri; /* owned */
  zu_do_nvlist *query;  /* one reference, or none: arguments of a partial render */
  zu_do_nlist *orderby; /* one reference, or none */
  uint8_t location;     /* order batches by location; push records with their location */
  uint8_t group;        /* push groups of instances with equal order-by values */
  /* Called in this order: { execute, { iterate, walk, pop }, cleanup } while execute gives 1. */
  int32_t (*execute)(zu_tvr_coll_data *data, zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx,
                     uint8_t is_start_node);
  int32_t (*iterate)(zu_tvr_coll_data *data, zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx);
  void (*pop)(zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx);
  void (*cleanup)(zu_tvr_coll_scratch_data *scratch, int32_t execute_result);
};

/* See zu_tvr_node_new_coll for what is kept; on failure (none, traced) the URI template is the caller's. */
ZU_TVR_API zu_tvr_coll_data *zu_tvr_coll_data_new(zu_tvr_uri *coll_uri, zu_do_nvlist *query,
                                                  zu_do_nlist *orderby, const char *location_scheme,
                                                  uint8_t group) ZU_TVR_NOEXCEPT;
ZU_TVR_API void zu_tvr_coll_data_delete(zu_tvr_coll_data *data) ZU_TVR_NOEXCEPT; /* none is ignored */
ZU_TVR_API void zu_tvr_coll_data_print(FILE *stream, uint32_t indentation,
                                       zu_tvr_coll_data *data) ZU_TVR_NOEXCEPT;
ZU_TVR_API zu_tvr_coll_scratch_data *zu_tvr_coll_scratch_data_new(void) ZU_TVR_NOEXCEPT;
ZU_TVR_API void zu_tvr_coll_scratch_data_delete(zu_tvr_coll_scratch_data *scratch) ZU_TVR_NOEXCEPT;

ZU_TVR_END

#endif
