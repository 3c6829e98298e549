#define NAME "HIREDIS"
#include "failing.h"

#include <errno.h>
#include <hiredis/hiredis.h>
#include <sys/socket.h>

static redisContext *refused(void) {
  return redisConnect("127.0.0.1", 1);
}

static int out_of_memory(redisReader *reader) {
  reader->err = REDIS_ERR_OOM;
  return REDIS_ERR;
}

static ssize_t lost(void) {
  errno = ECONNRESET;
  return -1;
}

FORWARD(redisContext *, redisConnectUnixWithTimeout, (const char *path, const struct timeval time),
        (path, time), refused())
FORWARD(redisContext *, redisConnectWithTimeout, (const char *host, int port, const struct timeval time),
        (host, port, time), NULL)
FORWARD(int, redisFormatCommandArgv, (char **made, int count, const char **words, const size_t *lengths),
        (made, count, words, lengths), -1)
FORWARD(int, redisReaderFeed, (redisReader * reader, const char *text, size_t length), (reader, text, length),
        out_of_memory(reader))
FORWARD(int, redisReaderGetReply, (redisReader * reader, void **reply), (reader, reply), REDIS_ERR)
/* The connection's own way to send and receive. */
FORWARD(ssize_t, send, (int file, const void *text, size_t length, int flags), (file, text, length, flags),
        lost())
FORWARD(ssize_t, recv, (int file, void *text, size_t length, int flags), (file, text, length, flags), lost())
