/* The framework objects of a render request, as plain records with tables of operations.
 *
 * Each object is a pointer to a record whose first member is its table. Results of type int are 0 for
 * success or a code of zuapi/base.h. An object belongs to one render and one thread at a time, except the
 * data interface, whose operations any thread may call.
 */
#ifndef CLI_EXEC_INTERFACES_H
#define CLI_EXEC_INTERFACES_H

#include "zuapi/base.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct zu_data_ifc zu_data_ifc;
typedef struct zu_coll_ifc zu_coll_ifc;
typedef struct zu_cursor zu_cursor;
typedef struct zu_crudx_ifc zu_crudx_ifc;
typedef struct zu_status zu_status;
typedef struct zu_result_ifc zu_result_ifc;
typedef struct zu_config_ifc zu_config_ifc;
typedef struct zu_cli_context zu_cli_context;
typedef struct zu_tovra_context zu_tovra_context;

/* Where records come from. Counted: ref takes a reference, free releases it. */
typedef struct zu_data_ifc_ops {
  void *unused;
  int (*ref)(zu_data_ifc *ifc);
  int (*free)(zu_data_ifc *ifc);
  /* Each gives a new interface, freed by its own operation; it must not outlive the data interface. */
  int (*get_coll_ifc)(zu_data_ifc *ifc, zu_coll_ifc **coll);
  int (*get_crudx_ifc)(zu_data_ifc *ifc, zu_crudx_ifc **crudx);
} zu_data_ifc_ops;
struct zu_data_ifc {
  const zu_data_ifc_ops *ops;
};

/* Reads collections. */
typedef struct zu_coll_ifc_ops {
  void *unused;
  int (*ref)(zu_coll_ifc *ifc);
  int (*free)(zu_coll_ifc *ifc);
  /* Opens a cursor on the instances of a collection URI. An empty name list asks for all fields; `query`
   * and `order_by` may be null. The cursor is freed by its own operation. */
  int (*open_cursor)(zu_coll_ifc *ifc, zu_do_uri *uri, zu_do_nlist *fields, zu_do_nvlist *query,
                     zu_do_nlist *order_by, uint64_t flags, zu_cursor **cursor);
} zu_coll_ifc_ops;
struct zu_coll_ifc {
  const zu_coll_ifc_ops *ops;
};

typedef struct zu_cursor_ops {
  void *unused;
  int (*ref)(zu_cursor *cursor);
  int (*free)(zu_cursor *cursor);
  /* Appends the next `count` rows (0: all that are left) to the table: 0 when more may follow, 1 at the end
   * of the data (rows may have been appended), any other value an error code. */
  int (*fetch)(zu_cursor *cursor, uint32_t count, zu_do_vtable *table);
  zu_status *(*status)(zu_cursor *cursor); /* borrowed, never null */
} zu_cursor_ops;
struct zu_cursor {
  const zu_cursor_ops *ops;
};

/* Reads single records. */
typedef struct zu_crudx_ifc_ops {
  void *unused;
  int (*ref)(zu_crudx_ifc *ifc);
  int (*free)(zu_crudx_ifc *ifc);
  /* Adds the properties of the record of that URI to `record`, whose `_uri` stays as the caller set it.
   * ZU_NOT_FOUND when there is none. The configuration name may be null. */
  int (*get)(zu_crudx_ifc *ifc, zu_do_uri *uri, const char *config_name, uint64_t flags,
             zu_do_properties *record);
  zu_status *(*status)(zu_crudx_ifc *ifc); /* borrowed, never null */
} zu_crudx_ifc_ops;
struct zu_crudx_ifc {
  const zu_crudx_ifc_ops *ops;
};

typedef struct zu_status_ops {
  void (*clear)(zu_status *status);
} zu_status_ops;
struct zu_status {
  const zu_status_ops *ops;
};

/* Records the errors of a request. */
typedef struct zu_result_ifc_ops {
  void *unused0;
  void *unused1;
  int (*set_error)(zu_result_ifc *ifc, int32_t code, const char *message); /* copies the message */
  void *unused3;
  int (*set_error_object)(zu_result_ifc *ifc, zu_do_error *error); /* takes a reference of its own */
} zu_result_ifc_ops;
struct zu_result_ifc {
  const zu_result_ifc_ops *ops;
};

/* Finds named configurations. */
typedef struct zu_config_ifc_ops {
  void *unused;
  /* 0 and one reference on the configuration's data interface, which the caller frees; ZU_NOT_FOUND for an
   * unknown name. The third argument is 0. */
  int (*get_config)(zu_config_ifc *ifc, const char *name, int reserved, zu_data_ifc **data);
} zu_config_ifc_ops;
struct zu_config_ifc {
  const zu_config_ifc_ops *ops;
};

/* The CLI context of a request. */
struct zu_cli_context {
  void *unused;
  zu_config_ifc *config_ifc; /* of named configurations */
  zu_result_ifc *result_ifc;
  zu_data_ifc *data_ifc;   /* the default data interface */
  void *user_data;         /* the host's own */
  uint8_t render_defaults; /* non-zero: render default commands too */
  uint8_t tag_submodes;    /* non-zero: render submode tags */
};

/* The render context of a request. */
struct zu_tovra_context {
  void *unused;
  void *cleanup_ctx; /* set by the library; null when there is nothing to clean up */
  void (*cleanup_fn)(zu_tovra_context *context); /* set by the library; the host calls it when it no longer
                                                    needs the output */
  /* Takes a piece of text, which is borrowed for the call; returns false to end the render. */
  bool (*output_fn)(zu_tovra_context *context, zu_cli_context *cli, const char *text);
};

#ifdef __cplusplus
}
#endif

#endif
