/* Observing renders: which node made a line, from which records and properties, and why another line is
 * missing. The text alone does not show this, and traces are made for people. An observer gets the events of
 * a render as records; it changes no text, no error and no trace.
 */
#ifndef ZU_TOVRA_OBSERVE_H
#define ZU_TOVRA_OBSERVE_H

#include "zu_tovra/node.h"

ZU_TVR_BEGIN

/* What happened. */
enum {
  ZU_TVR_EVENT_ENTER = 1,  /* the walk of a node begins: events up to its LEAVE are of it or of nodes below */
  ZU_TVR_EVENT_LEAVE = 2,  /* the walk of the node ended */
  ZU_TVR_EVENT_ASK = 3,    /* the node asks for the record or collection `uri`; once per batch */
  ZU_TVR_EVENT_RECORD = 4, /* the node brought a record into scope: `record`, its `uri` */
  ZU_TVR_EVENT_LINE = 5,   /* `text` is handed out; it was made from `values` */
  ZU_TVR_EVENT_WITHHELD = 6, /* a line is not written; `reason` says why */
  ZU_TVR_EVENT_ERROR = 7     /* `code` and `message` were reported */
};

/* Why a line is not written. */
enum {
  ZU_TVR_WITHHELD_NO_RECORD = 1, /* no record in scope answers to `uri` */
  ZU_TVR_WITHHELD_NULL = 2,      /* the record has `property`, but without a value */
  ZU_TVR_WITHHELD_DEFAULTS = 3,  /* all values are defaults, which are not rendered */
  ZU_TVR_WITHHELD_CONDITION = 4, /* the condition is false for `values` */
  ZU_TVR_WITHHELD_EMPTY = 5      /* `property` shows as an empty text, or as an array without elements */
};

/* A property that a line read. */
typedef struct zu_tvr_observed_value {
  const char *property;
  const char *record; /* the URI of its record */
  zu_do_value *value; /* null when the record does not have it */
  int32_t index;      /* N of "%s" number N and of $tvrN, from 0 */
  int32_t element; /* of an array that makes one line per element: the element of this line; -1: all of it */
  uint8_t in_format;   /* it fills a "%s"; else only the condition reads it */
  uint8_t is_default;  /* the value is its class's default */
  uint8_t is_password; /* a value that must not be shown to everybody */
} zu_tvr_observed_value;

/* One event. Members that do not apply to its kind are null or 0. Everything is borrowed for the call. */
typedef struct zu_tvr_event {
  int32_t kind;      /* ZU_TVR_EVENT_* */
  zu_tvr_node *node; /* the innermost node that is being walked; null before and after the walk */
  int32_t reason;    /* ZU_TVR_WITHHELD_* */
  const char *uri; /* of a record or a collection; of an error: the one that the failed step was reading. Null
                      also when a URI template could not be resolved */
  zu_do_properties *record;
  const char *property; /* of a withheld line or an error: the property that is the reason, if it is one */
  const char *text;
  const zu_tvr_observed_value *values; /* in the order in which the template reads them */
  uint32_t value_count;                /* 0 also when memory for them is exhausted */
  int32_t code;
  const char *message;
} zu_tvr_event;

/* `event` is called on the thread of the render, while it runs; it must not call back into the library. The
 * event of an error comes after the error was reported, the event of a line before the line is handed out. */
typedef struct zu_tvr_observer {
  void (*event)(void *user, const zu_tvr_event *event);
  void *user;
  uint32_t kinds; /* the events that are wanted: a bit 1 << ZU_TVR_EVENT_* for each kind */
} zu_tvr_observer;

/* Sets the observer of the renders that the calling thread begins from now on; null ends the observing. The
 * observer is borrowed until the last of these renders has ended. Returns the previous observer, or null. */
ZU_TVR_API const zu_tvr_observer *zu_tvr_observe(const zu_tvr_observer *observer) ZU_TVR_NOEXCEPT;

ZU_TVR_END

#endif
