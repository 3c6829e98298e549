// The fatal assertion.
#include "infra/infra.h"

#include <cstdio>
#include <cstdlib>

void zu_assert_fail(const char *name) {
  fprintf(stderr, "zu_tovra: missing mandatory argument: %s\n", name != nullptr ? name : "(null)");
  abort();
}
