/* Locations: where in a chassis a record lives. No state, any thread. */
#ifndef SVCS_SVCS_H
#define SVCS_SVCS_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A location record, 12 bytes. */
typedef struct tarvo_location {
  uint32_t rack;
  uint16_t slot;    /* 0xffff: missing */
  uint16_t subslot; /* 0xffff: missing */
  uint16_t port;
  uint16_t padding;
} tarvo_location;

/* One to four decimal numbers separated by '/', '.' or '-' are rack, slot, subslot, port; what is missing
 * is rack 0, slot 0xffff, subslot 0xffff, port 0. A text of any other form (also null, and a number too large
 * for its field) gives these four values. A slot or subslot of 65535 is read as missing. The separators of
 * one text may differ; leading zeros are accepted. */
void tarvo_location_from_str(const char *text, tarvo_location *location);

/* Fills `index` with the positions 0 to count - 1 of the locations, ordered by rack, slot, subslot, port,
 * a missing slot or subslot before any other; stable. The last argument is reserved. Needs no memory. 0, or
 * non-zero when an array is null although count is not 0. */
int tarvo_location_sort(const tarvo_location *locations, uint32_t count, uint32_t *index, int reserved);

/* Schemes: 0 DEFAULT `rack[/slot[/subslot[/port]]]` with missing ends left out, 1 SLOT `rack/slot`,
 * 2 PORT `rack/slot/subslot/port`. A missing part is written as 0; in DEFAULT only if a part after it is not
 * missing. A port of 0 counts as missing. */
enum { TARVO_SCHEME_DEFAULT = 0, TARVO_SCHEME_SLOT = 1, TARVO_SCHEME_PORT = 2 };

/* Writes the location's text, NUL-terminated. 0, or non-zero for an unknown scheme or a buffer too small,
 * which is then untouched. */
int tarvo_location_to_str_scheme(uint32_t scheme, const tarvo_location *location, char *buffer, size_t size);

enum { LOCSVCS_NV_UINT32 = 1, LOCSVCS_NV_INT32 = 2, LOCSVCS_NV_TEXT = 3, LOCSVCS_NV_CHAR = 4 };

typedef struct locsvcs_nvpair {
  uint32_t type;    /* LOCSVCS_NV_* */
  const char *name; /* may be null */
  union {
    uint32_t u32;
    int32_t i32;
    const char *text; /* may be null */
    char character;
  } value;
} locsvcs_nvpair;

typedef struct locsvcs_nvlist {
  uint32_t count;
  locsvcs_nvpair *pairs;
} locsvcs_nvlist;

/* Fills `list` with `rack`, `slot`, `subslot`, `port` as unsigned numbers, 0 for missing ones. The caller
 * frees what it holds with locsvcs_free_nvlist; the names live as long as the process. 0, or non-zero for
 * an unknown scheme and when memory is exhausted (the list is then empty). */
int tarvo_location_to_nv_scheme(uint32_t scheme, const tarvo_location *location, locsvcs_nvlist *list);
/* Frees what the list holds and empties it; an empty list and null are accepted. */
void locsvcs_free_nvlist(locsvcs_nvlist *list);

#ifdef __cplusplus
}
#endif

#endif
