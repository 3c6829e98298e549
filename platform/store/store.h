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
  const char *name; /* a path, or what stands for one in messages */
  const char *text; /* none: the file of that name is read, YAML when it ends in .yaml or .yml, else JSON */
  size_t length;
  int yaml; /* `text` is YAML, not JSON */
} zu_store_text;

/* Loads records whole: one reference on their data interface, freed by the interface's `free`; the snapshot
 * lives until the last reference goes. `classes` are texts of classes without records, which count beside
 * those of the data; none is needed. A bad text gives none and an error object with a message
 * `FILE:LINE:COLUMN: MESSAGE` (`FILE: MESSAGE` when it cannot be read; ZU_CANNOT_OPEN). */
zu_data_ifc *zu_store_load(const zu_store_text *data, const zu_store_text *classes, size_t class_count,
                           zu_do_error **error);
/* The same of a data file alone. */
zu_data_ifc *zu_store_load_file(const char *path, zu_do_error **error);
/* The same from memory, of JSON and of YAML. */
zu_data_ifc *zu_store_load_text(const char *name, const char *text, size_t length, zu_do_error **error);
zu_data_ifc *zu_store_load_yaml(const char *name, const char *text, size_t length, zu_do_error **error);
/* A YAML document as JSON text, every token on the line on which it stands; freed with qfree_named. None and
 * an error object when it is no such document. */
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

/* An instance document (JSON or XML, without what is no configuration) as the text of a data file in JSON,
 * its classes with all paths of the modules; none: a file of the classes alone. Freed with qfree_named. None
 * and an error object, with a line `NAME:LINE: PATH: MESSAGE` for each fault, when it is not valid. The first
 * call tells libyang to print no messages of its own. */
char *zu_store_json_of_yang(const zu_store_yang *schema, const char *name, const char *text, size_t length,
                            zu_do_error **error);

/* Whether this platform was built with "yaml", "yang", "sqlite" or "redis". */
bool zu_store_has(const char *kind);

/* ---- Databases of devices: SQLite files and Redis servers with records of many devices ---- */

/* A data interface over `FILE`, which is loaded, or over a device of a database, `sqlite:FILE?device=NAME` or
 * `redis://HOST:PORT/DB?prefix=P&device=NAME` (the only device may go without a name): the device as it is
 * now, whatever others write meanwhile, read when it is asked for. Any number of threads may share it. None
 * and an error object when it cannot be opened. */
zu_data_ifc *zu_store_open(const char *name, zu_do_error **error);
/* Why a call of an interface or cursor of it failed last: freed with qfree_named; none when none did, and for
 * other data interfaces. */
char *zu_store_fault(zu_data_ifc *data);
/* Whether a call may fail because others changed the device since it was opened, as one of a Redis server: a
 * text is whole when its render has ended well. And whether a call failed so: opened again, the device can be
 * read. It should be tried ZU_STORE_TRIES times at most. */
#define ZU_STORE_TRIES 5
bool zu_store_may_move(zu_data_ifc *data);
bool zu_store_moved(zu_data_ifc *data);
/* Puts a data file's text in JSON in the place of what such a device has, whole or not at all; makes a file
 * when there is none. */
bool zu_store_import(const char *json, size_t length, const char *target, zu_do_error **error);
/* A device of a database as the text of a data file in JSON: freed with qfree_named. */
char *zu_store_export(const char *name, zu_do_error **error);
/* Told of a device's name, borrowed for the call. */
typedef void (*zu_store_device_fn)(void *context, const char *device);
/* Tells the devices of a database, a name without the device, in the order of their names. */
bool zu_store_each_device(const char *name, zu_store_device_fn tell, void *context, zu_do_error **error);

/* Told of a path: its text, of `length` bytes, and its records as a table, which is borrowed. */
typedef void (*zu_store_path_fn)(void *context, const char *path, size_t length, zu_do_vtable *records);
/* Tells every path of a store, those that have a class only too; records in the order of the file. `data` is
 * the store's own interface, which the callback must not use; the records live as long as it. 0, or a code
 * when not all could be told. */
int zu_store_each_path(zu_data_ifc *data, zu_store_path_fn tell, void *context);

/* ---- A forwarding wrapper: counts every call, and can be told to fail one ---- */

typedef enum zu_store_call {
  ZU_CALL_GET_COLL_IFC,
  ZU_CALL_GET_CRUDX_IFC,
  ZU_CALL_OPEN_CURSOR,
  ZU_CALL_FETCH,
  ZU_CALL_GET,
  ZU_CALL_COUNT
} zu_store_call;

/* Told of every open_cursor and get, before it is forwarded: the URI's text and the flag word. */
typedef void (*zu_store_watch_fn)(void *context, zu_store_call call, const char *uri, uint64_t flags);

typedef struct zu_store_wrapper zu_store_wrapper;

/* Wraps a data interface (shared). The wrapper's own interface, borrowed, is what a render is given; all
 * interfaces and cursors reached through it are wrapped too. Belongs to one thread. None when memory is
 * exhausted. */
zu_store_wrapper *zu_store_wrapper_new(zu_data_ifc *inner);
zu_data_ifc *zu_store_wrapper_ifc(zu_store_wrapper *wrapper);
void zu_store_wrapper_free(zu_store_wrapper *wrapper); /* none is ignored */

uint64_t zu_store_wrapper_calls(zu_store_wrapper *wrapper, zu_store_call call);
uint64_t zu_store_wrapper_rows(zu_store_wrapper *wrapper); /* rows fetched */
void zu_store_wrapper_reset(zu_store_wrapper *wrapper);    /* counts back to 0 */
void zu_store_wrapper_watch(zu_store_wrapper *wrapper, zu_store_watch_fn watch, void *context);
/* Fails the n-th call of a kind from now (n from 1) with `code`, without forwarding it; n = 0 disarms. */
void zu_store_wrapper_fail(zu_store_wrapper *wrapper, zu_store_call call, uint64_t n, int code);
/* Fails the n-th call of any kind from now, with `code`. */
void zu_store_wrapper_fail_any(zu_store_wrapper *wrapper, uint64_t n, int code);
/* How often an armed failure fired since it was armed last. */
uint64_t zu_store_wrapper_fired(zu_store_wrapper *wrapper);

#ifdef __cplusplus
}
#endif

#endif
