/* One render request of the host: its contexts, the text it collects, the errors it is told. */
#ifndef REQUEST_H
#define REQUEST_H

#include <pthread.h>

#include <zu_tovra/zu_tovra.h>

enum { REQUEST_ROOM = 8192, REQUEST_ERROR_ROOM = 200 };

typedef struct request {
  zu_tovra_context context; /* first, so that the library's context leads back here */
  zu_cli_context *cli;      /* owned */
  char text[REQUEST_ROOM];
  size_t length;
  unsigned pieces;
  bool show_tech;         /* secrets are asked to stay hidden */
  unsigned pieces_wanted; /* output is refused after so many; 0: never */
  bool refused;
  pthread_barrier_t *meeting; /* waited at with the first piece, or none */
  unsigned errors;
  int32_t code; /* of the last error */
  char message[REQUEST_ERROR_ROOM];
  char place[REQUEST_ERROR_ROOM]; /* its template file and line, and its record */
} request;

/* Fills the record: a request over a data interface, which is shared. False when memory is exhausted. */
bool request_open(request *asked, zu_data_ifc *data);
/* Renders from a node, or everything, in a named configuration, or the default data. Cleans nothing up. */
bool request_render(request *asked, const char *node, const char *config);
/* Frees what the render holds; to be called after every render, on any thread. */
void request_clean_up(request *asked);
/* Frees the rest. */
void request_close(request *asked);

#endif
