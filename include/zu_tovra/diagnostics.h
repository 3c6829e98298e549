/* Diagnostics: what is wrong with templates, as records instead of words in a trace.
 *
 * The functions here load as those of loader.h do, but go on past what they refuse: a record goes on without
 * the line that was refused, a load without the record or the file. Each fault is told through the callback,
 * in the order of the text, on the caller's thread. A callback that answers false ends the load there. The
 * traces are those of an ordinary load. Every function gives true when nothing was told.
 */
#ifndef ZU_TOVRA_DIAGNOSTICS_H
#define ZU_TOVRA_DIAGNOSTICS_H

#include "zu_tovra/tree.h"

ZU_TVR_BEGIN

enum {
  ZU_TVR_FAULT_DIRECTORY = 0, /* a directory that cannot be read, or none is known */
  ZU_TVR_FAULT_FILE = 1,      /* a file that cannot be read */
  ZU_TVR_FAULT_LINE = 2,      /* a line that is refused */
  ZU_TVR_FAULT_RECORD = 3,    /* a record that is refused as a whole */
  ZU_TVR_FAULT_DUPLICATE = 4, /* a record whose id another one has */
  ZU_TVR_FAULT_NO_PARENT = 5  /* a record whose parent no record is */
};

/* One fault. The texts are borrowed: the callback copies what it keeps. */
typedef struct zu_tvr_diagnostic {
  uint32_t kind;    /* ZU_TVR_FAULT_* */
  const char *file; /* or the directory; none when there is none, or memory was exhausted */
  uint32_t line;    /* from 1; 0: the file as a whole. Of a record its "Cmd:" line, or the "Op:" at fault */
  uint32_t column;  /* in bytes from 1, where the line's text begins; 0: not known */
  int32_t code;     /* as of the error object of an ordinary load: 10000, 10001, 10002 */
  const char *message; /* likewise; never none */
  const char *cause;   /* what an inner step said of it, or none */
  const char *node_id; /* of the record, or none */
  /* What it stands against, or none and 0: of a duplicate the record that has the id; of a record without
   * parent the parent's id alone. */
  const char *other_id;
  const char *other_file;
  uint32_t other_line;
} zu_tvr_diagnostic;

/* True: go on. `user` is as it was given to the load. */
typedef bool (*zu_tvr_diagnostic_fn)(void *user, const zu_tvr_diagnostic *diagnostic);

/* zu_tvr_load_directory, observed. The tree and the callback must be given. */
ZU_TVR_API bool zu_tvr_load_directory_observed(zu_tvr_tree *tree, const char *directories,
                                               zu_tvr_diagnostic_fn tell, void *user) ZU_TVR_NOEXCEPT;
/* Loads a text, up to its NUL, as that of a file (none: it has no name), without reading the file: so an
 * editor's unsaved text is looked at. */
ZU_TVR_API bool zu_tvr_load_text_observed(zu_tvr_tree *tree, const char *file, const char *text,
                                          zu_tvr_diagnostic_fn tell, void *user) ZU_TVR_NOEXCEPT;
/* The tree's resolve_links, which tells each record without its parent, in the order of loading. */
ZU_TVR_API bool zu_tvr_resolve_links_observed(zu_tvr_tree *tree, zu_tvr_diagnostic_fn tell,
                                              void *user) ZU_TVR_NOEXCEPT;
/* Loads the directories (none: the loader's own rule) into a tree of its own, resolves its links, and drops
 * it: whether a reload would take the templates. A jump to an id that no record has is taken, and not told:
 * it fails when a walk comes to it. No other tree is touched, so renders may go on. */
ZU_TVR_API bool zu_tvr_check_templates(const char *directories, zu_tvr_diagnostic_fn tell,
                                       void *user) ZU_TVR_NOEXCEPT;

/* The directories that a load without a text takes from the environment, separated by ':'; freed with
 * qfree_named. None (traced) when there are none, or with an error object in `*error`, as loads store it. */
ZU_TVR_API char *zu_tvr_template_directories(zu_do_error **error) ZU_TVR_NOEXCEPT;

ZU_TVR_END

#endif
