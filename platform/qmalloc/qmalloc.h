/* Named memory: every block is charged to a 32-bit area id, so that a process can see which part of it uses
 * how much memory.
 *
 * Threads: every function may be called from any thread; a block may be freed by another thread than the
 * one that allocated it. Counting costs no atomic operation a call: counters are kept per thread and
 * summed when they are read.
 */
#ifndef QMALLOC_QMALLOC_H
#define QMALLOC_QMALLOC_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The area of all data objects (zuapi, store rows and cursors, conditions). */
#define ZU_DO_AREA 0x2900000u

/* Gives the printable name of an area; the text lives as long as the process. */
typedef const char *(*qmalloc_area_name_fn)(uint32_t area);

/* Registers an area with its name callback. 0 on success; non-zero when `name` is null or there are 64 areas
 * already. Registering an area again replaces its callback. */
int qmalloc_init(uint32_t area, qmalloc_area_name_fn name);

/* Allocation. The block is aligned for any type. Null when memory is exhausted, when the size (or the product
 * of count and size) is above PTRDIFF_MAX, and when an injected failure fires. Size 0 gives a block. */
void *qmalloc_named(uint32_t area, size_t size);
void *qcalloc_named(uint32_t area, size_t count, size_t size);
/* As realloc: after null the caller still owns `block`. A `block` of null allocates; size 0 gives a block
 * too. The block is afterwards charged to `area`. */
void *qrealloc_named(uint32_t area, void *block, size_t size);
/* A copy of `text`; null when `text` is null or memory is exhausted. */
char *qstrdup_named(uint32_t area, const char *text);

/* Free a block of this allocator, of any area; null is ignored. Both do the same: by convention "unnamed" is
 * used for the texts of a formatting function. */
void qfree_named(void *block);
void qfree_unnamed(void *block);

/* Counters of one area, summed over all threads. Exact when no other thread allocates meanwhile. An area
 * needs no registration to be counted; beyond 64 areas, the later ones are not. */
typedef struct qmalloc_counters {
  int64_t live_blocks;
  int64_t live_bytes;   /* the sizes that were asked for, without the allocator's overhead */
  int64_t total_blocks; /* allocated since the process started; a moved block counts once */
} qmalloc_counters;

qmalloc_counters qmalloc_count(uint32_t area);
/* The name the area was registered with, or null. */
const char *qmalloc_area_name(uint32_t area);

/* Fault injection, for tests. Makes the n-th allocation of the process from now on fail (n from 1), or that
 * one and all later ones. All areas and reallocations count. n = 0 ends it. */
void qmalloc_fail_nth(uint64_t n, bool all_later);
/* How often a failure fired since it was armed last. */
uint64_t qmalloc_fail_fired(void);
/* How many allocations there were since it was armed last, until it was disarmed. */
uint64_t qmalloc_fail_seen(void);

#ifdef __cplusplus
}
#endif

#endif
