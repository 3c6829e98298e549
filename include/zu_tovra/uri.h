/* URI templates: a fixed data-store URI (static), or one
 * whose keys are taken from the records in scope (dynamic).
 *
 * Made when templates are loaded; read-only afterwards, by any number of walks.
 */
#ifndef ZU_TOVRA_URI_H
#define ZU_TOVRA_URI_H

#include "zu_tovra/export.h"

ZU_TVR_BEGIN

enum { URI_KIND_OBJECT = 107, URI_KIND_COLLECTION = 108 }; /* a record; a collection ("?" in its text) */

/* Where a dynamic segment's record is looked up. */
enum {
  DYN_KEY_QUERY = 0, /* '$': the record of the collection "PARENT?NAME", of the parent's text and the name */
  DYN_KEY_PATH = 1,  /* '!': the record at that path, without the location in front of it */
  DYN_KEY_GROUP = 2  /* '#': the first record of the group at that path */
};

typedef struct zu_tvr_dyn_uri zu_tvr_dyn_uri;
struct zu_tvr_dyn_uri {
  uint32_t sep_type;    /* DYN_KEY_* */
  zu_tvr_uri *parent;   /* owned, or null: the template of the text before the segment */
  zu_do_name *ref_name; /* one reference: the segment's name */
  zu_do_nlist *keys;    /* one reference: its key names */
  char *tail;           /* owned, or null: the text after the key */
  /* Appends the resolved text, parents first: 0; 102 when a key's value is missing; 10000 for any other
   * failure (traced). `relative` is that of the outermost template. */
  int32_t (*resolve_keys)(zu_tvr_dyn_uri *uri, uint8_t relative, zu_tvr_walk_ctx *ctx, zu_do_strbuf *buffer);

  /* Private. */
  struct zu_tvr_uri_program *program; /* of the outermost template, which owns it */
  uint32_t step;                      /* this segment's place in it */
};

struct zu_tvr_uri {
  uint32_t is_dynamic; /* 0 static, 1 dynamic */
  uint32_t kind;       /* URI_KIND_* */
  uint8_t relative;    /* the template text does not begin with '/' */
  union {
    zu_do_uri *uri;      /* static: one reference */
    zu_tvr_dyn_uri *dyn; /* dynamic: owned */
  } data;
  /* The data-store URI, a new reference that the caller releases; or null (traced). */
  zu_do_uri *(*resolve)(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx);

  /* Private. */
  struct zu_tvr_uri_program *program; /* the compiled template, one reference; null for a parent */
  const char *text;                   /* of the template, borrowed from its program */
};

/* A new template of a text, which is copied; null (traced)
 * when the text is null or refused, or memory is exhausted. */
ZU_TVR_API zu_tvr_uri *zu_tvr_uri_new(const char *text) ZU_TVR_NOEXCEPT;
ZU_TVR_API void zu_tvr_uri_delete(zu_tvr_uri *uri) ZU_TVR_NOEXCEPT; /* null is ignored */

ZU_TVR_END

#endif
