#define NAME "SQLITE"
#include "failing.h"

#include <sqlite3.h>

FORWARD(int, sqlite3_open_v2, (const char *file, sqlite3 **made, int flags, const char *system),
        (file, made, flags, system), (next(file, made, flags, system), SQLITE_CANTOPEN))
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
