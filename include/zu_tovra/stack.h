/* The stack of a walk, and the two caches built on it: the records in scope and the groups in scope.
 *
 * Everything here belongs to one walk and one thread.
 */
#ifndef ZU_TOVRA_STACK_H
#define ZU_TOVRA_STACK_H

#include "svcs/svcs.h"
#include "zu_tovra/export.h"

ZU_TVR_BEGIN

/* True when the item answers to the key. */
typedef bool (*zu_tvr_stack_compare_fn)(void *key, void *item, void *extra);

typedef struct zu_tvr_stack_entry zu_tvr_stack_entry;
struct zu_tvr_stack_entry {
  void *item;               /* not owned by the stack */
  zu_tvr_stack_entry *next; /* the entry below */

  /* Private. */
  uint64_t stamp;           /* unique among the stack's entries, ever: equal stamps on top, equal stacks */
  uint32_t level;           /* 1 at the bottom */
  const uint32_t *revision; /* of the record in the entry: changes with it; none when that cannot be told */
};

struct zu_tvr_stack {
  zu_tvr_stack_entry *top; /* none when empty */
  zu_tvr_stack_compare_fn compare;

  /* Private. */
  uint64_t last_stamp;
  zu_tvr_stack_entry *spare; /* entries to use again */
};

/* A new empty stack; without a compare operation items are compared by identity. None (traced) on failure. */
ZU_TVR_API zu_tvr_stack *zu_tvr_stack_new(zu_tvr_stack_compare_fn compare) ZU_TVR_NOEXCEPT;
/* Both must be given; false (traced) when memory is exhausted. */
ZU_TVR_API bool zu_tvr_stack_push(zu_tvr_stack *stack, void *item) ZU_TVR_NOEXCEPT;
/* The top item, or none when the stack is empty. */
ZU_TVR_API void *zu_tvr_stack_pop(zu_tvr_stack *stack) ZU_TVR_NOEXCEPT;
/* The topmost item for which the compare operation holds; none when there is none or the stack is none. */
ZU_TVR_API void *zu_tvr_stack_lookup(zu_tvr_stack *stack, void *key, void *extra) ZU_TVR_NOEXCEPT;
/* Frees the stack; `release` (may be none) is called with each item left, from the top. */
ZU_TVR_API void zu_tvr_stack_delete(zu_tvr_stack *stack, void (*release)(void *item)) ZU_TVR_NOEXCEPT;

/* Puts a record on the records cache (made on first use), with a reference of the cache's own. With
 * location, also a record of the keys of its location ("//?locations") and, from each group on the groups
 * cache (`skip_top_group`: the top one aside), the first member under the same root. The number of entries
 * pushed, all of which the caller pops when its children are done; 0 on failure (reported). */
ZU_TVR_API uint32_t zu_tvr_push_props_to_cache(zu_tvr_walk_ctx *ctx, zu_do_properties *record,
                                               uint8_t with_location, uint8_t skip_top_group) ZU_TVR_NOEXCEPT;
ZU_TVR_API void zu_tvr_pop_props_from_cache(zu_tvr_walk_ctx *ctx) ZU_TVR_NOEXCEPT;

/* Opens a group with a record on the groups cache, or appends it to the group on top. False on failure
 * (reported). */
ZU_TVR_API bool zu_tvr_push_props_group_to_cache(zu_tvr_walk_ctx *ctx, zu_do_properties *record,
                                                 uint8_t append) ZU_TVR_NOEXCEPT;
ZU_TVR_API void zu_tvr_pop_props_group_from_cache(zu_tvr_walk_ctx *ctx) ZU_TVR_NOEXCEPT;

/* Fills a location record from the location of a value that holds a record URI. False on failure
 * (reported). */
ZU_TVR_API bool zu_tvr_extract_loc_id_from_uri(zu_tvr_walk_ctx *ctx, zu_do_value *value,
                                               tarvo_location *location) ZU_TVR_NOEXCEPT;

ZU_TVR_END

#endif
