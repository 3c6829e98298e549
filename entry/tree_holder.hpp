// The one template tree of the process, and the lock that guards it.
#pragma once

#include <pthread.h>

#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/tree.h"

namespace tvr {

extern zu_tvr_tree *g_tovra_tree; // none until the first render, after a failed build, and after stop
extern pthread_mutex_t g_tovra_tree_lock;
extern int32_t g_tovra_coll_fetch_count; // rows a collection fetch, 0: all; read after every successful build

// The lock of a request that may build the tree; false after a failure, which is traced. `*error` says it,
// unless it holds a failed build already: then a lock that cannot be released leaves the tree alone, else
// it drops the tree.
bool tovra_tree_lock(error_object *error) noexcept;
bool tovra_tree_unlock(error_object *error) noexcept;

// Builds the tree from the templates: none, or what failed. The lock is held and there is no tree. A failed
// build may leave a partly loaded tree.
error_object tovra_tree_build() noexcept;

// Deletes the tree, if any. The lock is held.
void tovra_tree_drop() noexcept;

} // namespace tvr
