/* Preloaded before a library, to make one of its calls fail: the call whose number is in the environment
 * variable FAIL_NAME. The number of calls is written to the file in COUNT_NAME. The including file defines
 * NAME, and for each call how it is forwarded and how it fails. */
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
