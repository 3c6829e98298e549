/* Makes a request, renders it, and cleans up after it. */
#define _POSIX_C_SOURCE 200809L

#include "request.h"

#include <string.h>

static bool take_text(zu_tovra_context *context, zu_cli_context *cli, const char *text) {
  (void)cli;
  request *asked = (request *)context;
  const size_t length = strlen(text);
  if (asked->pieces == 0 && asked->meeting != NULL) pthread_barrier_wait(asked->meeting);
  const bool enough = asked->pieces_wanted != 0 && asked->pieces == asked->pieces_wanted;
  if (enough || length >= sizeof asked->text - asked->length) asked->refused = true;
  if (asked->refused) return false; /* more text may come, but some before it is missing */
  memcpy(asked->text + asked->length, text, length + 1);
  asked->length += length;
  ++asked->pieces;
  return true;
}

static void take_error(void *context, int32_t code, const char *message) {
  request *asked = context;
  ++asked->errors;
  asked->code = code;
  snprintf(asked->message, sizeof asked->message, "%s", message);
}

static void take_place(void *user, const zu_tvr_event *event) {
  request *asked = user;
  if (event->node == NULL) return; /* the request failed before the walk began */
  const char *file = zu_tvr_node_file(event->node);
  snprintf(asked->place, sizeof asked->place, "%s:%u %s", file != NULL ? file : "",
           zu_tvr_node_line(event->node), event->uri != NULL ? event->uri : "");
}

bool request_open(request *asked, zu_data_ifc *data) {
  memset(asked, 0, sizeof *asked);
  asked->cli = zu_cli_context_new(data, take_error, asked);
  return asked->cli != NULL;
}

bool request_render(request *asked, const char *node, const char *config) {
  enum { one_node = 1, everything = 2 };
  zu_do_properties *arguments = zu_do_properties_new();
  zu_do_properties *reserved = zu_do_properties_new();
  if (arguments == NULL || reserved == NULL) {
    zu_do_properties_deref(arguments);
    zu_do_properties_deref(reserved);
    return false;
  }
  if (asked->show_tech) zu_do_properties_set_int(arguments, "_in_show_tech", 1);
  asked->context = (zu_tovra_context){.output_fn = take_text};
  asked->length = asked->pieces = asked->errors = 0;
  asked->text[0] = asked->place[0] = '\0';
  asked->refused = false;
  const zu_tvr_observer errors = {.event = take_place, .user = asked, .kinds = 1u << ZU_TVR_EVENT_ERROR};
  const zu_tvr_observer *before = zu_tvr_observe(&errors);
  const bool rendered = render_tovra_config_func(
      asked->cli, &asked->context, node != NULL ? one_node : everything, node, config, arguments, reserved);
  zu_tvr_observe(before);
  zu_do_properties_deref(arguments);
  zu_do_properties_deref(reserved);
  return rendered;
}

void request_clean_up(request *asked) {
  if (asked->context.cleanup_fn == NULL) return; /* the render failed before the walk began */
  asked->context.cleanup_fn(&asked->context);
  asked->context.cleanup_fn = NULL;
}

void request_close(request *asked) {
  request_clean_up(asked);
  zu_cli_context_free(asked->cli);
}
