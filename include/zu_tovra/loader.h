/* Loading: template text becomes nodes of a tree.
 *
 * Each function gives false when the load failed and then, in most cases, an error object in `*error`
 * (which must be given and hold none; the caller releases the object): 10000 bad template text, 10001 a file
 * or directory that cannot be opened or positioned, 10002 exhausted memory. Records completed before the
 * failure stay in the tree. The caller's thread; one load into a tree at a time.
 */
#ifndef ZU_TOVRA_LOADER_H
#define ZU_TOVRA_LOADER_H

#include "zu_tovra/tree.h"

ZU_TVR_BEGIN

/* Loads every file whose name ends in ".tvr" of a directory, by name; of each directory in turn when the
 * text is a list separated by ':' (empty entries are skipped). Without a text the directory is found from
 * the environment: ZU_TVR_DIR, else ORLIX_INSTALL_PREFIX followed by "tvr", else
 * /tmp/sw/cfg/TARVO_BAY_LOCAL/tvr; false without an error object when none is set. */
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
