/* libzu_tovra: a device's configuration records become the CLI text that an operator reads. */
#ifndef ZU_TOVRA_ZU_TOVRA_H
#define ZU_TOVRA_ZU_TOVRA_H

#include "zu_tovra/coll.h"
#include "zu_tovra/coll_uri.h"
#include "zu_tovra/crudx.h"
#include "zu_tovra/diagnostics.h"
#include "zu_tovra/entry.h"
#include "zu_tovra/iter.h"
#include "zu_tovra/jump.h"
#include "zu_tovra/loader.h"
#include "zu_tovra/node.h"
#include "zu_tovra/observe.h"
#include "zu_tovra/print.h"
#include "zu_tovra/props_map.h"
#include "zu_tovra/record_cache.h"
#include "zu_tovra/stack.h"
#include "zu_tovra/trace.h"
#include "zu_tovra/tree.h"
#include "zu_tovra/uri.h"
#include "zu_tovra/version.h"
#include "zu_tovra/walk_ctx.h"

#endif
