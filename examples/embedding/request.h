/* One render request of the host: its contexts, the text that it collects, and the errors that it gets. */
#ifndef REQUEST_H
#define REQUEST_H

#include <pthread.h>

#include <zu_tovra/zu_tovra.h>

enum { REQUEST_ROOM = 8192, REQUEST_ERROR_ROOM = 200 };

typedef struct request {
  zu_tovra_context context; /* first: a pointer to it is a pointer to the request */
  zu_cli_context *cli;      /* owned */
  char text[REQUEST_ROOM];
  size_t length;
  unsigned pieces;
  bool show_tech;         /* ask the library to hide secrets */
  unsigned pieces_wanted; /* refuse output after that many; 0: never */
  bool refused;
  pthread_barrier_t *meeting; /* a thread waits here at its first piece; may be null */
  unsigned errors;
  int32_t code; /* of the last error */
  char message[REQUEST_ERROR_ROOM];
  char place[REQUEST_ERROR_ROOM]; /* template file and line of the last error, and its record */
} request;

/* Initialises a request to a data interface; requests may share one. False when memory is exhausted. */
bool request_open(request *asked, zu_data_ifc *data);
/* Renders the part under a node, or everything when it is null; from a named configuration, or from the
 * default data when that is null. Does not clean up. */
bool request_render(request *asked, const char *node, const char *config);
/* Frees what a render has allocated. Must be called after every render, on any thread. */
void request_clean_up(request *asked);
/* Cleans up, and frees everything else. */
void request_close(request *asked);

#endif
