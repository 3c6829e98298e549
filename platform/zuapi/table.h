/* Tables of rows: column information (a name/type list) and rows, each a value list in column order. */
#ifndef ZUAPI_TABLE_H
#define ZUAPI_TABLE_H

#include "zuapi/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Name/type lists ---- */
zu_do_ntlist *zu_do_ntlist_new(void);
zu_do_ntlist *zu_do_ntlist_ref(zu_do_ntlist *list);
void zu_do_ntlist_deref(zu_do_ntlist *list);
/* Appends a column; its name may be null. ZU_FAILED for a frozen list. */
int zu_do_ntlist_add(zu_do_ntlist *list, zu_do_name *name, int32_t type);
size_t zu_do_ntlist_get_len(zu_do_ntlist *list);
zu_do_ntcolumn *zu_do_ntlist_get(zu_do_ntlist *list, size_t index); /* borrowed; null beyond the end */
void zu_do_ntlist_iter(zu_do_ntlist *list, zu_do_iter *it);
bool zu_do_ntlist_has_next(zu_do_ntlist *list, zu_do_iter *it);
zu_do_ntcolumn *zu_do_ntlist_get_next(zu_do_ntlist *list, zu_do_iter *it); /* borrowed */
zu_do_name *zu_do_ntcolumn_get_name(zu_do_ntcolumn *column);               /* borrowed, or null */

/* ---- Tables ---- */
zu_do_vtable *zu_do_vtable_new(void);
zu_do_vtable *zu_do_vtable_new_from_ntlist(zu_do_ntlist *columns);
zu_do_vtable *zu_do_vtable_ref(zu_do_vtable *table);
void zu_do_vtable_deref(zu_do_vtable *table);
/* The columns, borrowed; null for a table that has none yet. */
zu_do_ntlist *zu_do_vtable_get_ntlist(zu_do_vtable *table);
/* Sets the columns of a table that has none yet: ZU_FAILED when it already has other columns. */
int zu_do_vtable_set_ntlist(zu_do_vtable *table, zu_do_ntlist *columns);
int zu_do_vtable_add(zu_do_vtable *table, zu_do_vlist *row);
/* Appends `count` rows at once: all of them, or on failure none. */
int zu_do_vtable_add_many(zu_do_vtable *table, zu_do_vlist *const *rows, size_t count);
size_t zu_do_vtable_get_len(zu_do_vtable *table);
zu_do_vlist *zu_do_vtable_get(zu_do_vtable *table, size_t index); /* borrowed */
void zu_do_vtable_iter(zu_do_vtable *table, zu_do_iter *it);
bool zu_do_vtable_has_next(zu_do_vtable *table, zu_do_iter *it);
/* The next row item, and the row of an item; both borrowed. */
zu_do_vtable_row *zu_do_vtable_get_next(zu_do_vtable *table, zu_do_iter *it);
zu_do_vlist *zu_do_vtable_row_get_vlist(zu_do_vtable *table, zu_do_vtable_row *item);
/* Steps the iterator back so that the item is the next one again. */
void zu_do_vtable_iter_reset(zu_do_vtable *table, zu_do_vtable_row *item, zu_do_iter *it);

#ifdef __cplusplus
}
#endif

#endif
