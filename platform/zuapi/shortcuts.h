/* Optional calls with which a renderer needs fewer calls for each line and each record.
 *
 * All results can also be had through the other calls of this library. A platform without the table works and
 * is slower: zu_do_get_shortcuts is weak, and a null table or a null entry counts as absent.
 */
#ifndef ZUAPI_SHORTCUTS_H
#define ZUAPI_SHORTCUTS_H

#include "zuapi/base.h"
#include "zuapi/uri.h"
#include "zuapi/value.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A value, with the facts that a renderer needs of every value. */
typedef struct zu_do_value_facts {
  zu_do_value *value; /* borrowed; null: the record has no such property */
  int32_t type;       /* as zu_do_value_get_type */
  bool is_default;
  bool has_typedef; /* zu_do_value_get_typedef_name gives a name */
} zu_do_value_facts;

/* The content of a record's property `_uri` or `_coll_uri`. */
enum { ZU_DO_NO_PROPERTY = 0, ZU_DO_HAS_URI = 1, ZU_DO_HAS_NO_URI = 2 };
typedef struct zu_do_uri_text {
  const char *text; /* of the URI of a record or collection, borrowed until the property is set; else null */
  uint32_t length;
  uint32_t state;
} zu_do_uri_text;

typedef struct zu_do_shortcuts {
  /* ---- Reading records ---- */

  /* The address of a number that changes whenever a property of the record is set. It lives as long as the
   * record. Never null for a record. */
  const uint32_t *(*revision_of)(zu_do_properties *record);
  /* The position of a name in a shape, or -1. */
  int32_t (*find_position)(const void *shape, zu_do_name *name);
  /* Records of one shape have the same names at the same positions. Returns the record's shape, or null for a
   * record without one. The address identifies the shape as long as a record of it is held. If it is the
   * given `shape`, the function also fills in the facts of the values at `count` positions: of the values
   * that zu_do_properties_get_value_n gives for the positions' names, with all that was set later. */
  const void *(*read_at)(zu_do_properties *record, const void *shape, const int32_t *positions,
                         uint32_t count, zu_do_value_facts *facts);
  /* Reads the record's `_coll_uri` (`collection`) or `_uri`. */
  void (*read_uri)(zu_do_properties *record, bool collection, zu_do_uri_text *found);

  /* ---- Records of rows ---- */

  /* A record with `_coll_uri` and one property per column: the column's unqualified name with the row's
   * value, until columns or values end. A column whose name the record already has replaces the value. Null
   * when a column has no name or memory is exhausted. */
  zu_do_properties *(*new_from_row)(zu_do_uri *coll_uri, zu_do_ntlist *columns, zu_do_vlist *row);

  /* Turns a record that `new_from_row` made into the record of another row, as if it were new: this saves an
   * allocation for each row. False, and nothing is changed, when there is another reference on the record, or
   * when only a new record will do. */
  bool (*renew)(zu_do_properties *record, zu_do_uri *coll_uri, zu_do_ntlist *columns, zu_do_vlist *row);

  /* ---- Records that are filled again and again ---- */

  /* A record with these names, which must differ; none of them is set. Position i belongs to names[i].
   * An unset property counts as absent. Null when memory is exhausted. */
  zu_do_properties *(*new_positions)(zu_do_name *const *names, uint32_t count);
  /* Sets the first `count` positions to their values, and unsets those whose value is null; all other
   * properties are unset. False when there is another reference on the record (then nothing is changed), or
   * when memory is exhausted. */
  bool (*fill)(zu_do_properties *record, zu_do_value *const *values, uint32_t count);
  /* As zu_do_properties_set_value_n and zu_do_properties_set_int, by position. */
  int (*set_at)(zu_do_properties *record, uint32_t position, zu_do_value *value);
  int (*set_int_at)(zu_do_properties *record, uint32_t position, int64_t number);

  /* ---- Texts ---- */

  /* The display text without a buffer, for a null, a boolean, a number, a URI, and a string without a byte to
   * escape. The text is borrowed, or written to `room` (ZU_DO_VALUE_ROOM bytes); it has `*length` bytes and a
   * NUL. Null for other values: then zu_do_value_to_strbuf has to be called. */
  const char *(*display)(zu_do_value *value, char *room, size_t *length);
  /* The key form without a buffer: a text of `*length` bytes, borrowed when no byte of it is escaped, else
   * written to `room` (`size` bytes, at least ZU_DO_VALUE_ROOM). Null when the value has no key form or it
   * does not fit: then zu_do_uri_value_to_keystr has to be called. */
  const char *(*key_form)(zu_do_value *value, char *room, size_t size, size_t *length);
  /* The positions of the parts of a URI's text. */
  void (*uri_parts)(zu_do_uri *uri, zu_do_uri_parts *parts);
} zu_do_shortcuts;

/* The platform's table, valid as long as the process lives; or null. */
const zu_do_shortcuts *zu_do_get_shortcuts(void) __attribute__((weak));

#ifdef __cplusplus
}
#endif

#endif
