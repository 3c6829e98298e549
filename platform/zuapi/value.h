/* Values, immutable, and lists of values. */
#ifndef ZUAPI_VALUE_H
#define ZUAPI_VALUE_H

#include "zuapi/base.h"

#ifdef __cplusplus
extern "C" {
#endif

enum {
  ZU_DO_TYPE_NONE = -1, /* no value */
  ZU_DO_TYPE_NULL = 100,
  ZU_DO_TYPE_BOOL = 101,
  ZU_DO_TYPE_INT = 102,
  ZU_DO_TYPE_UINT = 103, /* only what does not fit a signed 64-bit integer */
  ZU_DO_TYPE_DOUBLE = 104,
  ZU_DO_TYPE_STRING = 105,
  ZU_DO_TYPE_ARRAY = 106,
  ZU_DO_TYPE_MR_URI = 107,
  ZU_DO_TYPE_COLL_URI = 108
};

/* Constructors; null when memory is exhausted or the argument is null. */
zu_do_value *zu_do_value_new_none(void);
zu_do_value *zu_do_value_new_null(void);
zu_do_value *zu_do_value_new_bool(bool value);
zu_do_value *zu_do_value_new_int(int64_t value);
zu_do_value *zu_do_value_new_uint(uint64_t value); /* of type 102 when it fits */
zu_do_value *zu_do_value_new_double(double value);
zu_do_value *zu_do_value_new_string(const char *text);
zu_do_value *zu_do_value_new_string_l(const char *text, size_t length);
zu_do_value *zu_do_value_new_array(zu_do_vlist *elements); /* shares the list, which must not change after */
zu_do_value *zu_do_value_new_mr_uri(zu_do_uri *uri);
zu_do_value *zu_do_value_new_coll_uri(zu_do_uri *uri);
/* The same content with another typedef name (null: without one) and default flag. */
zu_do_value *zu_do_value_new_as(zu_do_value *value, const char *typedef_name, bool is_default);

/* The value of one JSON document of `length` bytes with nothing after it, at most 64 deep. An object has
 * exactly one member: its value is decoded and its name becomes the typedef name, unless the name is "v".
 * Otherwise null, and when `error` is given an error object (ZU_FAILED, a message that names the byte
 * position; ZU_EXHAUSTED) that the caller releases. */
zu_do_value *zu_do_value_from_json(const char *text, size_t length, zu_do_error **error);

zu_do_value *zu_do_value_ref(zu_do_value *value);
void zu_do_value_deref(zu_do_value *value);

int32_t zu_do_value_get_type(zu_do_value *value); /* ZU_DO_TYPE_NONE for null */
/* The typedef name, borrowed, or null. */
const char *zu_do_value_get_typedef_name(zu_do_value *value);
bool zu_do_value_is_default(zu_do_value *value);
/* True for null and for no value (types 100 and -1). */
bool zu_do_value_is_null(zu_do_value *value);

/* Getters convert nothing: a value of another type gives null or 0 and ZU_FAILED in `*code` (which may be
 * null; 0 on success). Texts, URIs and lists are borrowed. */
const char *zu_do_value_get_string(zu_do_value *value, int *code); /* NUL-terminated */
bool zu_do_value_get_bool(zu_do_value *value, int *code);
int64_t zu_do_value_get_int(zu_do_value *value, int *code);
uint64_t zu_do_value_get_uint(zu_do_value *value, int *code); /* type 103, or 102 when not negative */
double zu_do_value_get_double(zu_do_value *value, int *code);
zu_do_uri *zu_do_value_get_mr_uri(zu_do_value *value, int *code);
zu_do_uri *zu_do_value_get_coll_uri(zu_do_value *value, int *code);
zu_do_vlist *zu_do_value_get_array(zu_do_value *value, int *code);

/* Type and content; integers and doubles compare as numbers; typedef and default flag do not count. */
bool zu_do_value_equals(zu_do_value *a, zu_do_value *b);
/* Order: no value and null first, then booleans, numbers by
 * size, strings by bytes, others by display text. */
int zu_do_value_compare(zu_do_value *a, zu_do_value *b);

/* Appends the display text: 0, or a non-zero code. `mode` is 0. */
int zu_do_value_to_strbuf(zu_do_value *value, int mode, zu_do_strbuf *buffer);

/* Room for the display text of any number. */
enum { ZU_DO_VALUE_ROOM = 32 };

/* ---- Value lists ---- */
zu_do_vlist *zu_do_vlist_new(void);
zu_do_vlist *zu_do_vlist_ref(zu_do_vlist *list);
void zu_do_vlist_deref(zu_do_vlist *list);
int zu_do_vlist_add(zu_do_vlist *list, zu_do_value *value);
/* Replaces an element: ZU_FAILED when there is no element at the index, or the list is frozen. */
int zu_do_vlist_set_value(zu_do_vlist *list, size_t index, zu_do_value *value);
size_t zu_do_vlist_get_len(zu_do_vlist *list);
zu_do_value *zu_do_vlist_get_value(zu_do_vlist *list, size_t index); /* borrowed; null beyond the end */
void zu_do_vlist_iter(zu_do_vlist *list, zu_do_iter *it);
bool zu_do_vlist_has_next(zu_do_vlist *list, zu_do_iter *it);
zu_do_value *zu_do_vlist_get_next(zu_do_vlist *list, zu_do_iter *it); /* borrowed */

#ifdef __cplusplus
}
#endif

#endif
