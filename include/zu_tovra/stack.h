/* The stack of a walk, and the two caches built on it.
 *
 * A template line names a record by URI ("/interface;name=$"), not by its distance in the tree. The records
 * cache answers that: it holds the records in scope, the innermost on top, and a look-up takes the topmost
 * that matches. The groups cache holds the groups in scope in the same way. It is a stack of its own, because
 * its items are lists of records, which iteration nodes walk.
 *
 * Everything here belongs to one walk and one thread.
 */
#ifndef ZU_TOVRA_STACK_H
#define ZU_TOVRA_STACK_H

#include "svcs/svcs.h"
#include "zu_tovra/export.h"

ZU_TVR_BEGIN

/* True when the item matches the key; `extra` is passed on from the look-up. */
typedef bool (*zu_tvr_stack_compare_fn)(void *key, void *item, void *extra);

typedef struct zu_tvr_stack_entry zu_tvr_stack_entry;
struct zu_tvr_stack_entry {
  void *item;               /* not owned by the stack */
  zu_tvr_stack_entry *next; /* the entry below */

  /* Private. A renderer remembers which record a look-up found. The stamp shows that the entry is still the
   * same (addresses are used again, stamps never), the revision that its record has not changed. Without them
   * a line could show the values of an earlier record. */
  uint64_t stamp;           /* of this push; when the top's stamp is the same, so are all entries */
  uint32_t level;           /* 1 at the bottom */
  const uint32_t *revision; /* changes when the record does; null when the platform does not count that */
};

struct zu_tvr_stack {
  zu_tvr_stack_entry *top; /* null when empty */
  zu_tvr_stack_compare_fn compare;

  /* Private. */
  uint64_t last_stamp;       /* given to an entry */
  zu_tvr_stack_entry *spare; /* entries to use again */
};

/* A new empty stack; without a compare operation items are compared by identity. Null (traced) on failure. */
ZU_TVR_API zu_tvr_stack *zu_tvr_stack_new(zu_tvr_stack_compare_fn compare) ZU_TVR_NOEXCEPT;
/* Puts an item on top. Both must be given; false (traced) when memory is exhausted. */
ZU_TVR_API bool zu_tvr_stack_push(zu_tvr_stack *stack, void *item) ZU_TVR_NOEXCEPT;
/* Removes the top item and returns it; null when the stack is empty. */
ZU_TVR_API void *zu_tvr_stack_pop(zu_tvr_stack *stack) ZU_TVR_NOEXCEPT;
/* The topmost item for which the compare operation is true; null when there is none or the stack is null. */
ZU_TVR_API void *zu_tvr_stack_lookup(zu_tvr_stack *stack, void *key, void *extra) ZU_TVR_NOEXCEPT;
/* Frees the stack, which must be given; `release` (or null) is called with each item left, from the top. */
ZU_TVR_API void zu_tvr_stack_delete(zu_tvr_stack *stack, void (*release)(void *item)) ZU_TVR_NOEXCEPT;

/* Puts a record on the records cache (made on first use), with a reference of the cache's own. With
 * `with_location` also the records that belong to the same location: a record of the location's keys
 * ("//?locations"), and from each group on the groups cache (with `skip_top_group` without the top one) the
 * first member in that location. The result is the number of entries pushed; the caller pops them all when
 * its children are done. 0 on failure (reported); entries that were pushed before it stay on the cache. */
ZU_TVR_API uint32_t zu_tvr_push_props_to_cache(zu_tvr_walk_ctx *ctx, zu_do_properties *record,
                                               uint8_t with_location, uint8_t skip_top_group) ZU_TVR_NOEXCEPT;
/* Pops one entry and releases its record; an empty cache is reported. */
ZU_TVR_API void zu_tvr_pop_props_from_cache(zu_tvr_walk_ctx *ctx) ZU_TVR_NOEXCEPT;

/* Opens a group with a record on the groups cache, or appends
 * it to the group on top. False on failure (reported). */
ZU_TVR_API bool zu_tvr_push_props_group_to_cache(zu_tvr_walk_ctx *ctx, zu_do_properties *record,
                                                 uint8_t append) ZU_TVR_NOEXCEPT;
/* Pops the group on top and releases it; an empty cache is reported. */
ZU_TVR_API void zu_tvr_pop_props_group_from_cache(zu_tvr_walk_ctx *ctx) ZU_TVR_NOEXCEPT;

/* Fills a location record from the location of a value that
 * holds a record URI. False on failure (reported). */
ZU_TVR_API bool zu_tvr_extract_loc_id_from_uri(zu_tvr_walk_ctx *ctx, zu_do_value *value,
                                               tarvo_location *location) ZU_TVR_NOEXCEPT;

ZU_TVR_END

#endif
