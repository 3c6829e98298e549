/* The trace service: levels 3 (errors), 4 (warnings), 6 (information) and 7 (debugging).
 *
 * Threads: the level may be read from any thread; level and sink are set while nobody traces.
 */
#ifndef QTRACE_QTRACE_H
#define QTRACE_QTRACE_H

#include <stdarg.h>
#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Registers a module: stores its new id in `*id` (from 1). The control word is the caller's
 * own. 0 on success, non-zero when an argument is null or memory or ids are exhausted. The
 * same name gives the same id. */
int qtrace_module_init_fn(const char *name, uint16_t *id, uintptr_t *control);

/* Takes one formatted message without a line end; bytes are as formatted, control bytes included. */
typedef void (*qtrace_sink_fn)(void *context, int level, const char *message);

/* 0 (the default) traces nothing; L traces every message of a level up to L. */
void qtrace_set_level(int level);
/* Replaces the sink; null restores the default, which writes `zu_tovra[L] ` and the message as one line to
 * standard error, control bytes shown as \xHH. */
void qtrace_set_sink(qtrace_sink_fn sink, void *context);

/* The current level; read it through qtrace_module_test. */
extern int qtrace_current_level;

static inline bool qtrace_module_test(uint16_t module, int level) {
  (void)module;
  return __builtin_expect(level <= __atomic_load_n(&qtrace_current_level, __ATOMIC_RELAXED), 0);
}

/* Formats the message and passes it to the sink; called through qtrace_wrapper. When memory is exhausted the
 * message is cut, but not lost. */
void qtrace_emit(uint16_t module, int level, int reserved, const char *format, ...)
    __attribute__((format(printf, 4, 5), cold));

/* Nothing is evaluated or formatted while the level is off. */
#define qtrace_wrapper(module, level, reserved, ...)           \
  do {                                                         \
    if (qtrace_module_test((module), (level))) {               \
      qtrace_emit((module), (level), (reserved), __VA_ARGS__); \
    }                                                          \
  } while (0)

#ifdef __cplusplus
}
#endif

#endif
