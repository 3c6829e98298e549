// The version of the library.
#include "zu_tovra/version.h"

#define TEXT_OF(number) #number
#define JOINED(major, minor, patch) TEXT_OF(major) "." TEXT_OF(minor) "." TEXT_OF(patch)

const char *zu_tvr_version() noexcept {
  return JOINED(ZU_TVR_VERSION_MAJOR, ZU_TVR_VERSION_MINOR, ZU_TVR_VERSION_PATCH);
}
