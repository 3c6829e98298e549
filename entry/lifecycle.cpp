// Initialise, reload, stop: the calls of a host before, between and after its renders.
#include "tree_holder.hpp"

#include "qmalloc/qmalloc.h"
#include "zu_tovra/entry.h"
#include "zu_tovra/internal/report.hpp"

uint16_t g_zu_tovra_trace_module_id = 0;

namespace {

constexpr uint32_t area_mask = 0x7ff00000u; // the bits of an area id that name its owner

uintptr_t trace_control; // the trace service's; only its address is ours

const char *tovra_area_name(uint32_t area) {
  return (area & area_mask) == ZU_TVR_AREA ? "zu-tovra" : "zu-tovra-unknown";
}

void no_trace_msg() {}
int always_trace() {
  return 1;
}

} // namespace

zu_tvr_trace_msg_fn zu_tvr_trace_msg = no_trace_msg;
zu_tvr_trace_test_fn zu_tvr_trace_test = always_trace;

bool zu_tovra_init() noexcept {
  return qmalloc_init(ZU_TVR_AREA, tovra_area_name) == 0;
}

int zu_tovra_trace_init() noexcept {
  return qtrace_module_init_fn("zu_tovra", &g_zu_tovra_trace_module_id, &trace_control);
}

int register_libzu_tvr_trace(zu_tvr_trace_msg_fn hook) noexcept {
  zu_tvr_trace_msg = hook;
  return zu_tovra_trace_init();
}

zu_tvr_trace_test_fn *register_libzu_tvr_trace_test(zu_tvr_trace_test_fn hook) noexcept {
  zu_tvr_trace_test = hook;
  return &zu_tvr_trace_test;
}

zu_do_error *render_tovra_reload_func() noexcept {
  using namespace tvr;
  TVR_INFO("Received a reload request, triggering tree rebuild");
  error_object error;
  if (tovra_tree_lock(&error)) {
    tovra_tree_drop();
    error = tovra_tree_build();
    (void)tovra_tree_unlock(&error);
  }
  return error.release();
}

bool zu_tovra_stop() noexcept {
  using namespace tvr;
  if (!or_error(pthread_mutex_lock(&g_tovra_tree_lock) == 0, "Failed to lock tovra tree")) return false;
  tovra_tree_drop();
  return or_error(pthread_mutex_unlock(&g_tovra_tree_lock) == 0, "Failed to unlock tovra tree") &&
         or_error(pthread_mutex_destroy(&g_tovra_tree_lock) == 0, "Failed to destroy lock on tovra tree");
}
