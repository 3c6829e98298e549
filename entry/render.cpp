// The render request: from the framework's contexts to a walk of the template tree.
#include <utility>

#include "request.hpp"
#include "tree_holder.hpp"
#include "zu_tovra/internal/report.hpp"

namespace {

using namespace tvr;

constexpr int32_t when_whole = 2; // a request for the whole configuration, even if it names a node
constexpr uint64_t request_flags = 0x1010000; // flags of all requests to the data store

void set_error(zu_cli_context *cli_context, int32_t code, const char *message) noexcept {
  zu_result_ifc *results = cli_context->result_ifc;
  results->ops->set_error(results, code, message);
}

void set_error_object(zu_cli_context *cli_context, error_object error) noexcept {
  zu_result_ifc *results = cli_context->result_ifc;
  // The failure has been traced; there was no memory for an error object.
  if (error == nullptr) return set_error(cli_context, ZU_EXHAUSTED, "Failed to allocate tovra tree");
  results->ops->set_error_object(results, error.get());
}

// The tree, built first if there is none. The lock is held only here: walks run without it, and a host does
// not reload during a render. Null after a failure (reported).
zu_tvr_tree *take_tree(zu_cli_context *cli_context) noexcept {
  error_object error;
  zu_tvr_tree *tree = nullptr;
  if (tovra_tree_lock(&error)) {
    if (g_tovra_tree == nullptr) error = tovra_tree_build();
    tree = g_tovra_tree;
    if (!tovra_tree_unlock(&error) || error != nullptr) tree = nullptr;
  }
  if (tree == nullptr) set_error_object(cli_context, std::move(error));
  return tree;
}

// Why a request cannot begin; without a message it can begin.
struct refusal {
  int32_t code = 0;
  const char *message = nullptr;
};

// Finds the data of a named configuration.
refusal find_config(external_ctx *request, const char *config_name) noexcept {
  zu_config_ifc *configs = request->cli_context->config_ifc;
  zu_data_ifc *data = nullptr;
  const int rc = configs->ops->get_config(configs, config_name, 0, &data);
  if (rc != 0 || data == nullptr) {
    TVR_ERROR("Failed to get config: %s", config_name);
    return {rc != 0 ? rc : ZU_FAILED, "Failed to get config"};
  }
  request->config_data_ifc = data;
  return {};
}

// A flag byte of the CLI context; it is also traced.
bool read_flag(uint8_t flag, const char *on, const char *off) noexcept {
  TVR_INFO("%s", flag != 0 ? on : off);
  return flag != 0;
}

// Gives the request its walk context.
refusal prepare_walk(external_ctx *request, zu_do_properties *run_props) noexcept {
  zu_cli_context *cli_context = request->cli_context;
  const bool render_defaults = read_flag(cli_context->render_defaults, "Render default commands too",
                                         "Do not render default commands");
  const bool tag_submodes =
      read_flag(cli_context->tag_submodes, "Render submode tagging", "Do not render submode tagging");
  condition_arguments cond_args(zu_tvr_cond_args_new(request));
  if (cond_args == nullptr) return {ZU_EXHAUSTED, "Failed to allocate condition arguments"};
  // A named configuration is read instead of the default data, not beside it.
  zu_data_ifc *data = request->config_data_ifc != nullptr ? request->config_data_ifc : cli_context->data_ifc;
  request->walk_ctx = zu_tvr_walk_ctx_new(data, nullptr, run_props, render_defaults, request_flags,
                                          static_cast<uint32_t>(g_tovra_coll_fetch_count), tag_submodes,
                                          cond_args.get(), request, tovra_report_error, tovra_send_output);
  if (request->walk_ctx == nullptr) return {ZU_EXHAUSTED, "Failed to allocate context object"};
  (void)cond_args.release(); // the cleanup hook frees them before the walk context
  return {};
}

} // namespace

bool render_tovra_config_func(zu_cli_context *cli_context, zu_tovra_context *tovra_context, int32_t when,
                              const char *node_id, const char *config_name, zu_do_properties *run_props,
                              zu_do_properties *op_props) noexcept {
  TVR_ASSERT(cli_context);
  TVR_ASSERT(tovra_context);
  TVR_ASSERT(when);
  TVR_ASSERT(run_props);
  TVR_ASSERT(op_props);
  const char *start_id = when == when_whole ? nullptr : node_id;
  if (start_id != nullptr) TVR_INFO("TOVRA render request for %s", start_id);
  zu_tvr_tree *tree = take_tree(cli_context);
  if (tree == nullptr) return false;

  request_handle request(make_zeroed<external_ctx>().release());
  if (request == nullptr) {
    TVR_ERROR("Failed to allocate context object");
    set_error(cli_context, ZU_EXHAUSTED, "Failed to allocate context object");
    return false;
  }
  request->tovra_context = tovra_context;
  request->cli_context = cli_context;
  refusal refused;
  if (config_name != nullptr) refused = find_config(request.get(), config_name);
  if (refused.message == nullptr) refused = prepare_walk(request.get(), run_props);
  if (refused.message != nullptr) {
    request.reset(); // releases the data interface before the framework hears of the failure
    set_error(cli_context, refused.code, refused.message);
    return false;
  }

  zu_tvr_walk_ctx *walk_ctx = request->walk_ctx;
  tovra_context->cleanup_ctx = request.release();
  tovra_context->cleanup_fn = tovra_cleanup_hook;
  return tree->walk(tree, start_id, walk_ctx);
}
