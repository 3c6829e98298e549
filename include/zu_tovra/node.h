/* Template nodes: the steps of the rendering program that the template files describe.
 *
 * Nodes are made and linked while a tree is loaded, by one thread; from then on they are only read, by any
 * number of renders at once. So a walk must not write to them: what a node has to remember during one render
 * is in a scratch node, which belongs to the walk context.
 */
#ifndef ZU_TOVRA_NODE_H
#define ZU_TOVRA_NODE_H

#include "zu_tovra/export.h"

ZU_TVR_BEGIN

enum {
  TVR_NODE_NOOP = 0,  /* walks its children */
  TVR_NODE_JUMP = 1,  /* enters a submode: walks another node one level deeper */
  TVR_NODE_COLL = 2,  /* fetches a collection; walks its children per instance or group */
  TVR_NODE_CRUDX = 3, /* fetches one record */
  TVR_NODE_ITER = 4,  /* walks its children per record of the group on top */
  TVR_NODE_PRINT = 5  /* prints a line */
};

/* True: go on; false: stop the walk of later siblings and of the ancestors. */
typedef bool (*zu_tvr_node_walk_fn)(zu_tvr_node *node, zu_tvr_walk_ctx *ctx);

struct zu_tvr_node {
  zu_tvr_node *parent;      /* borrowed; null for the root and before it is linked */
  zu_tvr_node *first_child; /* children in the order in which they were connected */
  zu_tvr_node *next_sibling;
  uint32_t type; /* TVR_NODE_* */
  void *data;    /* the type's data record, owned; null for no-op and scratch nodes */
  void *scratch; /* the type's scratch data, owned; null for template nodes */
  zu_tvr_node_walk_fn walk;

  /* Private. */
  zu_tvr_node *last_child; /* where the next child is appended */
  zu_tvr_node *chain_end;  /* in the first of a chain of siblings: a node near the end, to append there */
  zu_tvr_node *elder;      /* a shortcut to an ancestor, left by an earlier search for the oldest one */
  uint64_t ordinal;        /* of creation, from 1: how dumps name the node */
  uint32_t slot;           /* from 1: its place in the scratch slots of a walk; 0 outside a tree */
  uint32_t line;           /* of its "Cmd:" line; 0 when no template made it */
  const char *id;          /* borrowed from the tree that owns the node; null before it has one */
  struct zu_tvr_file_name *file; /* shared by the nodes of the file; null outside one */
};

/* Constructors: a new node without links, or null (traced) with nothing left allocated. Arguments that pass
 * into the node's ownership still belong to the caller after a failure. Arguments must be given unless "or
 * null" stands beside them. Texts are copied.
 *  - jump: the id of the destination node;
 *  - coll: the URI template passes to the node; query (or null) and order-by names (or null) are shared; of
 * the location scheme (or null) it only counts whether it is given, not its text;
 *  - crudx: the URI template passes to the node;
 *  - iter: the location scheme must be given; its text is not used;
 *  - print: the properties map (or null) passes to the node; the condition's text may be null; eval
 * properties (or null) are shared. */
ZU_TVR_API zu_tvr_node *zu_tvr_node_new_noop(void) ZU_TVR_NOEXCEPT;
ZU_TVR_API zu_tvr_node *zu_tvr_node_new_jump(const char *dest_id) ZU_TVR_NOEXCEPT;
ZU_TVR_API zu_tvr_node *zu_tvr_node_new_coll(zu_tvr_uri *coll_uri, zu_do_nvlist *query, zu_do_nlist *orderby,
                                             const char *location_scheme, uint8_t group) ZU_TVR_NOEXCEPT;
ZU_TVR_API zu_tvr_node *zu_tvr_node_new_crudx(zu_tvr_uri *uri) ZU_TVR_NOEXCEPT;
ZU_TVR_API zu_tvr_node *zu_tvr_node_new_iter(const char *location_scheme) ZU_TVR_NOEXCEPT;
ZU_TVR_API zu_tvr_node *zu_tvr_node_new_print(const char *format, zu_tvr_props_map *props_map,
                                              uint8_t newline, const char *cond,
                                              zu_do_properties *eval_props) ZU_TVR_NOEXCEPT;

/* Frees the node with its data and scratch data, never its children or siblings. The node must be given. */
ZU_TVR_API void zu_tvr_node_delete(zu_tvr_node *node) ZU_TVR_NOEXCEPT;

/* Appends `child`, and the chain of siblings that it heads, to the children of `parent`. A child that has a
 * parent is refused with a trace; nothing changes. */
ZU_TVR_API void zu_tvr_node_connect_parent(zu_tvr_node *parent, zu_tvr_node *child) ZU_TVR_NOEXCEPT;
/* Appends `new_node` to the chain of siblings that `oldest_node` heads; sets no parent. */
ZU_TVR_API void zu_tvr_node_connect_siblings(zu_tvr_node *oldest_node, zu_tvr_node *new_node) ZU_TVR_NOEXCEPT;

/* Where a node comes from. The node must be given; the texts live as long as the node and its tree.
 *  - id: null before a tree owns the node, and for a scratch node;
 *  - file: the path that was loaded; null for a text in memory, for the root and for a node of the host;
 *  - line: of the record's "Cmd:" line, from 1; 0 for the root and for a node of the host. */
ZU_TVR_API const char *zu_tvr_node_id(const zu_tvr_node *node) ZU_TVR_NOEXCEPT;
ZU_TVR_API const char *zu_tvr_node_file(const zu_tvr_node *node) ZU_TVR_NOEXCEPT;
ZU_TVR_API uint32_t zu_tvr_node_line(const zu_tvr_node *node) ZU_TVR_NOEXCEPT;

/* Writes a dump of the node, without its children, at `indentation` tabs. */
ZU_TVR_API void zu_tvr_node_print(FILE *stream, uint32_t indentation, zu_tvr_node *node) ZU_TVR_NOEXCEPT;

ZU_TVR_END

#endif
