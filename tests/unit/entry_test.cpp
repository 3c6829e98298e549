// The entry: what a request traces and reports when its own steps fail, reload, stop.
#include "support/session.hpp"

#include <pthread.h>

#include "entry/tree_holder.hpp"
#include "support/objects.hpp"

// The linker sends the library's calls here; an armed one fails once.
namespace {
bool lock_fails, unlock_fails, destroy_fails, error_fails;
bool once(bool &armed) {
  return std::exchange(armed, false);
}
} // namespace
#pragma GCC visibility push(default) // gtest as a shared object is sent here too
extern "C" {
int __real_pthread_mutex_lock(pthread_mutex_t *lock);
int __real_pthread_mutex_unlock(pthread_mutex_t *lock);
int __wrap_pthread_mutex_lock(pthread_mutex_t *lock) {
  return lock == &tvr::g_tovra_tree_lock && once(lock_fails) ? EINVAL : __real_pthread_mutex_lock(lock);
}
int __wrap_pthread_mutex_unlock(pthread_mutex_t *lock) {
  const int rc = __real_pthread_mutex_unlock(lock);
  return lock == &tvr::g_tovra_tree_lock && once(unlock_fails) ? EPERM : rc;
}
int __wrap_pthread_mutex_destroy(pthread_mutex_t *) { // never really: the next test uses the lock again
  return once(destroy_fails) ? EBUSY : 0;
}
zu_do_error *__real_zu_do_error_new(int32_t code, const char *message);
zu_do_error *__wrap_zu_do_error_new(int32_t code, const char *message) {
  return once(error_fails) ? nullptr : __real_zu_do_error_new(code, message);
}
}
#pragma GCC visibility pop

namespace {

using lines = std::vector<std::string>;

class entry_test : public testing::Test {
protected:
  void SetUp() override {
    templates.write("a.tvr", "Cmd: config\nCmd: top\nOp: print_if\nFmt: top\n"
                             "Cmd: line\nParent Cmd: config\nFmt: line\n");
  }
  void TearDown() override {
    EXPECT_TRUE(zu_tovra_stop());
    tvr::g_tovra_coll_fetch_count = 0;
    unsetenv("ZU_TVR_COLL_FETCH_COUNT");
  }
  lines take_errors() { return std::exchange(session.errors, {}); }
  std::string take_text() { return std::exchange(session.text, {}); }

  host::templates templates;
  host::store store{R"({"records": {}})"};
  host::session session{store.get()};
};

TEST_F(entry_test, a_lock_that_fails_is_traced_and_reported) {
  const struct {
    bool &armed;
    const char *message;
  } locks[] = {{lock_fails, "Failed to obtain lock on tovra tree"},
               {unlock_fails, "Failed to release lock on tovra tree"}};
  for (const auto &[armed, message] : locks) {
    test::trace_log log(3);
    armed = true;
    EXPECT_FALSE(session.render());
    EXPECT_EQ(take_errors(), lines{std::string("10002 ") + message});
    armed = true;
    const test::own_error error(render_tovra_reload_func());
    EXPECT_EQ(zu_do_error_get_code(error.get()), 10002);
    EXPECT_STREQ(zu_do_error_get_msg(error.get()), message);
    EXPECT_EQ(log.lines(), lines(2, std::string("3 (ERR): ") + message));
    EXPECT_EQ(tvr::g_tovra_tree, nullptr);
  }
  test::trace_log log(3);
  for (bool *armed : {&lock_fails, &unlock_fails, &destroy_fails}) {
    *armed = true;
    EXPECT_FALSE(zu_tovra_stop());
  }
  EXPECT_EQ(log.lines(), (lines{"3 (ERR): Failed to lock tovra tree", "3 (ERR): Failed to unlock tovra tree",
                                "3 (ERR): Failed to destroy lock on tovra tree"}));
}

TEST_F(entry_test, a_failure_without_memory_for_its_error_object_is_reported) {
  const lines exhausted{"10002 Failed to allocate tovra tree"};
  for (bool *armed : {&lock_fails, &unlock_fails}) {
    *armed = error_fails = true;
    EXPECT_FALSE(session.render());
    EXPECT_EQ(take_errors(), exhausted);
  }
  templates.write("a.tvr", "Cmd: a\nParent Cmd: nobody\n");
  error_fails = true;
  EXPECT_FALSE(session.render());
  EXPECT_EQ(take_errors(), exhausted);
}

TEST_F(entry_test, a_render_walks_the_tree_that_stood_when_the_lock_was_released) {
  static zu_data_ifc *data;
  static zu_tvr_tree *tree;
  data = store.get();
  const zu_config_ifc_ops operations{nullptr, [](auto *, auto *, int, zu_data_ifc **config) {
                                       tree = std::exchange(tvr::g_tovra_tree, nullptr);
                                       return (*config = data)->ops->ref(data);
                                     }};
  zu_config_ifc configs{&operations};
  zu_config_ifc *const registry = std::exchange(session.cli->config_ifc, &configs);
  EXPECT_TRUE(session.render(nullptr, "named"));
  EXPECT_EQ(take_text(), "line");
  session.cli->config_ifc = registry;
  tvr::g_tovra_tree = tree;
}

TEST_F(entry_test, the_whole_is_rendered_whatever_node_is_named_when_asked_for) {
  test::trace_log log(6);
  EXPECT_TRUE(session.render("ROOT", nullptr, 2));
  EXPECT_EQ(take_text(), "line");
  EXPECT_EQ(log.count("TOVRA render request for"), 0);
  EXPECT_TRUE(session.render("ROOT"));
  EXPECT_EQ(take_text(), "linetop");
  EXPECT_TRUE(log.has("(info): TOVRA render request for ROOT"));
  EXPECT_TRUE(log.has("(info): TOVRA render request returning: line"));
}

TEST_F(entry_test, a_secret_that_records_are_grouped_by_is_in_no_trace) {
  templates.write("a.tvr", "Cmd: config\nOp: get_collection\nUri: /?a\nOrderby: secret\nGroup:\n");
  const host::store grouped(R"({"classes": {"/a": {"secret": {"type": "PasswordString"}}},
                               "records": {"/a;n=1": {"secret": "s3cret"}}})");
  host::session other(grouped.get());
  test::trace_log log(7);
  EXPECT_TRUE(other.render());
  EXPECT_EQ(log.count("current group key secret=<removed>"), 1);
  EXPECT_EQ(log.count("s3cret"), 0);
}

TEST_F(entry_test, without_a_template_directory_the_build_is_good_and_renders_nothing) {
  unsetenv("ZU_TVR_DIR");
  EXPECT_EQ(render_tovra_reload_func(), nullptr);
  for (int i = 0; i < 2; ++i) {
    EXPECT_FALSE(session.render());
    EXPECT_EQ(take_errors(), lines{"10000 Invalid node id for walk start"});
  }
}

TEST_F(entry_test, the_fetch_count_is_read_after_every_good_build) {
  const struct {
    const char *text;
    int32_t count;
  } cases[] = {{"50", 50}, {"abc", 0}, {"7x", 7}, {"99999999999999999999", 7}, {"-1", -1}};
  for (const auto &row : cases) {
    setenv("ZU_TVR_COLL_FETCH_COUNT", row.text, 1);
    zu_do_error_deref(render_tovra_reload_func());
    EXPECT_EQ(tvr::g_tovra_coll_fetch_count, row.count) << row.text;
  }
  setenv("ZU_TVR_COLL_FETCH_COUNT", "9", 1);
  templates.write("a.tvr", "Cmd: a\nParent Cmd: nobody\n");
  zu_do_error_deref(render_tovra_reload_func());
  EXPECT_EQ(tvr::g_tovra_coll_fetch_count, -1);
}

TEST_F(entry_test, the_area_has_a_name_and_the_hooks_are_kept) {
  ASSERT_TRUE(zu_tovra_init());
  EXPECT_STREQ(qmalloc_area_name(ZU_TVR_AREA), "zu-tovra");
  zu_tvr_trace_msg(); // does nothing
  EXPECT_EQ(zu_tvr_trace_test(), 1);
  EXPECT_EQ((*register_libzu_tvr_trace_test([] { return 2; }))(), 2);
  EXPECT_EQ(zu_tvr_trace_test(), 2);
  const zu_tvr_trace_msg_fn quiet = [] {};
  EXPECT_EQ(register_libzu_tvr_trace(quiet), 0);
  EXPECT_EQ(zu_tvr_trace_msg, quiet);
  EXPECT_NE(g_zu_tovra_trace_module_id, 0);
}

} // namespace
