/* The version of the library: of these headers (macros), and of the library that is linked (function). The
 * build reads it from here. */
#ifndef ZU_TOVRA_VERSION_H
#define ZU_TOVRA_VERSION_H

#include "zu_tovra/export.h"

#define ZU_TVR_VERSION_MAJOR 0
#define ZU_TVR_VERSION_MINOR 1
#define ZU_TVR_VERSION_PATCH 0

/* One number to compare with: #if ZU_TVR_VERSION >= ZU_TVR_VERSION_OF(0, 2, 0) */
#define ZU_TVR_VERSION_OF(major, minor, patch) ((major)*1000000 + (minor)*1000 + (patch))
#define ZU_TVR_VERSION ZU_TVR_VERSION_OF(ZU_TVR_VERSION_MAJOR, ZU_TVR_VERSION_MINOR, ZU_TVR_VERSION_PATCH)

ZU_TVR_BEGIN

/* "MAJOR.MINOR.PATCH" of the library that is linked; static. Any thread, at any time. */
ZU_TVR_API const char *zu_tvr_version(void) ZU_TVR_NOEXCEPT;

ZU_TVR_END

#endif
