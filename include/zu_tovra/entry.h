/* The library's entry points for a host: initialise, render, reload, stop.
 *
 * Threads: renders may run at the same time on any threads, each with contexts of its own. They share the
 * template tree and read it without a lock. So the host must not reload or stop between the start of a render
 * and its clean-up, and it makes no call after stop.
 */
#ifndef ZU_TOVRA_ENTRY_H
#define ZU_TOVRA_ENTRY_H

#include "zu_tovra/trace.h"

ZU_TVR_BEGIN

/* What belongs to one render request, from its start to its clean-up. */
typedef struct external_ctx {
  zu_tovra_context *tovra_context; /* borrowed */
  zu_cli_context *cli_context;     /* borrowed */
  zu_tvr_walk_ctx *walk_ctx;       /* owned; null until it exists */
  zu_data_ifc *config_data_ifc;    /* one reference: of a named configuration, or null */
} external_ctx;

/* The arguments that the framework asks for with every condition. */
struct zu_tvr_cond_args {
  zu_cli_context *cli_context; /* borrowed */
  zu_results_array *results;   /* owned */
  zu_cli_cmd *cmd;             /* owned */
  zu_cli_user_io *user_io;     /* owned, not initialised */
};

/* Registers the area to which the library's memory is charged;
 * true on success. Called once, before any other call. */
ZU_TVR_API bool zu_tovra_init(void) ZU_TVR_NOEXCEPT;

/* Renders the configuration, or the part under one node, as CLI text: pieces leave through the render
 * context's output_fn while it runs. The first request loads the templates.
 *  - when: not 0; 2 ignores the node id, any other value uses it;
 *  - node_id: the node to start from, or null ("config");
 *  - config_name: a named configuration, or null for the context's default data;
 *  - run_props: the walk arguments; op_props: reserved; both must be given.
 * True when the walk came to its end. The text is whole only if, in addition, nothing was recorded in the CLI
 * context's result interface: a collection that cannot be read is recorded there, and the walk goes on. False
 * after a failure, which is recorded there, or when the output was refused. When the render context's
 * cleanup_fn is set after the call, also after a failure, the host calls it once with the render context.
 * That frees what the request holds. */
ZU_TVR_API bool render_tovra_config_func(zu_cli_context *cli_context, zu_tovra_context *tovra_context,
                                         int32_t when, const char *node_id, const char *config_name,
                                         zu_do_properties *run_props,
                                         zu_do_properties *op_props) ZU_TVR_NOEXCEPT;
/* Deletes the templates and loads them anew: null on success, else an error object that the caller releases.
 * After a failure a part of the new templates may be in use, without an error at the next render: so a host
 * checks them first (zu_tvr_check_templates), and renders nothing after a failure until a reload succeeds. */
ZU_TVR_API zu_do_error *render_tovra_reload_func(void) ZU_TVR_NOEXCEPT;
/* Frees the templates and the lock; true on success. */
ZU_TVR_API bool zu_tovra_stop(void) ZU_TVR_NOEXCEPT;

/* Frees a request when its output is no longer needed; the render sets it as the render context's cleanup_fn.
 * A second call does nothing. */
ZU_TVR_API void tovra_cleanup_hook(zu_tovra_context *cleanup_context) ZU_TVR_NOEXCEPT;

/* New condition arguments for a request, which must be given with its CLI context; or null (traced). */
ZU_TVR_API zu_tvr_cond_args *zu_tvr_cond_args_new(external_ctx *context) ZU_TVR_NOEXCEPT;
ZU_TVR_API void zu_tvr_cond_args_delete(zu_tvr_cond_args *cond_args) ZU_TVR_NOEXCEPT;

ZU_TVR_END

#endif
