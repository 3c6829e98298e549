/* The properties map of a print node: which property fills which "%s", how it is shown, and from which
 * records the properties come. Built by the loader, by one thread; only read afterwards.
 */
#ifndef ZU_TOVRA_PROPS_MAP_H
#define ZU_TOVRA_PROPS_MAP_H

#include "zu_tovra/tree.h"

ZU_TVR_BEGIN

enum {
  TVR_KIND_PLAIN = 1,         /* the value */
  TVR_KIND_ARRAY_ELEMENT = 2, /* an array's elements */
  TVR_KIND_ARRAY_INDEX = 3,   /* an array's element indexes */
  TVR_KIND_LOCATION = 4       /* a location, or a field of it */
};

typedef struct zu_tvr_array_data {
  char *prefix;        /* owned, or none */
  uint8_t independent; /* the array repeats on its own, inside one line */
  int32_t partner;     /* slot of the linked item, -1: none */
  uint8_t multiline;   /* one line an element */
} zu_tvr_array_data;

typedef struct zu_tvr_location_data {
  uint32_t scheme; /* the services library's scheme number */
  char *field;     /* owned, or none: the whole location */
} zu_tvr_location_data;

typedef struct zu_tvr_fmt_item {
  zu_do_name *name;             /* one reference; none after a failed add */
  int32_t kind;                 /* TVR_KIND_* */
  void *data;                   /* owned: array data or location data (see data_kind), or none */
  zu_tvr_hash_table *value_map; /* owned, or none: a value's text to the text to print */

  /* Private. */
  int32_t data_kind; /* 0, TVR_KIND_ARRAY_ELEMENT (array data) or TVR_KIND_LOCATION (location data) */
} zu_tvr_fmt_item;

typedef struct zu_tvr_uri_item zu_tvr_uri_item;
struct zu_tvr_uri_item {
  zu_tvr_uri *uri;  /* owned */
  int32_t *indices; /* num_props slots in the order of adding; -1: unfilled */
  int32_t num_props;
  uint8_t has_location_field; /* a location property with a field name was added */
  zu_tvr_uri_item *next;
};

typedef struct zu_tvr_extra_prop zu_tvr_extra_prop;
struct zu_tvr_extra_prop {
  zu_do_name *name; /* one reference */
  int32_t kind;
  int32_t slot;
  zu_tvr_extra_prop *next;
};

/* type_flags */
enum { TVR_MAP_HAS_PLAIN = 0x01, TVR_MAP_HAS_ELEMENT = 0x10 };  /* first byte */
enum { TVR_MAP_HAS_INDEX = 0x01, TVR_MAP_HAS_LOCATION = 0x10 }; /* second byte */

struct zu_tvr_props_map {
  zu_tvr_fmt_item **fmt_items; /* num_items entries; none until a property is put in the slot */
  int32_t num_items;
  zu_tvr_extra_prop *extra_props; /* in the order of adding: properties beyond the format's slots */
  zu_tvr_uri_item *uri_items;     /* in the order of adding */
  uint8_t type_flags[2];
  /* A new URI item, owned by the map, for a template text (copied) and at least 1 property; or none
   * (traced). */
  zu_tvr_uri_item *(*add_uri)(zu_tvr_props_map *map, const char *uri, int32_t num_props);
  /* Puts a property (shared name) in a slot, or beyond the format, and in the URI item. Prefix, scheme and
   * field texts are copied and may be none, except that kind 4 in a format slot needs a scheme. False
   * (traced) on failure. */
  bool (*add_prop)(zu_tvr_props_map *map, zu_tvr_uri_item *uri_item, zu_do_name *name, int32_t kind,
                   int32_t slot, const char *prefix, uint8_t multiline, uint8_t independent,
                   const char *location_scheme, const char *location_field, int32_t partner);
  /* Gives a slot a table of replacement texts, which passes to the map on success. False (traced) when it
   * is refused. */
  bool (*add_value_map)(zu_tvr_props_map *map, int32_t slot, zu_tvr_hash_table *value_map);

  /* Private: where the lists go on. */
  zu_tvr_extra_prop *last_extra_prop;
  zu_tvr_uri_item *last_uri_item;

  /* Private: of the tree that is loaded, borrowed; or none. */
  struct zu_tvr_uri_programs *programs;
};

/* A map for a format with that many slots; none when the number is negative or memory is exhausted. */
ZU_TVR_API zu_tvr_props_map *zu_tvr_props_map_new(int32_t num_items) ZU_TVR_NOEXCEPT;
ZU_TVR_API void zu_tvr_props_map_delete(zu_tvr_props_map *map) ZU_TVR_NOEXCEPT; /* none is ignored */
/* Writes a dump at `indentation` tabs; none writes nothing. */
ZU_TVR_API void zu_tvr_props_map_print(FILE *stream, uint32_t indentation,
                                       zu_tvr_props_map *map) ZU_TVR_NOEXCEPT;
/* The text to print for a value: its replacement, or its text, quoted where it must be. True and a new text
 * that the caller frees with qfree_named; false (traced) and none on failure. */
ZU_TVR_API bool zu_tvr_props_map_fmt_item_map_value(zu_tvr_fmt_item *item, zu_do_value *value,
                                                    char **text) ZU_TVR_NOEXCEPT;

ZU_TVR_END

#endif
