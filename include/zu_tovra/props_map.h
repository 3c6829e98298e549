/* The properties map of a print node: which property fills which "%s", how it is shown, and from which
 * records the properties come. Built by the loader, by one thread; only read afterwards.
 */
#ifndef ZU_TOVRA_PROPS_MAP_H
#define ZU_TOVRA_PROPS_MAP_H

#include "zu_tovra/tree.h"

ZU_TVR_BEGIN

enum {
  TVR_KIND_PLAIN = 1,         /* the value */
  TVR_KIND_ARRAY_ELEMENT = 2, /* the elements of an array */
  TVR_KIND_ARRAY_INDEX = 3,   /* the indexes of an array's elements */
  TVR_KIND_LOCATION = 4       /* a location, or a field of it */
};

/* How an array is shown. */
typedef struct zu_tvr_array_data {
  char *prefix;        /* owned: the text before each element; or null */
  uint8_t independent; /* 1: elements one after the other; 0: the rest of the line repeats with each */
  int32_t partner;     /* the slot that shows the same element (as index or element); -1: none */
  uint8_t multiline;   /* 1: each element makes a line of its own */
} zu_tvr_array_data;

/* How a location is shown. */
typedef struct zu_tvr_location_data {
  uint32_t scheme; /* the services library's scheme number */
  char *field;     /* owned, or null: the whole location */
} zu_tvr_location_data;

/* What fills a "%s" of the format. */
typedef struct zu_tvr_fmt_item {
  zu_do_name *name;             /* one reference; null after a failed add */
  int32_t kind;                 /* TVR_KIND_* */
  void *data;                   /* owned: array data or location data (see data_kind), or null */
  zu_tvr_hash_table *value_map; /* owned, or null: a value's text to the text to print */

  /* Private. */
  int32_t data_kind; /* 0, TVR_KIND_ARRAY_ELEMENT (array data) or TVR_KIND_LOCATION (location data) */
} zu_tvr_fmt_item;

/* A record that the line needs, and which properties are read from it. */
typedef struct zu_tvr_uri_item zu_tvr_uri_item;
struct zu_tvr_uri_item {
  zu_tvr_uri *uri;  /* owned */
  int32_t *indices; /* num_props slots in the order of adding; -1: unfilled */
  int32_t num_props;
  uint8_t has_location_field; /* a location property with a field name was added */
  zu_tvr_uri_item *next;
};

/* A property that fills no "%s": only the condition reads it. */
typedef struct zu_tvr_extra_prop zu_tvr_extra_prop;
struct zu_tvr_extra_prop {
  zu_do_name *name; /* one reference */
  int32_t kind;     /* TVR_KIND_* */
  int32_t slot;     /* N of the condition's $tvrN; num_items or above */
  zu_tvr_extra_prop *next;
};

/* type_flags: which kinds the items of the map have. */
enum { TVR_MAP_HAS_PLAIN = 0x01, TVR_MAP_HAS_ELEMENT = 0x10 };  /* first byte */
enum { TVR_MAP_HAS_INDEX = 0x01, TVR_MAP_HAS_LOCATION = 0x10 }; /* second byte */

struct zu_tvr_props_map {
  zu_tvr_fmt_item **fmt_items; /* owned: num_items entries; null until a property fills the slot */
  int32_t num_items;
  zu_tvr_extra_prop *extra_props; /* in the order of adding: properties beyond the format's slots */
  zu_tvr_uri_item *uri_items;     /* in the order of adding */
  uint8_t type_flags[2];
  /* A new URI item, owned by the map, for a template text
   * (copied) and at least 1 property; or null (traced). */
  zu_tvr_uri_item *(*add_uri)(zu_tvr_props_map *map, const char *uri, int32_t num_props);
  /* Puts a property (its name is shared) in a slot and in the URI item; a slot at or above num_items makes it
   * an extra property. Prefix, scheme and field texts are copied and may be null, except that kind 4 in a
   * format slot needs a scheme. `partner`: a slot, or -1. False (traced) on failure. */
  bool (*add_prop)(zu_tvr_props_map *map, zu_tvr_uri_item *uri_item, zu_do_name *name, int32_t kind,
                   int32_t slot, const char *prefix, uint8_t multiline, uint8_t independent,
                   const char *location_scheme, const char *location_field, int32_t partner);
  /* Gives a slot a table of replacement texts, which passes to the map on success. False (traced) when the
   * slot has no property yet, or has a table already. */
  bool (*add_value_map)(zu_tvr_props_map *map, int32_t slot, zu_tvr_hash_table *value_map);

  /* Private: the ends of the lists, so that adding does not walk them. */
  zu_tvr_extra_prop *last_extra_prop;
  zu_tvr_uri_item *last_uri_item;

  /* Private: the compiled URI templates of the tree that is loaded, borrowed; or null. */
  struct zu_tvr_uri_programs *programs;
};

/* A map for a format with that many slots; null when the number is negative or memory is exhausted. */
ZU_TVR_API zu_tvr_props_map *zu_tvr_props_map_new(int32_t num_items) ZU_TVR_NOEXCEPT;
ZU_TVR_API void zu_tvr_props_map_delete(zu_tvr_props_map *map) ZU_TVR_NOEXCEPT; /* null is ignored */
/* Writes a dump at `indentation` tabs; null writes nothing. */
ZU_TVR_API void zu_tvr_props_map_print(FILE *stream, uint32_t indentation,
                                       zu_tvr_props_map *map) ZU_TVR_NOEXCEPT;
/* The text to print for a value: its replacement from the value map, or its own
 * text, quoted where the CLI needs it. True and a new text in `*text`, which
 * the caller frees with qfree_named; false (traced) and null on failure. */
ZU_TVR_API bool zu_tvr_props_map_fmt_item_map_value(zu_tvr_fmt_item *item, zu_do_value *value,
                                                    char **text) ZU_TVR_NOEXCEPT;

ZU_TVR_END

#endif
