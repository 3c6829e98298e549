/* The records that a walk fetched ahead of need, as the walk context keeps them. */
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

/* What mr_cache_cursor holds under a collection's URI text. A queue that is none or empty: the collection
 * was requested, nothing is waiting. Keys, entries, queues and items that a walk made lie in memory of the
 * walk: a host may read them, but neither removes nor frees them. */
typedef struct cursor_cache_entry {
  queue *props_list; /* owned, or none */
} cursor_cache_entry;

/* Frees a queue of property items with the records that they hold; none is ignored. */
ZU_TVR_API void cleanup_props_list(queue *props_list) ZU_TVR_NOEXCEPT;

ZU_TVR_END

#endif
