/* The data-object library: everything. */
#ifndef ZUAPI_ZUAPI_H
#define ZUAPI_ZUAPI_H

#include "zuapi/base.h"
#include "zuapi/name.h"
#include "zuapi/properties.h"
#include "zuapi/shortcuts.h"
#include "zuapi/strbuf.h"
#include "zuapi/table.h"
#include "zuapi/uri.h"
#include "zuapi/value.h"

#endif
