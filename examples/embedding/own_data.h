/* A data interface of the host's own: a fixed table of records in plain C. */
#ifndef OWN_DATA_H
#define OWN_DATA_H

#include <stdbool.h>

#include <cli_exec/interfaces.h>

enum { OWN_FIELDS = 4 };

/* A field of a record. Its value is JSON text, so that numbers stay numbers; null means no value. */
typedef struct own_field {
  const char *name;
  const char *json;
  bool is_default;
} own_field;

/* A record: its URI, and its fields; a field without a name ends them. Records of one list have the same
 * fields. */
typedef struct own_record {
  const char *uri;
  own_field fields[OWN_FIELDS];
} own_record;

/* A data interface over `count` records, with one reference. It keeps a copy of the table. Null when a record
 * is bad or memory is exhausted. Any number of threads may share it. */
zu_data_ifc *own_data_new(const own_record *records, size_t count);

#endif
