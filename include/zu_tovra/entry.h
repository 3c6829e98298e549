/* The library's face towards its host: initialise, render, reload, stop.
 *
 * Threads: renders may run at the same time on any threads; each has its own contexts. The host does not
 * reload or stop while a render request runs, and makes no call after stop.
 */
#ifndef ZU_TOVRA_ENTRY_H
#define ZU_TOVRA_ENTRY_H

#include "zu_tovra/trace.h"

ZU_TVR_BEGIN

/* A render request's own record. */
typedef struct external_ctx {
  zu_tovra_context *tovra_context; /* borrowed */
  zu_cli_context *cli_context;     /* borrowed */
  zu_tvr_walk_ctx *walk_ctx;       /* owned; none until it exists */
  zu_data_ifc *config_data_ifc;    /* one reference: of a named configuration, or none */
} external_ctx;

/* What a walk carries for its conditions. */
struct zu_tvr_cond_args {
  zu_cli_context *cli_context; /* borrowed */
  zu_results_array *results;   /* owned */
  zu_cli_cmd *cmd;             /* owned */
  zu_cli_user_io *user_io;     /* owned, not initialised */
};

/* Registers the allocator area; true on success. */
ZU_TVR_API bool zu_tovra_init(void) ZU_TVR_NOEXCEPT;

/* Renders the configuration, or the part under one node, as CLI text: pieces leave through the render
 * context's output_fn while it runs. The first request loads the templates.
 *  - when: not 0; 2 ignores the node id;
 *  - node_id: the node to start from, or none ("config");
 *  - config_name: a named configuration, or none for the context's default data;
 *  - run_props: the walk arguments; op_props: reserved; both must be given.
 * True when the walk came to its end: the whole text was handed out if nothing was recorded in the CLI
 * context's result interface on the way (a collection that cannot be read is, and the walk goes on). False
 * after a failure, which is recorded there, or when the output was refused. When the render context's
 * cleanup_fn is set after the call, the host calls it once with the render context to free what the request
 * holds. */
ZU_TVR_API bool render_tovra_config_func(zu_cli_context *cli_context, zu_tovra_context *tovra_context,
                                         int32_t when, const char *node_id, const char *config_name,
                                         zu_do_properties *run_props,
                                         zu_do_properties *op_props) ZU_TVR_NOEXCEPT;
/* Loads the templates anew: none on success, else an error object that the caller releases. */
ZU_TVR_API zu_do_error *render_tovra_reload_func(void) ZU_TVR_NOEXCEPT;
/* Frees the templates and the lock; true on success. */
ZU_TVR_API bool zu_tovra_stop(void) ZU_TVR_NOEXCEPT;

/* Frees a request once its output is done with; set as the render context's cleanup_fn. */
ZU_TVR_API void tovra_cleanup_hook(zu_tovra_context *cleanup_context) ZU_TVR_NOEXCEPT;

/* New condition arguments for a request, or none (traced). */
ZU_TVR_API zu_tvr_cond_args *zu_tvr_cond_args_new(external_ctx *context) ZU_TVR_NOEXCEPT;
ZU_TVR_API void zu_tvr_cond_args_delete(zu_tvr_cond_args *cond_args) ZU_TVR_NOEXCEPT;

ZU_TVR_END

#endif
