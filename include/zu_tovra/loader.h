/* Loading: template text becomes nodes of a tree.
 *
 * Each function gives false when the load failed. Then, in most cases, `*error` holds an error object, which
 * the caller releases: 10000 bad template text, 10001 a file or directory that cannot be opened or
 * positioned, 10002 exhausted memory. `error` must be given and hold null. A load ends at its first fault;
 * the records before it stay in the tree. After all loads the tree's resolve_links completes the tree.
 *
 * Threads: the work is done on the caller's thread; one load into a tree at a time.
 */
#ifndef ZU_TOVRA_LOADER_H
#define ZU_TOVRA_LOADER_H

#include "zu_tovra/tree.h"

ZU_TVR_BEGIN

/* Loads every file of a directory whose name ends in ".tvr", in the order of the names' bytes. The text may
 * be a list of directories separated by ':'; they are loaded in turn, and empty entries are skipped. When the
 * text is null, the environment names the directory: ZU_TVR_DIR, else ORLIX_INSTALL_PREFIX followed by "tvr",
 * else /tmp/sw/cfg/TARVO_BAY_LOCAL/tvr. False without an error object when no variable is set. */
ZU_TVR_API bool zu_tvr_load_directory(zu_tvr_tree *tree, const char *directory,
                                      zu_do_error **error) ZU_TVR_NOEXCEPT;
/* Loads one file; the path must be given. An empty file fails, without an error object. */
ZU_TVR_API bool zu_tvr_load_file(zu_tvr_tree *tree, const char *path_to_file,
                                 zu_do_error **error) ZU_TVR_NOEXCEPT;
/* Loads a text, up to its NUL; it must be given. */
ZU_TVR_API bool zu_tvr_load_meta_from_str(zu_tvr_tree *tree, const char *data_str,
                                          zu_do_error **error) ZU_TVR_NOEXCEPT;

ZU_TVR_END

#endif
