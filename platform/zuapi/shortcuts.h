/* What a platform may offer so that a library asks it less per line and per record.
 *
 * All of this can be had through the other calls of this library as well. A platform without the table is
 * right and slower: zu_do_get_shortcuts is weak, and a null table or a null entry counts as absent.
 */
#ifndef ZUAPI_SHORTCUTS_H
#define ZUAPI_SHORTCUTS_H

#include "zuapi/base.h"
#include "zuapi/uri.h"
#include "zuapi/value.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A value and what a renderer asks of every value. */
typedef struct zu_do_value_facts {
  zu_do_value *value; /* borrowed; none: the record has no such property */
  int32_t type;       /* as zu_do_value_get_type */
  bool is_default;
  bool has_typedef; /* zu_do_value_get_typedef_name gives a name */
} zu_do_value_facts;

/* What a record holds under `_uri` or `_coll_uri`. */
enum { ZU_DO_NO_PROPERTY = 0, ZU_DO_HAS_URI = 1, ZU_DO_HAS_NO_URI = 2 };
typedef struct zu_do_uri_text {
  const char *text; /* of the URI of a record or collection, borrowed until the property is set; else none */
  uint32_t length;
  uint32_t state;
} zu_do_uri_text;

typedef struct zu_do_shortcuts {
  /* ---- Reading records ---- */

  /* The address of a number that changes whenever a property of the record is set. It lives as long as the
   * record. Never none for a record. */
  const uint32_t *(*revision_of)(zu_do_properties *record);
  /* The position of a name in a shape, or -1. */
  int32_t (*find_position)(const void *shape, zu_do_name *name);
  /* Records of one shape have the same names at the same positions. Gives the record's shape, good for
   * comparing while a record of the shape is held; or none for a record without one. When it is `shape`, also
   * the facts of the values at `count` positions, what was set over them included: exactly what
   * zu_do_properties_get_value_n gives for the positions' names. */
  const void *(*read_at)(zu_do_properties *record, const void *shape, const int32_t *positions,
                         uint32_t count, zu_do_value_facts *facts);
  /* What the record holds under `_coll_uri` (`collection`) or `_uri`. */
  void (*read_uri)(zu_do_properties *record, bool collection, zu_do_uri_text *found);

  /* ---- Records of rows ---- */

  /* A record of `_coll_uri` and one property per column, named by the column's unqualified name, with the
   * row's value, until either ends; a column of a name that is there replaces its value. None when a column
   * has no name or memory is exhausted. */
  zu_do_properties *(*new_from_row)(zu_do_uri *coll_uri, zu_do_ntlist *columns, zu_do_vlist *row);

  /* Makes a record that `new_from_row` made one of another row, as if it were new. False, and nothing
   * changes, when somebody else holds a reference, or when it takes a new record. */
  bool (*renew)(zu_do_properties *record, zu_do_uri *coll_uri, zu_do_ntlist *columns, zu_do_vlist *row);

  /* ---- Records that are filled again and again ---- */

  /* A record of these names, which differ from each other, none of them set; position i is that of names[i].
   * An unset property counts as absent. None when memory is exhausted. */
  zu_do_properties *(*new_positions)(zu_do_name *const *names, uint32_t count);
  /* Sets as many positions as there are, each to its value, or unsets it where that is none; what else was
   * set is unset. False when somebody else holds a reference: then nothing changes; or when memory is
   * exhausted. */
  bool (*fill)(zu_do_properties *record, zu_do_value *const *values, uint32_t count);
  /* As zu_do_properties_set_value_n and zu_do_properties_set_int, by position. */
  int (*set_at)(zu_do_properties *record, uint32_t position, zu_do_value *value);
  int (*set_int_at)(zu_do_properties *record, uint32_t position, int64_t number);

  /* ---- Texts ---- */

  /* The display text without a buffer: of a null, boolean, number or URI, and of a string that has no byte
   * to escape; `room` (ZU_DO_VALUE_ROOM bytes) may hold it. The text is borrowed, of `*length` bytes and
   * NUL-terminated. None when only zu_do_value_to_strbuf can tell. */
  const char *(*display)(zu_do_value *value, char *room, size_t *length);
  /* The key form without a buffer: the text of `*length` bytes, borrowed when no byte of it is escaped, else
   * written to `room` (`size` bytes, at least ZU_DO_VALUE_ROOM). None when there is none, or no room for it:
   * zu_do_uri_value_to_keystr tells. */
  const char *(*key_form)(zu_do_value *value, char *room, size_t size, size_t *length);
  /* Where the parts of a URI's text stand. */
  void (*uri_parts)(zu_do_uri *uri, zu_do_uri_parts *parts);
} zu_do_shortcuts;

/* The platform's table, good for as long as the process lives; or none. */
const zu_do_shortcuts *zu_do_get_shortcuts(void) __attribute__((weak));

#ifdef __cplusplus
}
#endif

#endif
