/* The common part of all data objects: type names, result codes and ownership rules.
 *
 * Data objects are opaque and reference-counted. A function `..._new...` gives one reference that the
 * caller releases with `..._deref`; `..._ref` gives the same object with one more reference; a deref of
 * null does nothing. A "borrowed" result is not released and lives as long as the object it came from.
 * Functions that take an object into a container take a reference of their own.
 * Reading functions accept null and then return null or 0. All allocation is charged to ZU_DO_AREA. When
 * memory is exhausted a function returns null or a non-zero code and changes nothing.
 *
 * Threads: names, values and URIs are immutable and may be shared by any number of threads, counting
 * included. Lists, tables, records, string buffers and iterators belong to one thread at a time, except
 * the frozen (immutable) ones of a store snapshot, which any number of threads may read.
 */
#ifndef ZUAPI_BASE_H
#define ZUAPI_BASE_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

typedef struct zu_do_name zu_do_name;
typedef struct zu_do_value zu_do_value;
typedef struct zu_do_uri zu_do_uri;
typedef struct zu_do_uri_segment zu_do_uri_segment;
typedef struct zu_do_property zu_do_property;
typedef struct zu_do_properties zu_do_properties;
typedef struct zu_do_properties_list zu_do_properties_list;
typedef struct zu_do_nlist zu_do_nlist;
typedef struct zu_do_nvpair zu_do_nvpair;
typedef struct zu_do_nvlist zu_do_nvlist;
typedef struct zu_do_ntcolumn zu_do_ntcolumn;
typedef struct zu_do_ntlist zu_do_ntlist;
typedef struct zu_do_vlist zu_do_vlist;
typedef struct zu_do_vtable_row zu_do_vtable_row;
typedef struct zu_do_vtable zu_do_vtable;
typedef struct zu_do_strbuf zu_do_strbuf;
typedef struct zu_do_error zu_do_error;

/* Result codes. */
enum {
  ZU_OK = 0,
  ZU_NOT_FOUND = 102, /* no such record, or no such configuration */
  ZU_REFUSED = 103,   /* a request that the data store does not answer */
  ZU_FAILED = 10000,  /* a failed operation, a value of another type, bad input */
  ZU_CANNOT_OPEN = 10001,
  ZU_EXHAUSTED = 10002 /* memory, a lock */
};

/* The data store's own property names. */
#define ZU_DO_NAME_URI "_uri"
#define ZU_DO_NAME_COLL_URI "_coll_uri"
#define ZU_DO_NAME_PENDING_ATTRS "_pending_attrs"

/* The one iterator of all lists and tables: `L_iter(list, it)` starts it, `L_has_next(list, it)` and
 * `L_get_next(list, it)` walk. It holds no reference: the list must outlive the walk. A zeroed record on
 * the stack is a good iterator; zu_do_iter_new gives one that lives longer. */
typedef struct zu_do_iter {
  void *list;
  size_t position; /* of the next element */
} zu_do_iter;

#ifdef __cplusplus
extern "C" {
#endif

zu_do_iter *zu_do_iter_new(void);
void zu_do_iter_deref(zu_do_iter *it);

/* An error object: a code and a copy of a message. Never null: when memory
 * is exhausted the result is a permanent object with ZU_EXHAUSTED and
 * "Memory exhausted". Both getters accept null (and return 0 and null). */
zu_do_error *zu_do_error_new(int32_t code, const char *message);
zu_do_error *zu_do_error_ref(zu_do_error *error);
void zu_do_error_deref(zu_do_error *error);
int32_t zu_do_error_get_code(zu_do_error *error);
const char *zu_do_error_get_msg(zu_do_error *error);

#ifdef __cplusplus
}
#endif

#endif
