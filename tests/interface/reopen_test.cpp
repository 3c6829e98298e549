// Stop and a new load of the library, in turn: each time the first requests meet where there is no tree yet.
#include <dlfcn.h>

#include <latch>
#include <thread>

#include "host.hpp"

// The library that is open.
static void *library = nullptr;
template <class Function>
static Function *find(const char *name) {
  return reinterpret_cast<Function *>(dlsym(library, name));
}

// The renderers' calls go there.
bool render_tovra_config_func(zu_cli_context *cli, zu_tovra_context *context, int32_t when, const char *node,
                              const char *config, zu_do_properties *run, zu_do_properties *op) noexcept {
  return find<decltype(render_tovra_config_func)>("render_tovra_config_func")(cli, context, when, node,
                                                                              config, run, op);
}
const zu_tvr_observer *zu_tvr_observe(const zu_tvr_observer *observer) noexcept {
  return find<decltype(zu_tvr_observe)>("zu_tvr_observe")(observer);
}
const char *zu_tvr_node_id(const zu_tvr_node *node) noexcept {
  return find<decltype(zu_tvr_node_id)>("zu_tvr_node_id")(node);
}
const char *zu_tvr_node_file(const zu_tvr_node *node) noexcept {
  return find<decltype(zu_tvr_node_file)>("zu_tvr_node_file")(node);
}
uint32_t zu_tvr_node_line(const zu_tvr_node *node) noexcept {
  return find<decltype(zu_tvr_node_line)>("zu_tvr_node_line")(node);
}

namespace {

TEST(reopen, a_library_that_is_loaded_again_starts_anew) {
  const host::templates templates;
  templates.write("a.tvr", "Cmd: config\nCmd: hello\nParent Cmd: config\nOp: print_if\nFmt: hello\n");
  const host::store store(R"({"records": {}})");
  const int64_t before = host::live_blocks();
  for (int cycle = 0; cycle < 20; ++cycle) {
    ASSERT_EQ(dlopen(LIBRARY, RTLD_NOW | RTLD_NOLOAD), nullptr); // it is really gone
    library = dlopen(LIBRARY, RTLD_NOW);
    ASSERT_NE(library, nullptr) << dlerror();
    ASSERT_TRUE(find<bool()>("zu_tovra_init")());
    std::latch met(8);
    const auto render = [&] {
      zu_tovra::renderer renderer(store.get());
      met.arrive_and_wait();
      const zu_tovra::result made = renderer.render();
      EXPECT_TRUE(made.whole);
      EXPECT_EQ(made.text, "hello\n");
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) threads.emplace_back(render);
    for (std::thread &each : threads) each.join();
    EXPECT_TRUE(find<bool()>("zu_tovra_stop")());
    EXPECT_EQ(host::live_blocks(), before);
    ASSERT_EQ(dlclose(library), 0);
  }
}

} // namespace
