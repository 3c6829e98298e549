/* The embedded data store: an immutable snapshot of the records of one file, behind a data interface.
 *
 * Threads: a snapshot is read-only; any number of threads may read it, each through interfaces of its own.
 */
#ifndef STORE_STORE_H
#define STORE_STORE_H

#include "cli_exec/interfaces.h"

#ifdef __cplusplus
extern "C" {
#endif

/* One text of a store. */
typedef struct zu_store_text {
  const char *name; /* a path, or the name that messages show instead of one */
  const char *text; /* null: the file of that name is read, YAML when it ends in .yaml or .yml, else JSON */
  size_t length;
  int yaml; /* `text` is YAML, not JSON */
} zu_store_text;

/* Loads all records of a text: one reference on their data interface, freed by the interface's
 * `free`; the snapshot lives until the last reference is freed. `classes` are texts of classes
 * without records, which apply in addition to those of the data (null when `class_count` is
 * 0). A bad text gives null and an error object with a message `FILE:LINE:COLUMN: MESSAGE`
 * (`FILE: MESSAGE` with ZU_CANNOT_OPEN when it cannot be read). */
zu_data_ifc *zu_store_load(const zu_store_text *data, const zu_store_text *classes, size_t class_count,
                           zu_do_error **error);
/* The same for a data file without further classes. */
zu_data_ifc *zu_store_load_file(const char *path, zu_do_error **error);
/* The same for a text in memory, JSON or YAML. */
zu_data_ifc *zu_store_load_text(const char *name, const char *text, size_t length, zu_do_error **error);
zu_data_ifc *zu_store_load_yaml(const char *name, const char *text, size_t length, zu_do_error **error);
/* A YAML document as JSON text, every token on its line in the document; freed with qfree_named. Null and an
 * error object when the text is no such document. */
char *zu_store_json_of_yaml(const char *name, const char *text, size_t length, zu_do_error **error);

/* ---- YANG instance data ---- */

/* Modules, and where they are. */
typedef struct zu_store_yang {
  const char *const *directories; /* with the modules and what they import, folders below them too */
  size_t directory_count;
  const char *const *modules; /* NAME[@REVISION][:FEATURE...] */
  size_t module_count;
  const char *const *secrets; /* names of types, and paths of nodes, whose values are hidden */
  size_t secret_count;
} zu_store_yang;

/* An instance document (JSON or XML) as the text of a data file in JSON: its configuration (state is left
 * out), and classes with all paths of the modules. A `text` of null gives a file of the classes alone. Freed
 * with qfree_named. Null and an error object, with a line `NAME:LINE: PATH: MESSAGE` for each fault, when the
 * document is not valid. The first call makes libyang print no messages of its own. */
char *zu_store_json_of_yang(const zu_store_yang *schema, const char *name, const char *text, size_t length,
                            zu_do_error **error);

/* Whether this platform was built with "yaml", "yang", "sqlite" or "redis". */
bool zu_store_has(const char *kind);

/* ---- Databases of devices: SQLite files and Redis servers with records of many devices ---- */

/* A data interface over a data file (`FILE`), or over a device of a database, `sqlite:FILE?device=NAME` or
 * `redis://HOST:PORT/DB?prefix=P&device=NAME` (the name of an only device may be left out). A file is loaded.
 * The records of a device are read when they are asked for, all as they are now: what others write later is
 * not seen. Any number of threads may share the interface. On failure null and an error object. */
zu_data_ifc *zu_store_open(const char *name, zu_do_error **error);
/* The reason of the last failed call of the interface or of an interface or cursor made through it; freed
 * with qfree_named. Null when no call has failed, and for an interface that zu_store_open did not make. */
char *zu_store_fault(zu_data_ifc *data);
/* may_move: whether calls may fail because others change the device after it was opened (a device of a Redis
 * server). Then a text is only whole when its render has ended without an error. moved: whether a call has
 * failed for this reason. Then the device can be opened and rendered again, at most ZU_STORE_TRIES times. */
#define ZU_STORE_TRIES 5
bool zu_store_may_move(zu_data_ifc *data);
bool zu_store_moved(zu_data_ifc *data);
/* Replaces the records of a device of a database by those of a data file's text in JSON, as a whole or not at
 * all. A missing database file is made. */
bool zu_store_import(const char *json, size_t length, const char *target, zu_do_error **error);
/* A device of a database as the text of a data file in JSON;
 * freed with qfree_named. Null and an error object on failure. */
char *zu_store_export(const char *name, zu_do_error **error);
/* Gets a device's name, borrowed for the call. */
typedef void (*zu_store_device_fn)(void *context, const char *device);
/* Calls `tell` with each device of a database (`name` without a device), in the order of their names. False
 * and an error object on failure. */
bool zu_store_each_device(const char *name, zu_store_device_fn tell, void *context, zu_do_error **error);

/* Gets a path: its text, of `length` bytes, and its records as a table, which is borrowed. */
typedef void (*zu_store_path_fn)(void *context, const char *path, size_t length, zu_do_vtable *records);
/* Calls `tell` with every path of a store, also with those that have only a class; records are in the order
 * of the file. `data` is the store's own interface, which the callback must not use; the records live as long
 * as it. 0, or a code when not all paths could be given. */
int zu_store_each_path(zu_data_ifc *data, zu_store_path_fn tell, void *context);

/* ---- A forwarding wrapper, for tests and statistics: counts every call, and can make one fail ---- */

typedef enum zu_store_call {
  ZU_CALL_GET_COLL_IFC,
  ZU_CALL_GET_CRUDX_IFC,
  ZU_CALL_OPEN_CURSOR,
  ZU_CALL_FETCH,
  ZU_CALL_GET,
  ZU_CALL_COUNT
} zu_store_call;

/* Gets every open_cursor and get before it is forwarded: the URI's text and the flag word. */
typedef void (*zu_store_watch_fn)(void *context, zu_store_call call, const char *uri, uint64_t flags);

typedef struct zu_store_wrapper zu_store_wrapper;

/* Wraps a data interface (shared). A render gets the wrapper's own interface (borrowed); all interfaces and
 * cursors made through it are wrapped too. Belongs to one thread. Null when memory is exhausted. */
zu_store_wrapper *zu_store_wrapper_new(zu_data_ifc *inner);
zu_data_ifc *zu_store_wrapper_ifc(zu_store_wrapper *wrapper);
void zu_store_wrapper_free(zu_store_wrapper *wrapper); /* null is ignored */

uint64_t zu_store_wrapper_calls(zu_store_wrapper *wrapper, zu_store_call call);
uint64_t zu_store_wrapper_rows(zu_store_wrapper *wrapper); /* rows fetched */
void zu_store_wrapper_reset(zu_store_wrapper *wrapper);    /* counts back to 0 */
void zu_store_wrapper_watch(zu_store_wrapper *wrapper, zu_store_watch_fn watch, void *context);
/* Makes the n-th call of a kind from now on (n from 1) fail
 * with `code`, without forwarding it; n = 0 ends it. */
void zu_store_wrapper_fail(zu_store_wrapper *wrapper, zu_store_call call, uint64_t n, int code);
/* The same for the n-th call of any kind. */
void zu_store_wrapper_fail_any(zu_store_wrapper *wrapper, uint64_t n, int code);
/* How often an armed failure fired since it was armed last. */
uint64_t zu_store_wrapper_fired(zu_store_wrapper *wrapper);

#ifdef __cplusplus
}
#endif

#endif
