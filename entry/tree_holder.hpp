// The one template tree of the process, and the lock that guards it. Two requests may be the first at the
// same time: the lock makes one of them build the tree and the other wait. It does not guard walks.
#pragma once

#include <pthread.h>

#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/tree.h"

namespace tvr {

extern zu_tvr_tree *g_tovra_tree; // null before the first render, after stop, and after builds that drop it
extern pthread_mutex_t g_tovra_tree_lock;
extern int32_t g_tovra_coll_fetch_count; // rows per fetch of a collection, 0: all; set by successful builds

// Take and release the lock of a request that may build the tree. False after a failure, which is traced and
// stored in `*error`. When the lock cannot be released, the tree is dropped; but if `*error` already holds
// the failure of a build, both are left as they are.
bool tovra_tree_lock(error_object *error) noexcept;
bool tovra_tree_unlock(error_object *error) noexcept;

// Builds the tree from the templates: null, or the failure. The lock is held and there is no tree. A failed
// build may leave a partly loaded tree.
error_object tovra_tree_build() noexcept;

// Deletes the tree, if any. The lock is held.
void tovra_tree_drop() noexcept;

} // namespace tvr
