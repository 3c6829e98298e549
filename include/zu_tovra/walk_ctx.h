/* The walk context: all state of one render. The template tree stays untouched, so that any number of renders
 * can walk it at the same time.
 *
 * A context belongs to one render and is used by one thread at a time.
 */
#ifndef ZU_TOVRA_WALK_CTX_H
#define ZU_TOVRA_WALK_CTX_H

#include "infra/infra.h"
#include "zu_tovra/node.h"
#include "zu_tovra/stack.h"

ZU_TVR_BEGIN

/* Reports a failure: 10000 a failed operation, 10002 an exhausted resource, or a code that the framework
 * gave. The message is borrowed for the call. The result is the framework's. */
typedef int (*zu_tvr_error_fn)(void *cb_ctx, int32_t code, const char *message);
/* Hands out a piece of output text, borrowed for the call; false ends the walk. */
typedef bool (*zu_tvr_output_fn)(void *cb_ctx, const char *text);

/* The scratch node of a template node, at the index that is the template node's slot: a print node is walked
 * for every line, and the scratch table would cost it a text and a hash look-up each time. */
typedef struct zu_tvr_scratch_slot {
  zu_tvr_node *node;
  zu_tvr_node *scratch_node; /* borrowed from the scratch table */
} zu_tvr_scratch_slot;

/* A node that is being walked and has nodes below it. A jump into such a node is refused: the node would
 * overwrite its scratch data, and might never end. */
typedef struct zu_tvr_walk_frame {
  struct zu_tvr_walk_frame *above;
  zu_tvr_node *node;
} zu_tvr_walk_frame;

struct zu_tvr_walk_ctx {
  zu_tvr_stack *node_path;          /* the path of a partial render, or null; emptied by the walk */
  zu_data_ifc *data_ifc;            /* one reference */
  zu_coll_ifc *coll_ifc;            /* made by data nodes on first use, owned; or null */
  zu_crudx_ifc *crudx_ifc;          /* made by get-one nodes on first use, owned; or null */
  const char *config_name;          /* borrowed, or null; used in dumps and in the reads of get-one nodes */
  zu_do_properties *arguments;      /* one reference, or null: the request's walk arguments */
  zu_tvr_stack *props_cache;        /* records in scope; one reference each */
  zu_tvr_stack *props_groups_cache; /* groups in scope; one reference each */
  ht_table *mr_cache;          /* URI text of an instance to its record, fetched early; null before one */
  ht_table *mr_cache_cursor;   /* URI text of a collection to a cursor_cache_entry; null before one */
  zu_tvr_node *starting_node;  /* borrowed: the node that the render asked for */
  uint8_t render_defaults;     /* 1: lines whose values are all defaults are written too */
  uint64_t flags;              /* of collection and single requests */
  uint32_t fetch_count;        /* rows per fetch of a collection; 0: all */
  uint8_t tag_submodes;        /* 1: a tag line where a submode begins and ends */
  uint32_t indentation;        /* depth of CLI modes */
  zu_tvr_cond_args *cond_args; /* borrowed, or null: then every condition fails */
  void *cb_ctx;                /* first argument of both callbacks */
  ht_table *scratch_nodes;     /* scratch key text (owned) to scratch node (owned); a host may only read it */
  zu_tvr_error_fn error_cb;
  zu_tvr_output_fn output_cb;

  /* Private. */
  zu_tvr_scratch_slot *scratch_slots; /* by the nodes' slots */
  uint32_t scratch_slot_count;
  uint32_t depth;                         /* frames on the walk */
  uint32_t jumps;                         /* jumps whose destinations are being walked */
  zu_tvr_walk_frame *frame;               /* the innermost */
  zu_tvr_node *node;                      /* that is being walked, borrowed; or null */
  const struct zu_tvr_observer *observer; /* borrowed, or null */
  uint32_t observed;                      /* the observer's kinds; 0 without an observer */
  struct zu_tvr_render_memory
      *render; /* the records that templates named last, and the line buffer; owned, made on first use */
  struct zu_tvr_retrieval_memory *retrieval; /* of the records fetched early; owned, made on first use */
};

/* A new context. Takes references on the data interface (must be given) and the arguments (may be null);
 * borrows the rest, of which the callbacks must be given. Render defaults: 0 or 1; flags, fetch count and
 * tags as the fields of the same names. It takes the calling thread's observer, if there is one. Null
 * (traced) on failure. */
ZU_TVR_API zu_tvr_walk_ctx *zu_tvr_walk_ctx_new(zu_data_ifc *data, const char *config_name,
                                                zu_do_properties *arguments, int32_t render_defaults,
                                                uint64_t flags, uint32_t fetch_count, uint8_t tag_submodes,
                                                zu_tvr_cond_args *cond_args, void *cb_ctx,
                                                zu_tvr_error_fn error_cb,
                                                zu_tvr_output_fn output_cb) ZU_TVR_NOEXCEPT;
/* Releases everything that walks gathered. After it the context can only be deleted. */
ZU_TVR_API void zu_tvr_walk_ctx_clear(zu_tvr_walk_ctx *ctx) ZU_TVR_NOEXCEPT;
/* Clears the context, releases the data interface and frees the context, but not the condition arguments. */
ZU_TVR_API void zu_tvr_walk_ctx_delete(zu_tvr_walk_ctx *ctx) ZU_TVR_NOEXCEPT;
/* Writes a dump at `indentation` tabs. */
ZU_TVR_API void zu_tvr_walk_ctx_print(FILE *stream, int32_t indentation,
                                      zu_tvr_walk_ctx *ctx) ZU_TVR_NOEXCEPT;

ZU_TVR_END

#endif
