/* Loaded before a library: the call of it whose number stands in FAIL_NAME fails; the calls are counted into
 * the file that COUNT_NAME names. NAME is defined by who includes this, as is what each call forwards and how
 * it fails. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>

static long calls;
static int depth; /* calls that the library makes of itself do not count */

__attribute__((destructor)) static void tell(void) {
  const char *name = getenv("COUNT_" NAME);
  FILE *file = name != NULL ? fopen(name, "w") : NULL;
  if (file == NULL) return;
  fprintf(file, "%ld", calls);
  fclose(file);
}

static int fails(void) {
  const char *wanted = getenv("FAIL_" NAME);
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
