/* Text-keyed hash tables, queues and the fatal assertion.
 *
 * Threads: a table or queue belongs to one thread at a time.
 */
#ifndef INFRA_INFRA_H
#define INFRA_INFRA_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Writes one line with the name of the missing argument to
 * standard error and calls abort(), also in release builds. */
void zu_assert_fail(const char *name) __attribute__((noreturn, cold));

/* ---- Hash tables from NUL-terminated text to a pointer ----
 * The table keeps the key pointer that it is given (the caller's block) and the value; it frees neither. */
typedef struct ht_table ht_table;

/* A new empty table; the argument is a sizing hint that is always 0 here. Null when memory is exhausted. */
ht_table *htMake(int hint);
/* Adds an entry; a key that the table already has is accepted and gives a second entry. 0 on success;
 * non-zero when memory is exhausted or the table or key is null, and the key stays the caller's. */
int htAdd(ht_table *table, char *key, void *value);
/* The value of the oldest entry under the key, or null; also null when the table is null. */
void *htFind(ht_table *table, const char *key);
/* The stored key of the oldest entry, or null when the key is absent; agrees with htFind. */
const char *htFindKey(ht_table *table, const char *key);
/* Removes the oldest entry under the key: non-zero when it removed one, with the stored key, which the
 * caller now owns, in `*stored_key` (which may be null). 0 changes nothing. */
int htRemove2(ht_table *table, const char *key, char **stored_key);
/* The number of entries in the table; 0 for null. */
uint32_t htSize(ht_table *table);
/* Calls `entry` (may be null) with every entry's key and value, the oldest first, and destroys the table,
 * which `entry` must not touch. A table of null is ignored. */
void htCloseWithFunction2(ht_table *table, void (*entry)(char *key, void *value));

/* ---- Queues of items whose first field is the link ---- */
typedef struct queue_item {
  struct queue_item *next;
} queue_item;

typedef struct queue {
  queue_item *head; /* null when the queue is empty */
  queue_item *tail;
  uint32_t count;
  uint32_t bound; /* the largest number of items; 0: any number */
} queue;

/* Makes a queue record empty; `bound` 0 means that it takes any number of items. */
void queue_init(queue *q, uint32_t bound);
/* Appends the item (a record that begins with a queue_item and stays the caller's memory): 0, or non-zero
 * when the bound is reached. */
int queue_enqueue(queue *q, void *item);
/* Takes the head item, or null when the queue is empty. */
void *queue_dequeue(queue *q);

#ifdef __cplusplus
}
#endif

#endif
