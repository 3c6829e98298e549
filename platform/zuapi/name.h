/* Names, interned: equal texts are one object, so equal names are equal pointers. Name lists. */
#ifndef ZUAPI_NAME_H
#define ZUAPI_NAME_H

#include "zuapi/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The name with a text; blanks at either end are not part of it. Null when the text is null, empty, blank or
 * (the _l form) contains a NUL, and when memory is exhausted. */
zu_do_name *zu_do_name_new(const char *text);
zu_do_name *zu_do_name_new_l(const char *text, size_t length);
zu_do_name *zu_do_name_ref(zu_do_name *name);
void zu_do_name_deref(zu_do_name *name);

/* Borrowed texts: the whole name, and what follows its last ':'. */
const char *zu_do_name_get_strname(zu_do_name *name);
const char *zu_do_name_get_unqualified(zu_do_name *name);
/* Non-zero when the name's text is exactly `text`. */
int zu_do_name_equals_w_strname(zu_do_name *name, const char *text);

/* ---- Name lists ---- */
zu_do_nlist *zu_do_nlist_new(void);
zu_do_nlist *zu_do_nlist_ref(zu_do_nlist *list);
void zu_do_nlist_deref(zu_do_nlist *list);
int zu_do_nlist_add(zu_do_nlist *list, zu_do_name *name);
/* Adds the name with a text; a text that is null or makes no name adds nothing and gives ZU_FAILED. */
int zu_do_nlist_add_string(zu_do_nlist *list, const char *text);
/* The names of the columns, in order; null when a column has no name, and when memory is exhausted. */
zu_do_nlist *zu_do_nlist_new_from_ntlist(zu_do_ntlist *columns);
size_t zu_do_nlist_get_len(zu_do_nlist *list);
zu_do_name *zu_do_nlist_get(zu_do_nlist *list, size_t index); /* borrowed */
void zu_do_nlist_iter(zu_do_nlist *list, zu_do_iter *it);
bool zu_do_nlist_has_next(zu_do_nlist *list, zu_do_iter *it);
zu_do_name *zu_do_nlist_get_next(zu_do_nlist *list, zu_do_iter *it); /* borrowed */
/* Appends the names, joined by ", ". `mode` is 0. */
int zu_do_nlist_to_strbuf(zu_do_nlist *list, int mode, zu_do_strbuf *buffer);

#ifdef __cplusplus
}
#endif

#endif
