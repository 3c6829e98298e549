/* The records that a walk fetched before they are needed, as the walk context keeps them.
 *
 * Under a list, one request fetches the instances under all parents (see coll_uri.h). A node uses the ones
 * under its own parent and puts the others here, where the later runs of the node find them. */
#ifndef ZU_TOVRA_RECORD_CACHE_H
#define ZU_TOVRA_RECORD_CACHE_H

#include "infra/infra.h"
#include "zu_tovra/export.h"

ZU_TVR_BEGIN

/* A record that waits in a queue. */
typedef struct props_item {
  queue_item link;
  zu_do_properties *props; /* one reference */
} props_item;

/* What mr_cache_cursor holds under a collection's URI text. Without a queue, or with an empty one: the
 * collection was requested and has no records that wait; without such an entry it would be requested again.
 * Keys, entries, queues and items that a walk made are in memory of the walk: a host may read them, but must
 * not remove or free them. */
typedef struct cursor_cache_entry {
  queue *props_list; /* owned, or null */
} cursor_cache_entry;

/* Frees a queue of property items with the records that they hold; null is ignored. */
ZU_TVR_API void cleanup_props_list(queue *props_list) ZU_TVR_NOEXCEPT;

ZU_TVR_END

#endif
