/* Records ("properties"), lists of records, and name/value lists. */
#ifndef ZUAPI_PROPERTIES_H
#define ZUAPI_PROPERTIES_H

#include "zuapi/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- A record: properties in order, each a name and a value ----
 * A record made from a store's row is a view of the row: it copies nothing, and keeps the properties that are
 * set later in a small overlay. */
zu_do_properties *zu_do_properties_new(void);
/* One property per name with the value at its position, until either ends; the last value of a name counts.
 * Null when memory is exhausted. */
zu_do_properties *zu_do_properties_new_from_vlist(zu_do_nlist *names, zu_do_vlist *values);
zu_do_properties *zu_do_properties_ref(zu_do_properties *record);
void zu_do_properties_deref(zu_do_properties *record);

size_t zu_do_properties_get_len(zu_do_properties *record);
/* Look-ups by name; borrowed, good until the property is set
 * again; null when the record has no such property. */
zu_do_value *zu_do_properties_get_value(zu_do_properties *record, const char *name);
zu_do_value *zu_do_properties_get_value_n(zu_do_properties *record, zu_do_name *name);
zu_do_property *zu_do_properties_get_prop(zu_do_properties *record, const char *name);
zu_do_value *zu_do_property_get_value(zu_do_property *property); /* borrowed */
/* As the getters of values: null or 0, and ZU_FAILED in `*code` (may be null) when the property is absent
 * or of another type. Borrowed. */
const char *zu_do_properties_get_string(zu_do_properties *record, const char *name, int *code);
int64_t zu_do_properties_get_int(zu_do_properties *record, const char *name, int *code);
zu_do_uri *zu_do_properties_get_mr_uri(zu_do_properties *record, const char *name, int *code);
zu_do_uri *zu_do_properties_get_coll_uri(zu_do_properties *record, const char *name, int *code);

/* Sets (adds or replaces) a property: 0, or a non-zero code and no change. */
int zu_do_properties_set_value(zu_do_properties *record, const char *name, zu_do_value *value);
int zu_do_properties_set_value_n(zu_do_properties *record, zu_do_name *name, zu_do_value *value);
int zu_do_properties_set_int(zu_do_properties *record, const char *name, int64_t value);
int zu_do_properties_set_string(zu_do_properties *record, const char *name, const char *text);
int zu_do_properties_set_mr_uri(zu_do_properties *record, const char *name, zu_do_uri *uri);
int zu_do_properties_set_coll_uri(zu_do_properties *record, const char *name, zu_do_uri *uri);

/* Walks the properties in order: gives the value, and its name in `*name`. Borrowed. */
void zu_do_properties_iter(zu_do_properties *record, zu_do_iter *it);
bool zu_do_properties_has_next(zu_do_properties *record, zu_do_iter *it);
zu_do_value *zu_do_properties_get_next(zu_do_properties *record, zu_do_iter *it, zu_do_name **name);

/* Debug texts; values of typedef PasswordString show as `<removed>`. to_strbuf appends
 * `name=value, name=value`; the print operation writes one line per property: tabs, `name: value`. */
int zu_do_properties_to_strbuf(zu_do_properties *record, int mode, zu_do_strbuf *buffer);
void zu_do_print_properties(FILE *stream, uint32_t indentation, zu_do_properties *record);

/* ---- Lists of records ---- */
zu_do_properties_list *zu_do_properties_list_new(void);
zu_do_properties_list *zu_do_properties_list_ref(zu_do_properties_list *list);
void zu_do_properties_list_deref(zu_do_properties_list *list);
int zu_do_properties_list_add(zu_do_properties_list *list, zu_do_properties *record);
size_t zu_do_properties_list_get_len(zu_do_properties_list *list);
zu_do_properties *zu_do_properties_list_get(zu_do_properties_list *list, size_t index); /* borrowed */
void zu_do_properties_list_iter(zu_do_properties_list *list, zu_do_iter *it);
bool zu_do_properties_list_has_next(zu_do_properties_list *list, zu_do_iter *it);
zu_do_properties *zu_do_properties_list_get_next(zu_do_properties_list *list, zu_do_iter *it); /* borrowed */

/* ---- Name/value lists; a list may have a name more than once ---- */
zu_do_nvlist *zu_do_nvlist_new(void);
zu_do_nvlist *zu_do_nvlist_ref(zu_do_nvlist *list);
void zu_do_nvlist_deref(zu_do_nvlist *list);
/* Appends a pair: keeps a copy of the name and a reference on the value. */
int zu_do_nvlist_add(zu_do_nvlist *list, const char *name, zu_do_value *value);
size_t zu_do_nvlist_get_len(zu_do_nvlist *list);
void zu_do_nvlist_iter(zu_do_nvlist *list, zu_do_iter *it);
bool zu_do_nvlist_has_next(zu_do_nvlist *list, zu_do_iter *it);
zu_do_nvpair *zu_do_nvlist_get_next(zu_do_nvlist *list, zu_do_iter *it); /* borrowed */
const char *zu_do_nvpair_get_name(zu_do_nvpair *pair);                   /* borrowed */
zu_do_value *zu_do_nvpair_get_value(zu_do_nvpair *pair);                 /* borrowed */
/* One line per pair: tabs, `name=value`; null writes nothing. */
void zu_do_print_nvlist(FILE *stream, uint32_t indentation, zu_do_nvlist *list);

#ifdef __cplusplus
}
#endif

#endif
