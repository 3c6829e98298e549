/* URIs of records and collections, immutable.
 *
 *     uri       = absolute / relative
 *     absolute  = "//" [segments] ["?" query]
 *     relative  = "/"  [segments] ["?" query]        a text without a leading "/" is read as if it had one
 *     segments  = segment *("/" segment)
 *     segment   = name *(";" key "=" value)
 *     query     = name / name "=" value
 *
 * A URI's text is canonical: with its leading slash, its key values decoded and encoded again in key form.
 * Equality is equality of that text. The first segment of an absolute URI is its location.
 */
#ifndef ZUAPI_URI_H
#define ZUAPI_URI_H

#include "zuapi/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Null when the text is null, does not follow the grammar, is above 64 KiB, or memory is exhausted. */
zu_do_uri *zu_do_uri_new(const char *text);
zu_do_uri *zu_do_uri_new_l(const char *text, size_t length);
/* As zu_do_uri_new; `*reason` is a message that says why the text is refused (static), or null on success. */
zu_do_uri *zu_do_uri_parse(const char *text, size_t length, const char **reason);
/* The relative form of a text: an absolute one loses its location segment, a relative one stays. */
zu_do_uri *zu_do_uri_new_relative(const char *text);
/* "//", the location segment, "/"; for a relative URI "/" with `locations;loc=0` as its segment 0. Null for
 * an absolute URI without a location segment. */
zu_do_uri *zu_do_uri_new_absolute_root_from_uri(zu_do_uri *uri);
/* The collection of a name under a parent: the parent's text, "?", the name. Null when the parent is a
 * collection URI, or the name is not one. */
zu_do_uri *zu_do_uri_new_coll(zu_do_uri *parent, const char *name);
zu_do_uri *zu_do_uri_ref(zu_do_uri *uri);
void zu_do_uri_deref(zu_do_uri *uri);

const char *zu_do_uri_get_uri_str(zu_do_uri *uri); /* borrowed */
size_t zu_do_uri_get_len(zu_do_uri *uri);          /* of that text, in bytes */
bool zu_do_uri_equals(zu_do_uri *a, zu_do_uri *b);
bool zu_do_uri_is_absolute(zu_do_uri *uri);
bool zu_do_uri_is_coll_uri(zu_do_uri *uri);
/* 1: the query is a name; 2: name=value; 0: no query. */
int32_t zu_do_uri_get_coll_type(zu_do_uri *uri);

/* Segments of the path, the location segment of an absolute URI included; the query is not one. Borrowed. */
size_t zu_do_uri_get_segment_count(zu_do_uri *uri);
zu_do_uri_segment *zu_do_uri_get_segment(zu_do_uri *uri, size_t index); /* null beyond the end */
zu_do_uri_segment *zu_do_uri_get_segment_last(zu_do_uri *uri);          /* null when there is none */
/* The segment's name, and its keys in order with decoded string values; null when it has no keys or memory
 * is exhausted. Borrowed from the URI. */
const char *zu_do_uri_segment_get_name(zu_do_uri_segment *segment);
zu_do_nvlist *zu_do_uri_segment_get_keys(zu_do_uri_segment *segment);

/* The URI without its query, or if it has none without its last
 * segment; null for "/" and "//". Borrowed from the URI. */
zu_do_uri *zu_do_uri_get_parent_uri(zu_do_uri *uri);
/* The first key value of the location segment, decoded; "0" for a relative URI. Non-zero when absent or
 * longer than the buffer. */
int zu_do_uri_get_location_str(zu_do_uri *uri, char *buffer, size_t size);

/* The positions of the parts of a URI's text, as byte offsets into it; no object is made. The relative form
 * of the text is `text + relative`, if `relative_ok`. For "//locations;loc=1/sys/ifc;name=e0": relative 17,
 * parent 21 (the text up to there is the parent's), name 22 to 25, end 33. */
typedef struct zu_do_uri_parts {
  const char *text;
  uint32_t length;
  uint32_t relative; /* start of the relative form; 0 for a relative URI */
  uint32_t parent;   /* length of the parent's text; the parent of a one-segment URI is "/" or "//" */
  uint32_t name;     /* start of the last segment's name */
  uint32_t name_end;
  uint32_t end;           /* end of the last segment: where "?" stands, or the length */
  bool relative_ok;       /* the relative form is a slice of the text (not so for "//" and "//l?x") */
  bool has_segment;       /* parent, name and name_end are set */
  bool keyed_below_first; /* in relative form, a segment after the first has keys */
} zu_do_uri_parts;

/* Appends a value in key form: the raw text with every byte percent-encoded except ASCII letters, digits
 * and `- . _ ~ : @ + , * ( ) [ ] |`. Non-zero for null, no value, arrays, and when memory is exhausted. */
int zu_do_uri_value_to_keystr(zu_do_value *value, zu_do_strbuf *buffer);

/* Writes `indentation` tabs, the URI's text and a line feed; null writes `(null)`. */
void zu_do_print_uri(FILE *stream, uint32_t indentation, zu_do_uri *uri);

#ifdef __cplusplus
}
#endif

#endif
