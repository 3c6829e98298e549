/* A host that embeds the library, step by step. It checks all results, and prints none of them. */
#define _POSIX_C_SOURCE 200809L

#include <pthread.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <qmalloc/qmalloc.h>
#include <qtrace/qtrace.h>

#include "own_data.h"
#include "request.h"

static void check(bool holds, const char *what, int line) {
  if (holds) return;
  fprintf(stderr, "host.c:%d: not so: %s\n", line, what);
  exit(EXIT_FAILURE);
}
#define CHECK(condition) check((condition), #condition, __LINE__)
#define COUNT(array) (sizeof(array) / sizeof *(array))

/* ---- What is rendered ---- */

// clang-format off
static const char templates[] =
    "Cmd: config\n"
    "Cmd: system\nParent Cmd: config\nOp: get_one\nUri: /system\n"
    "Cmd: hostname\nParent Cmd: system\nOp: print_if\nFmt: hostname %s\nProps: /system hostname:0\nNewline:\n"
    "Cmd: ifcs\nParent Cmd: config\nOp: get_collection\nUri: /system?ifc\n"
    "Cmd: ifc\nParent Cmd: ifcs\nOp: print_if\nFmt: interface %s mtu %s\n"
    "Props: /system?ifc name:0 mtu:1\nNewline:\n"
    "Cmd: qos\nParent Cmd: ifcs\nOp: get_one\nUri: /system/ifc;name=$/qos;side=in\n"
    "Cmd: policy\nParent Cmd: qos\nOp: print_if\nFmt: policy %s\n"
    "Props: /system/ifc;name=$/qos;side=in policy:0\nNewline:\n"
    "Cmd: addresses\nParent Cmd: ifcs\nOp: get_collection\nUri: /system/ifc;name=$?address\n"
    "Cmd: address\nParent Cmd: addresses\nOp: print_if\nFmt: address %s\n"
    "Props: /system/ifc;name=$?address ip:0\nNewline:\n";
// clang-format on

#define FIELD(name, json) \
  { name, json, false }
#define DEFAULT(name, json) \
  { name, json, true }
static const own_record running_records[] = {
    {"/system", {FIELD("hostname", "\"edge1\"")}},
    {"/system/ifc;name=e0", {FIELD("name", "\"e0\""), FIELD("mtu", "1500")}},
    {"/system/ifc;name=e1", {FIELD("name", "\"e1\""), FIELD("mtu", "9000")}},
    {"/system/ifc;name=e1/qos;side=out", {FIELD("policy", "\"silver\"")}},
    {"/system/ifc;name=e1/qos;side=in", {FIELD("policy", "\"gold\"")}},
    {"/system/ifc;name=e0/address;ip=10.0.0.1", {FIELD("ip", "\"10.0.0.1\"")}},
    {"/system/ifc;name=e1/address;ip=10.0.1.1", {FIELD("ip", "\"10.0.1.1\"")}},
    {"/system/ifc;name=e1/address;ip=10.0.1.2", {FIELD("ip", "\"10.0.1.2\"")}},
};
static const char running_text[] = "\nhostname edge1"
                                   "\ninterface e0 mtu 1500\naddress 10.0.0.1"
                                   "\ninterface e1 mtu 9000\npolicy gold\naddress 10.0.1.1\naddress 10.0.1.2";

static const own_record marked_records[] = {
    {"/system", {DEFAULT("hostname", "\"router\"")}},
    {"/system/ifc;name=e0", {FIELD("name", "\"e0\""), FIELD("mtu", "1500")}},
    {"/system/ifc;name=e1", {FIELD("name", "\"e1\""), FIELD("mtu", NULL)}},
    {"/system/ifc;name=e0/qos;side=in", {FIELD("policy", "{\"PasswordString\": \"s3cret\"}")}},
};

static const own_record candidate_records[] = {{"/system", {FIELD("hostname", "\"edge1-new\"")}}};
static const char candidate_text[] = "\nhostname edge1-new";

/* ---- Templates ---- */

static char directory[] = "/tmp/tovra-embedding-XXXXXX";
static char path[sizeof directory + 16];

static void write_templates(const char *text) {
  FILE *file = fopen(path, "w");
  CHECK(file != NULL && fputs(text, file) >= 0);
  CHECK(fclose(file) == 0);
}

static void make_directory(void) {
  CHECK(mkdtemp(directory) != NULL);
  snprintf(path, sizeof path, "%s/host.tvr", directory);
  write_templates(templates);
}

static void remove_directory(void) {
  CHECK(unlink(path) == 0);
  CHECK(rmdir(directory) == 0);
}

/* Prints a fault with its place. Returns true to go on, so that all faults are shown at once. */
static bool tell_fault(void *log, const zu_tvr_diagnostic *fault) {
  (void)fprintf(log, "%s:%u: %s\n", fault->file != NULL ? fault->file : "templates", fault->line,
                fault->message);
  return true;
}

static bool templates_are_good(FILE *log) {
  return zu_tvr_check_templates(NULL, tell_fault, log);
}

/* ---- The gate: any number of requests, or one reload ---- */

static pthread_rwlock_t gate = PTHREAD_RWLOCK_INITIALIZER;

static bool render_through_gate(request *asked) {
  CHECK(pthread_rwlock_rdlock(&gate) == 0);
  const bool rendered = request_render(asked, NULL, NULL);
  request_clean_up(asked); /* while the gate is held: the request still uses the templates */
  CHECK(pthread_rwlock_unlock(&gate) == 0);
  return rendered;
}

static zu_do_error *reload_through_gate(void) {
  CHECK(pthread_rwlock_wrlock(&gate) == 0);
  zu_do_error *error = render_tovra_reload_func();
  CHECK(pthread_rwlock_unlock(&gate) == 0);
  return error;
}

/* ---- Steps ---- */

static void start(void) {
  CHECK(setenv("ZU_TVR_DIR", directory, 1) == 0); /* while there is one thread */
  CHECK(zu_tovra_init());
  CHECK(zu_tovra_trace_init() == 0);
}

static void render_everything_and_one_part(zu_data_ifc *data) {
  request asked;
  CHECK(request_open(&asked, data));
  CHECK(request_render(&asked, NULL, NULL));
  CHECK(asked.errors == 0);
  CHECK(strcmp(asked.text, running_text) == 0);
  request_clean_up(&asked);

  CHECK(request_render(&asked, "hostname", NULL));
  CHECK(strcmp(asked.text, "\nhostname edge1") == 0);
  request_clean_up(&asked);

  CHECK(!request_render(&asked, "nowhere", NULL));
  CHECK(asked.errors == 1 && asked.code == ZU_FAILED);
  CHECK(strcmp(asked.message, "Invalid node id for walk start") == 0);
  request_close(&asked);
}

static void count_memory(zu_data_ifc *data) {
  request asked;
  CHECK(request_open(&asked, data));
  const int64_t before = qmalloc_count(ZU_TVR_AREA).live_bytes;
  CHECK(request_render(&asked, NULL, NULL));
  const int64_t held = qmalloc_count(ZU_TVR_AREA).live_bytes;
  request_clean_up(&asked);
  const int64_t after = qmalloc_count(ZU_TVR_AREA).live_bytes;
  CHECK(held > before);
  CHECK(after == before);
  CHECK(strcmp(qmalloc_area_name(ZU_TVR_AREA), "zu-tovra") == 0);
  request_close(&asked);
}

static void render_two_configurations(zu_data_ifc *running, zu_data_ifc *candidate) {
  request asked;
  CHECK(request_open(&asked, running));
  CHECK(zu_cli_context_add_config(asked.cli, "candidate", candidate) == ZU_OK);
  CHECK(request_render(&asked, NULL, "candidate"));
  CHECK(strcmp(asked.text, candidate_text) == 0);
  request_clean_up(&asked);

  CHECK(request_render(&asked, NULL, NULL));
  CHECK(strcmp(asked.text, running_text) == 0);
  request_clean_up(&asked);

  CHECK(!request_render(&asked, NULL, "startup"));
  CHECK(asked.code == ZU_NOT_FOUND);
  CHECK(asked.context.cleanup_fn == NULL);
  request_close(&asked);
}

static void cancel(zu_data_ifc *data) {
  request asked;
  CHECK(request_open(&asked, data));
  asked.pieces_wanted = 2;
  CHECK(!request_render(&asked, NULL, NULL));
  CHECK(asked.refused && asked.pieces == 2);
  CHECK(asked.errors == 0); /* nothing failed */
  CHECK(strncmp(asked.text, running_text, asked.length) == 0);
  request_clean_up(&asked);

  asked.pieces_wanted = 0;
  CHECK(request_render(&asked, NULL, NULL));
  CHECK(strcmp(asked.text, running_text) == 0);
  request_close(&asked);
}

/* The host name has its default and e1's mtu has no value: both lines are left out. */
static void render_marked_values(void) {
  zu_data_ifc *marked = own_data_new(marked_records, COUNT(marked_records));
  request asked;
  CHECK(marked != NULL && request_open(&asked, marked));
  asked.show_tech = true;
  CHECK(request_render(&asked, NULL, NULL) && asked.errors == 0);
  CHECK(strcmp(asked.text, "\ninterface e0 mtu 1500\npolicy <removed>") == 0);
  asked.cli->render_defaults = 1;
  request_clean_up(&asked);
  asked.show_tech = false;
  CHECK(request_render(&asked, NULL, NULL) && asked.errors == 0);
  CHECK(strcmp(asked.text, "\nhostname router\ninterface e0 mtu 1500\npolicy s3cret") == 0);
  request_close(&asked);
  marked->ops->free(marked);
}

/* The fetch count is read together with the templates. The text is the same with every count. */
static void fetch_in_batches(zu_data_ifc *data) {
  request asked;
  CHECK(request_open(&asked, data));
  CHECK(setenv("ZU_TVR_COLL_FETCH_COUNT", "1", 1) == 0);
  CHECK(render_tovra_reload_func() == NULL);
  CHECK(request_render(&asked, NULL, NULL));
  CHECK(!asked.refused && strcmp(asked.text, running_text) == 0);
  request_clean_up(&asked);

  asked.pieces_wanted = 2;
  request_render(&asked, NULL, NULL);
  CHECK(asked.refused && asked.pieces == 2);
  CHECK(strncmp(asked.text, running_text, asked.length) == 0);
  request_close(&asked);
  CHECK(setenv("ZU_TVR_COLL_FETCH_COUNT", "0", 1) == 0);
  CHECK(render_tovra_reload_func() == NULL);
}

/* When the data interface refuses a request, the host is told of an error; it never gets a wrong text. */
static void ask_for_too_much(zu_data_ifc *data) {
  request asked;
  CHECK(request_open(&asked, data));
  write_templates("Cmd: config\nCmd: sorted\nParent Cmd: config\nOp: get_collection\n"
                  "Uri: /system?ifc\nOrderby: mtu\n");
  CHECK(render_tovra_reload_func() == NULL);
  CHECK(request_render(&asked, NULL, NULL)); /* the walk went on past the collection ... */
  CHECK(asked.errors == 1);                  /* ... so the text is not whole */
  CHECK(asked.code == ZU_REFUSED);
  CHECK(strcmp(asked.message, "Error using the collection") == 0);
  CHECK(strstr(asked.place, ".tvr:2 /system?ifc") != NULL);
  request_close(&asked);
  write_templates(templates);
  CHECK(render_tovra_reload_func() == NULL);
}

/* Counts the messages that a trace sink of the host gets. */
typedef struct trace_log {
  unsigned messages;
  unsigned failures;
  bool saw_output;
} trace_log;

static void take_trace(void *context, int level, const char *message) {
  trace_log *log = context;
  ++log->messages;
  if (level <= 3) ++log->failures;
  if (strstr(message, "hostname edge1") != NULL) log->saw_output = true;
}

static void trace_a_render(zu_data_ifc *data) {
  trace_log log = {0};
  qtrace_set_sink(take_trace, &log); /* while nothing renders */
  qtrace_set_level(6);
  request asked;
  CHECK(request_open(&asked, data));
  CHECK(request_render(&asked, NULL, NULL));
  request_clean_up(&asked);
  CHECK(log.messages > 0 && log.failures == 0 && log.saw_output);

  qtrace_set_level(3);
  log = (trace_log){0};
  CHECK(!request_render(&asked, "nowhere", NULL));
  request_close(&asked);
  CHECK(log.messages == log.failures && log.failures > 0);
  qtrace_set_level(0);
  qtrace_set_sink(NULL, NULL);
}

static void reload_until_it_succeeds(zu_data_ifc *data) {
  request asked;
  CHECK(request_open(&asked, data));
  write_templates("Cmd: hostname\nParent Cmd: nobody\n");
  CHECK(!templates_are_good(stderr));
  CHECK(render_through_gate(&asked)); /* the templates in use are still the old ones */

  zu_do_error *error = reload_through_gate();
  CHECK(error != NULL && zu_do_error_get_code(error) == ZU_FAILED);
  CHECK(strcmp(zu_do_error_get_msg(error), "Unresolved links in tovra tree") == 0);
  zu_do_error_deref(error);
  CHECK(!render_through_gate(&asked)); /* there are none now: the request tries to load them, in vain */
  CHECK(asked.code == ZU_FAILED && asked.context.cleanup_fn == NULL);

  write_templates("Cmd: config\nCmd: hostname\nParent Cmd: config\nOp: guess\n");
  error = reload_through_gate();
  CHECK(error != NULL && strcmp(zu_do_error_get_msg(error), "Invalid Op in node: guess") == 0);
  zu_do_error_deref(error);
  CHECK(render_through_gate(&asked)); /* the nodes before the bad line are in use ... */
  CHECK(asked.length == 0);           /* ... and are not the whole configuration */

  write_templates(templates);
  CHECK(templates_are_good(stderr));
  CHECK(reload_through_gate() == NULL);
  CHECK(render_through_gate(&asked));
  CHECK(strcmp(asked.text, running_text) == 0);
  request_close(&asked);
}

/* A thread of requests over one data interface. */
typedef struct worker {
  pthread_t thread;
  zu_data_ifc *data;
  const char *wanted;
  pthread_barrier_t *meeting;
} worker;

static void *work(void *context) {
  const worker *self = context;
  for (int i = 0; i < 50; ++i) {
    request asked; /* each request has contexts of its own */
    CHECK(request_open(&asked, self->data));
    if (i == 0) asked.meeting = self->meeting;
    CHECK(render_through_gate(&asked));
    CHECK(strcmp(asked.text, self->wanted) == 0);
    request_close(&asked);
  }
  return NULL;
}

static void render_on_three_threads(zu_data_ifc *running, zu_data_ifc *candidate) {
  pthread_barrier_t meeting; /* where all three are in the middle of a render */
  CHECK(pthread_barrier_init(&meeting, NULL, 4) == 0);
  worker workers[] = {
      {.data = running, .wanted = running_text, .meeting = &meeting},
      {.data = running, .wanted = running_text, .meeting = &meeting}, /* one data, two threads */
      {.data = candidate, .wanted = candidate_text, .meeting = &meeting}};
  for (size_t i = 0; i < COUNT(workers); ++i) {
    CHECK(pthread_create(&workers[i].thread, NULL, work, &workers[i]) == 0);
  }
  pthread_barrier_wait(&meeting);
  for (int i = 0; i < 20; ++i) CHECK(reload_through_gate() == NULL);
  for (size_t i = 0; i < COUNT(workers); ++i) CHECK(pthread_join(workers[i].thread, NULL) == 0);
  CHECK(pthread_barrier_destroy(&meeting) == 0);
}

/* Nothing of the library is called after this. */
static void stop(void) {
  CHECK(zu_tovra_stop());
  CHECK(qmalloc_count(ZU_TVR_AREA).live_blocks == 0);
}

int main(void) {
  make_directory();
  start();
  zu_data_ifc *running = own_data_new(running_records, COUNT(running_records));
  zu_data_ifc *candidate = own_data_new(candidate_records, COUNT(candidate_records));
  CHECK(running != NULL && candidate != NULL);

  render_everything_and_one_part(running);
  count_memory(running);
  render_two_configurations(running, candidate);
  cancel(running);
  render_marked_values();
  fetch_in_batches(running);
  ask_for_too_much(running);
  trace_a_render(running);
  reload_until_it_succeeds(running);
  render_on_three_threads(running, candidate);

  running->ops->free(running);
  candidate->ops->free(candidate);
  stop();
  CHECK(qmalloc_count(ZU_DO_AREA).live_blocks == 0);
  remove_directory();
  return EXIT_SUCCESS;
}
