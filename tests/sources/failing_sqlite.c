/* Loaded before SQLite: the call of it whose number stands in FAIL_SQLITE fails; the calls are counted into
 * the file that COUNT_SQLITE names. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <sqlite3.h>
#include <stdio.h>
#include <stdlib.h>

static long calls;
static int depth; /* calls that SQLite makes of itself do not count */

__attribute__((destructor)) static void tell(void) {
  const char *name = getenv("COUNT_SQLITE");
  FILE *file = name != NULL ? fopen(name, "w") : NULL;
  if (file == NULL) return;
  fprintf(file, "%ld", calls);
  fclose(file);
}

static int fails(void) {
  const char *wanted = getenv("FAIL_SQLITE");
  return ++calls == (wanted != NULL ? atol(wanted) : 0);
}

#define FORWARD(type, name, parameters, arguments, failure) \
  type name parameters {                                    \
    type(*next) parameters;                                 \
    *(void **)&next = dlsym(RTLD_NEXT, #name);              \
    if (depth == 0 && fails()) return failure;              \
    ++depth;                                                \
    type result = next arguments;                           \
    --depth;                                                \
    return result;                                          \
  }

FORWARD(int, sqlite3_prepare_v2,
        (sqlite3 * db, const char *sql, int length, sqlite3_stmt **made, const char **rest),
        (db, sql, length, made, rest), SQLITE_IOERR)
FORWARD(int, sqlite3_step, (sqlite3_stmt * made), (made), SQLITE_IOERR)
FORWARD(int, sqlite3_exec,
        (sqlite3 * db, const char *sql, int (*take)(void *, int, char **, char **), void *context,
         char **message),
        (db, sql, take, context, message), SQLITE_FULL)
FORWARD(int, sqlite3_bind_text64,
        (sqlite3_stmt * made, int at, const char *text, sqlite3_uint64 length, void (*drop)(void *),
         unsigned char encoding),
        (made, at, text, length, drop, encoding), SQLITE_NOMEM)
FORWARD(int, sqlite3_bind_int64, (sqlite3_stmt * made, int at, sqlite3_int64 number), (made, at, number),
        SQLITE_RANGE)
FORWARD(const unsigned char *, sqlite3_column_text, (sqlite3_stmt * made, int at), (made, at), NULL)
