/* The template tree: every node of the loaded templates, by id, linked under the root "ROOT".
 *
 * A tree is built by one thread and only read afterwards, by any number of renders.
 */
#ifndef ZU_TOVRA_TREE_H
#define ZU_TOVRA_TREE_H

#include "zu_tovra/node.h"

ZU_TVR_BEGIN

/* GLib's hash table; a host needs nothing of it. */
typedef struct _GHashTable zu_tvr_hash_table;

struct zu_tvr_tree {
  zu_tvr_node *root;          /* a no-op node, entered under "ROOT" */
  zu_tvr_hash_table *nodes;   /* id (owned) to node (owned) */
  zu_tvr_hash_table *orphans; /* id of a missing parent (owned) to the nodes that wait for it; null once links
                                 are resolved */
  /* Takes a node under an id (copied) and links it under `parent_id` (null or empty: the root), now or when
   * that parent arrives. True: the tree owns the node (or dropped it as an accepted duplicate). False
   * (traced): the caller still owns it. */
  bool (*add_node)(zu_tvr_tree *tree, zu_tvr_node *node, const char *id, const char *parent_id);
  /* Ends the loading: true when every node has its parent; links the jump nodes to their destinations. */
  bool (*resolve_links)(zu_tvr_tree *tree);
  /* Walks from the root down to the node of that id (null: "config"), and all
   * below that node. The result is the walk's: true when it came to its end.
   * False, reported through the walk context, when there is no such node. */
  bool (*walk)(zu_tvr_tree *tree, const char *id, zu_tvr_walk_ctx *ctx);

  /* Private. */
  uint32_t slots;                       /* given to nodes so far: the index of their scratch data in a walk */
  struct zu_tvr_uri_programs *programs; /* owned: the compiled URI templates, or null */
};

/* A new tree that holds only its root, or null (traced). */
ZU_TVR_API zu_tvr_tree *zu_tvr_tree_new(void) ZU_TVR_NOEXCEPT;
/* Deletes the tree with every node. The tree must be given; no walk may be in it. */
ZU_TVR_API void zu_tvr_tree_delete(zu_tvr_tree *tree) ZU_TVR_NOEXCEPT;
/* Writes a dump of all linked nodes, each before its children: the root at `indentation` tabs, one tab more
 * for each level. */
ZU_TVR_API void zu_tvr_tree_print(FILE *stream, uint32_t indentation, zu_tvr_tree *tree) ZU_TVR_NOEXCEPT;

/* The key under which a walk context keeps the scratch node of a template node: the node's address as text. A
 * new text, freed with qfree_named; null (traced) when memory is exhausted. */
ZU_TVR_API char *zu_tovra_create_key_from_ptr(const void *address) ZU_TVR_NOEXCEPT;

ZU_TVR_END

#endif
