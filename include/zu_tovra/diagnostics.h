/* Diagnostics: all faults of templates in one load, each as a record with its place.
 *
 * An ordinary load (loader.h) stops at its first fault, and gives a message without file and
 * line. Editors and checks need all faults with their places. The functions here load in the
 * same way but continue: after a refused line with the rest of the record, after a refused
 * record or file with the next one. Each fault is reported through the callback, in the order
 * of the text, on the caller's thread. A callback that returns false ends the load. The
 * traces are those of an ordinary load. Every function gives true when it reported nothing.
 */
#ifndef ZU_TOVRA_DIAGNOSTICS_H
#define ZU_TOVRA_DIAGNOSTICS_H

#include "zu_tovra/tree.h"

ZU_TVR_BEGIN

enum {
  ZU_TVR_FAULT_DIRECTORY = 0, /* a directory cannot be read, or no directory is known */
  ZU_TVR_FAULT_FILE = 1,      /* a file that cannot be read */
  ZU_TVR_FAULT_LINE = 2,      /* a line that is refused */
  ZU_TVR_FAULT_RECORD = 3,    /* a record that is refused as a whole */
  ZU_TVR_FAULT_DUPLICATE = 4, /* a record with the id of another record */
  ZU_TVR_FAULT_NO_PARENT = 5  /* a record whose parent does not exist */
};

/* One fault. The texts are borrowed: the callback copies what it keeps. */
typedef struct zu_tvr_diagnostic {
  uint32_t kind;    /* ZU_TVR_FAULT_* */
  const char *file; /* or the directory; null when there is none, or memory was exhausted */
  uint32_t line;   /* from 1; 0: the file as a whole. For a record its "Cmd:" line, or its wrong "Op:" line */
  uint32_t column; /* in bytes from 1, where the line's text begins; 0: not known */
  int32_t code;    /* 10000, 10001 or 10002, as in the error object of an ordinary load */
  const char *message; /* as in that error object; never null */
  const char *cause;   /* the message of an inner step, which says why; or null */
  const char *node_id; /* of the record, or null */
  /* The other record of the conflict, else null and 0: for a duplicate the record that has the id already;
   * for a record without parent only the parent's id. */
  const char *other_id;
  const char *other_file;
  uint32_t other_line;
} zu_tvr_diagnostic;

/* Returns true to continue. `user` is the pointer that was given to the load. */
typedef bool (*zu_tvr_diagnostic_fn)(void *user, const zu_tvr_diagnostic *diagnostic);

/* Loads directories as zu_tvr_load_directory does. The tree and the callback must be given; `directories` may
 * be null (the loader's own rule). */
ZU_TVR_API bool zu_tvr_load_directory_observed(zu_tvr_tree *tree, const char *directories,
                                               zu_tvr_diagnostic_fn tell, void *user) ZU_TVR_NOEXCEPT;
/* Loads a text, up to its NUL, as if it were the content of `file` (null: it has no name). The file is not
 * read, so that an editor can check a text that is not saved. */
ZU_TVR_API bool zu_tvr_load_text_observed(zu_tvr_tree *tree, const char *file, const char *text,
                                          zu_tvr_diagnostic_fn tell, void *user) ZU_TVR_NOEXCEPT;
/* Calls the tree's resolve_links, and reports each record without its parent, in the order of loading. */
ZU_TVR_API bool zu_tvr_resolve_links_observed(zu_tvr_tree *tree, zu_tvr_diagnostic_fn tell,
                                              void *user) ZU_TVR_NOEXCEPT;
/* Checks whether a reload would accept the templates: loads the directories (null: the loader's own rule)
 * into a tree of its own, resolves its links, and deletes it. A jump to an id that does not exist is not
 * reported, because a load accepts it: it fails when a walk comes to it. No other tree is touched, so renders
 * may continue meanwhile. */
ZU_TVR_API bool zu_tvr_check_templates(const char *directories, zu_tvr_diagnostic_fn tell,
                                       void *user) ZU_TVR_NOEXCEPT;

/* The directories that a load without a text takes from the environment, separated by ':'; freed with
 * qfree_named. Null (traced) when no variable names one, or on failure, then with an error object in `*error`
 * (which must be given and hold null). */
ZU_TVR_API char *zu_tvr_template_directories(zu_do_error **error) ZU_TVR_NOEXCEPT;

ZU_TVR_END

#endif
