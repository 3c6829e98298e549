/* The data, collection, cursor and crudx tables over a fixed table of records. */
#include "own_data.h"

#include <stdatomic.h>
#include <stdlib.h>
#include <string.h>

#include <zuapi/zuapi.h>

/* A flag of requests that want all rows in one answer, whatever number of rows a fetch asks for. */
static const uint64_t for_caching = 0x10000000;

/* A record as requests need it. Names, values and URIs never change, so threads may share them. */
typedef struct stored {
  zu_do_uri *uri;
  zu_do_uri *collection; /* in which it is listed */
  zu_do_name *names[OWN_FIELDS];
  zu_do_value *values[OWN_FIELDS];
  size_t fields;
} stored;

typedef struct own_data {
  zu_data_ifc ifc; /* first: the library holds a pointer to this */
  atomic_int references;
  size_t count;
  stored *records;
} own_data;

typedef struct own_coll {
  zu_coll_ifc ifc;
  const own_data *data;
} own_coll;

typedef struct own_crudx {
  zu_crudx_ifc ifc;
  const own_data *data;
} own_crudx;

typedef struct own_cursor {
  zu_cursor cursor;
  const own_data *data;
  zu_do_uri *collection;
  zu_do_ntlist *columns; /* null until there is a row */
  size_t next;           /* the next record to look at */
  bool whole;            /* give all rows in one fetch */
} own_cursor;

/* ---- Status: this data has nothing to clear ---- */

static void status_clear(zu_status *status) {
  (void)status;
}
static const zu_status_ops status_ops = {status_clear};
static zu_status no_status = {&status_ops};

/* ---- Cursor: the rows of one collection, in the order of the table ---- */

static const stored *peek(own_cursor *self) {
  while (self->next < self->data->count) {
    const stored *record = &self->data->records[self->next];
    if (zu_do_uri_equals(record->collection, self->collection)) return record;
    ++self->next;
  }
  return NULL;
}

/* The first column has the URI of each row: the library cannot use a row without it. */
static zu_do_ntlist *columns_of(const stored *record) {
  zu_do_ntlist *columns = zu_do_ntlist_new();
  zu_do_name *uri = zu_do_name_new(ZU_DO_NAME_URI);
  int code =
      columns != NULL && uri != NULL ? zu_do_ntlist_add(columns, uri, ZU_DO_TYPE_MR_URI) : ZU_EXHAUSTED;
  for (size_t i = 0; code == ZU_OK && i < record->fields; ++i) {
    code = zu_do_ntlist_add(columns, record->names[i], zu_do_value_get_type(record->values[i]));
  }
  zu_do_name_deref(uri);
  if (code == ZU_OK) return columns;
  zu_do_ntlist_deref(columns);
  return NULL;
}

static int add_row(const stored *record, zu_do_vtable *table) {
  zu_do_vlist *row = zu_do_vlist_new();
  zu_do_value *uri = zu_do_value_new_mr_uri(record->uri);
  int code = row != NULL && uri != NULL ? zu_do_vlist_add(row, uri) : ZU_EXHAUSTED;
  for (size_t i = 0; code == ZU_OK && i < record->fields; ++i) code = zu_do_vlist_add(row, record->values[i]);
  if (code == ZU_OK) code = zu_do_vtable_add(table, row);
  zu_do_value_deref(uri);
  zu_do_vlist_deref(row);
  return code;
}

static int cursor_fetch(zu_cursor *cursor, uint32_t count, zu_do_vtable *table) {
  own_cursor *self = (own_cursor *)cursor;
  const stored *record = peek(self);
  if (record == NULL) return 1;
  if (self->columns == NULL) self->columns = columns_of(record);
  if (self->columns == NULL) return ZU_EXHAUSTED;
  int code = zu_do_vtable_set_ntlist(table, self->columns);
  const bool all = count == 0 || self->whole;
  for (uint32_t rows = 0; code == ZU_OK && record != NULL && (all || rows < count); ++rows) {
    code = add_row(record, table);
    ++self->next;
    record = peek(self);
  }
  if (code != ZU_OK) return code;
  return record == NULL ? 1 : 0;
}

static zu_status *cursor_status(zu_cursor *cursor) {
  (void)cursor;
  return &no_status;
}

static int cursor_free(zu_cursor *cursor) {
  own_cursor *self = (own_cursor *)cursor;
  zu_do_ntlist_deref(self->columns);
  zu_do_uri_deref(self->collection);
  free(self);
  return ZU_OK;
}

static const zu_cursor_ops cursor_ops = {.free = cursor_free, .fetch = cursor_fetch, .status = cursor_status};

/* ---- Collections ---- */

static int open_cursor(zu_coll_ifc *ifc, zu_do_uri *uri, zu_do_nlist *fields, zu_do_nvlist *query,
                       zu_do_nlist *order_by, uint64_t flags, zu_cursor **cursor) {
  (void)fields; /* empty: all are wanted */
  const bool narrowed = zu_do_nvlist_get_len(query) > 0 || zu_do_nlist_get_len(order_by) > 0;
  if (narrowed || zu_do_uri_get_coll_type(uri) != 1) return ZU_REFUSED; /* rather than a wrong answer */
  own_cursor *self = calloc(1, sizeof *self);
  if (self == NULL) return ZU_EXHAUSTED;
  self->cursor.ops = &cursor_ops;
  self->data = ((own_coll *)ifc)->data;
  self->collection = zu_do_uri_ref(uri);
  self->whole = (flags & for_caching) != 0;
  *cursor = &self->cursor;
  return ZU_OK;
}

static int coll_free(zu_coll_ifc *ifc) {
  free(ifc);
  return ZU_OK;
}

static const zu_coll_ifc_ops coll_ops = {.free = coll_free, .open_cursor = open_cursor};

/* ---- Single records ---- */

static int get(zu_crudx_ifc *ifc, zu_do_uri *uri, const char *config_name, uint64_t flags,
               zu_do_properties *record) {
  (void)config_name;
  (void)flags;
  const own_data *data = ((own_crudx *)ifc)->data;
  const stored *found = data->records;
  while (found < data->records + data->count && !zu_do_uri_equals(found->uri, uri)) ++found;
  if (found == data->records + data->count) return ZU_NOT_FOUND;
  int code = ZU_OK;
  for (size_t i = 0; code == ZU_OK && i < found->fields; ++i) {
    code = zu_do_properties_set_value_n(record, found->names[i], found->values[i]);
  }
  return code;
}

static zu_status *crudx_status(zu_crudx_ifc *ifc) {
  (void)ifc;
  return &no_status;
}

static int crudx_free(zu_crudx_ifc *ifc) {
  free(ifc);
  return ZU_OK;
}

static const zu_crudx_ifc_ops crudx_ops = {.free = crudx_free, .get = get, .status = crudx_status};

/* ---- The data interface: counted, and shared by threads ---- */

static int data_ref(zu_data_ifc *ifc) {
  atomic_fetch_add(&((own_data *)ifc)->references, 1);
  return ZU_OK;
}

static int data_free(zu_data_ifc *ifc) {
  own_data *self = (own_data *)ifc;
  if (atomic_fetch_sub(&self->references, 1) != 1) return ZU_OK;
  for (size_t i = 0; i < self->count; ++i) {
    stored *record = &self->records[i];
    zu_do_uri_deref(record->uri);
    zu_do_uri_deref(record->collection);
    for (size_t field = 0; field < OWN_FIELDS; ++field) {
      zu_do_name_deref(record->names[field]);
      zu_do_value_deref(record->values[field]);
    }
  }
  free(self->records);
  free(self);
  return ZU_OK;
}

static int get_coll_ifc(zu_data_ifc *ifc, zu_coll_ifc **coll) {
  own_coll *self = calloc(1, sizeof *self);
  if (self == NULL) return ZU_EXHAUSTED;
  self->ifc.ops = &coll_ops;
  self->data = (own_data *)ifc;
  *coll = &self->ifc;
  return ZU_OK;
}

static int get_crudx_ifc(zu_data_ifc *ifc, zu_crudx_ifc **crudx) {
  own_crudx *self = calloc(1, sizeof *self);
  if (self == NULL) return ZU_EXHAUSTED;
  self->ifc.ops = &crudx_ops;
  self->data = (own_data *)ifc;
  *crudx = &self->ifc;
  return ZU_OK;
}

static const zu_data_ifc_ops data_ops = {
    .ref = data_ref, .free = data_free, .get_coll_ifc = get_coll_ifc, .get_crudx_ifc = get_crudx_ifc};

/* ---- Copying the table ---- */

/* "/system/ifc;name=e0" is listed in "/system?ifc", and "/system" in "/?system". */
static bool find_collection(stored *record) {
  zu_do_uri_segment *last = zu_do_uri_get_segment_last(record->uri);
  zu_do_uri *parent = zu_do_uri_get_parent_uri(record->uri);
  if (last == NULL || parent == NULL) return false;
  record->collection = zu_do_uri_new_coll(parent, zu_do_uri_segment_get_name(last));
  return record->collection != NULL;
}

static zu_do_value *value_of(const own_field *field) {
  if (field->json == NULL) return zu_do_value_new_none();
  zu_do_value *value = zu_do_value_from_json(field->json, strlen(field->json), NULL);
  if (value == NULL || !field->is_default) return value;
  zu_do_value *marked = zu_do_value_new_as(value, zu_do_value_get_typedef_name(value), true);
  zu_do_value_deref(value);
  return marked;
}

static bool take_in(stored *record, const own_record *given) {
  record->uri = zu_do_uri_new(given->uri);
  if (record->uri == NULL || !find_collection(record)) return false;
  while (record->fields < OWN_FIELDS && given->fields[record->fields].name != NULL) {
    const own_field *field = &given->fields[record->fields];
    record->names[record->fields] = zu_do_name_new(field->name);
    record->values[record->fields] = value_of(field);
    if (record->names[record->fields] == NULL || record->values[record->fields] == NULL) return false;
    ++record->fields;
  }
  return true;
}

zu_data_ifc *own_data_new(const own_record *records, size_t count) {
  own_data *self = calloc(1, sizeof *self);
  if (self == NULL) return NULL;
  self->ifc.ops = &data_ops;
  atomic_init(&self->references, 1);
  self->records = calloc(count, sizeof *self->records);
  bool good = self->records != NULL || count == 0;
  for (; good && self->count < count; ++self->count) {
    good = take_in(&self->records[self->count], &records[self->count]);
  }
  if (good) return &self->ifc;
  data_free(&self->ifc);
  return NULL;
}
