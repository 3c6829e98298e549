/* The walk context: everything that one render carries through its walk.
 *
 * It belongs to one render and is used by one thread at a time.
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

/* The scratch node of a template node, found by the template node's slot. */
typedef struct zu_tvr_scratch_slot {
  zu_tvr_node *node;
  zu_tvr_node *scratch_node; /* borrowed from the scratch table */
} zu_tvr_scratch_slot;

/* A node that is being walked and leads on to others. */
typedef struct zu_tvr_walk_frame {
  struct zu_tvr_walk_frame *above;
  zu_tvr_node *node;
} zu_tvr_walk_frame;

struct zu_tvr_walk_ctx {
  zu_tvr_stack *node_path;          /* the path of a partial render, or none; emptied by the walk */
  zu_data_ifc *data_ifc;            /* one reference */
  zu_coll_ifc *coll_ifc;            /* made by data nodes on first use, owned; or none */
  zu_crudx_ifc *crudx_ifc;          /* made by get-one nodes on first use, owned; or none */
  const char *config_name;          /* borrowed, or none; for dumps and single reads */
  zu_do_properties *arguments;      /* one reference, or none: the request's walk arguments */
  zu_tvr_stack *props_cache;        /* records in scope; one reference each */
  zu_tvr_stack *props_groups_cache; /* groups in scope; one reference each */
  ht_table *mr_cache;               /* instance URI text to a record fetched ahead */
  ht_table *mr_cache_cursor;        /* collection URI text to a queue of records fetched ahead */
  zu_tvr_node *starting_node;       /* borrowed: the node that the render asked for */
  uint8_t render_defaults;
  uint64_t flags;       /* of collection and single requests */
  uint32_t fetch_count; /* rows a collection fetch; 0: all */
  uint8_t tag_submodes;
  uint32_t indentation;        /* depth of CLI modes */
  zu_tvr_cond_args *cond_args; /* borrowed; or none */
  void *cb_ctx;                /* first argument of both callbacks */
  ht_table *scratch_nodes; /* scratch key text (owned) to scratch node (owned); of the library: to be read */
  zu_tvr_error_fn error_cb;
  zu_tvr_output_fn output_cb;

  /* Private. */
  zu_tvr_scratch_slot *scratch_slots; /* by the nodes' slots */
  uint32_t scratch_slot_count;
  uint32_t depth;                         /* frames on the walk */
  uint32_t jumps;                         /* whose destinations are being walked */
  zu_tvr_walk_frame *frame;               /* the innermost */
  zu_tvr_node *node;                      /* that is being walked, borrowed; or none */
  const struct zu_tvr_observer *observer; /* borrowed, or none */
  uint32_t observed;                      /* its kinds; 0 without one */
  struct zu_tvr_render_memory
      *render; /* what print nodes remember and write into; owned, made on first use */
  struct zu_tvr_retrieval_memory *retrieval; /* what was fetched ahead lies in it; the same */
};

/* A new context. Takes references on the data interface and the arguments (may be none); borrows the rest,
 * of which the callbacks must be given. None (traced) on failure. */
ZU_TVR_API zu_tvr_walk_ctx *zu_tvr_walk_ctx_new(zu_data_ifc *data, const char *config_name,
                                                zu_do_properties *arguments, int32_t render_defaults,
                                                uint64_t flags, uint32_t fetch_count, uint8_t tag_submodes,
                                                zu_tvr_cond_args *cond_args, void *cb_ctx,
                                                zu_tvr_error_fn error_cb,
                                                zu_tvr_output_fn output_cb) ZU_TVR_NOEXCEPT;
/* Releases everything that walks gathered; the context is then only fit to be deleted. */
ZU_TVR_API void zu_tvr_walk_ctx_clear(zu_tvr_walk_ctx *ctx) ZU_TVR_NOEXCEPT;
ZU_TVR_API void zu_tvr_walk_ctx_delete(zu_tvr_walk_ctx *ctx) ZU_TVR_NOEXCEPT;
/* Writes a dump at `indentation` tabs. */
ZU_TVR_API void zu_tvr_walk_ctx_print(FILE *stream, int32_t indentation,
                                      zu_tvr_walk_ctx *ctx) ZU_TVR_NOEXCEPT;

ZU_TVR_END

#endif
