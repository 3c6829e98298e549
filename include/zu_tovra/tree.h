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
  zu_tvr_hash_table *orphans; /* missing parent's id (owned) to who waits for it; none once links resolve */
  /* Takes a node under an id (copied) and links it under `parent_id` (none or empty: the root), now or when
   * that parent arrives. True: the tree owns the node (or dropped it as an accepted duplicate). False
   * (traced): the caller still owns it. */
  bool (*add_node)(zu_tvr_tree *tree, zu_tvr_node *node, const char *id, const char *parent_id);
  /* Ends the loading: true when every node has its parent; links the jump nodes to their destinations. */
  bool (*resolve_links)(zu_tvr_tree *tree);
  /* Walks from the root down the path to the node of that id (none: "config"). The walk's result; false,
   * reported through the walk context, when there is no such node. */
  bool (*walk)(zu_tvr_tree *tree, const char *id, zu_tvr_walk_ctx *ctx);

  /* Private. */
  uint32_t slots;                       /* nodes that were given a slot */
  struct zu_tvr_uri_programs *programs; /* owned: the compiled URI templates, or none */
};

/* A new tree that holds only its root, or none (traced). */
ZU_TVR_API zu_tvr_tree *zu_tvr_tree_new(void) ZU_TVR_NOEXCEPT;
/* Deletes the tree with every node. The tree must be given; no walk may be in it. */
ZU_TVR_API void zu_tvr_tree_delete(zu_tvr_tree *tree) ZU_TVR_NOEXCEPT;
/* Writes a dump of all linked nodes, each before its children, one tab deeper a level from the root's. */
ZU_TVR_API void zu_tvr_tree_print(FILE *stream, uint32_t indentation, zu_tvr_tree *tree) ZU_TVR_NOEXCEPT;

/* The text under which a walk keeps the scratch node of a template node: its address. Freed with
 * qfree_named; none (traced) when it cannot be formatted. */
ZU_TVR_API char *zu_tovra_create_key_from_ptr(const void *address) ZU_TVR_NOEXCEPT;

ZU_TVR_END

#endif
