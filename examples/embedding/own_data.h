/* A data interface of the host's own: a fixed table of records in plain C. */
#ifndef OWN_DATA_H
#define OWN_DATA_H

#include <stdbool.h>

#include <cli_exec/interfaces.h>

enum { OWN_FIELDS = 4 };

/* A field of a record; its value is JSON text, so that numbers stay numbers, or none: it has no value. */
typedef struct own_field {
  const char *name;
  const char *json;
  bool is_default;
} own_field;

/* A record: its URI, and fields up to the first without a name. Records of one list have the same fields. */
typedef struct own_record {
  const char *uri;
  own_field fields[OWN_FIELDS];
} own_record;

/* A data interface over `count` records, with one reference; what it needs of the table is copied. None when
 * a record is bad or memory is exhausted. Any number of threads may share it. */
zu_data_ifc *own_data_new(const own_record *records, size_t count);

#endif
