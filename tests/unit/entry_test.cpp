// The entry: what a request traces and reports when its own steps fail, reload, stop, condition arguments.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <pthread.h>

#include "entry/request.hpp"
#include "entry/tree_holder.hpp"
#include "qmalloc/qmalloc.h"
#include "qtrace/qtrace.h"
#include "store/store.h"
#include "support.h"
#include "zu_tovra/record_cache.h"

// The linker sends the library's calls here; an armed one fails once.
namespace {
bool lock_fails, unlock_fails, destroy_fails;
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
}
#pragma GCC visibility pop

namespace {

constexpr char empty[] = R"({"records": {}})";

class entry_test : public testing::Test {
protected:
  void SetUp() override {
    char name[] = "/tmp/tovra-entry-XXXXXX";
    folder_ = mkdtemp(name);
    setenv("ZU_TVR_DIR", folder_.c_str(), 1);
    write("Cmd: config\nCmd: top\nOp: print_if\nFmt: top\nCmd: line\nParent Cmd: config\nFmt: line\n");
    data_ = zu_store_load_text("data", empty, sizeof empty - 1, nullptr);
    cli_ = zu_cli_context_new(data_, take_error, this);
    arguments_ = zu_do_properties_new();
    request_.self = this;
  }
  void TearDown() override {
    zu_do_properties_deref(arguments_);
    zu_cli_context_free(cli_);
    data_->ops->free(data_);
    EXPECT_TRUE(zu_tovra_stop());
    tvr::g_tovra_coll_fetch_count = 0;
    unsetenv("ZU_TVR_COLL_FETCH_COUNT");
    std::filesystem::remove_all(folder_);
  }

  void write(const std::string &text) const { std::ofstream(folder_ / "a.tvr") << text; }
  bool render(const char *node = nullptr, int32_t when = 1, const char *config = nullptr) {
    request_.context = {};
    request_.context.output_fn = [](zu_tovra_context *context, zu_cli_context *, const char *text) {
      reinterpret_cast<request *>(context)->self->text_ += text;
      return true;
    };
    const bool rendered =
        render_tovra_config_func(cli_, &request_.context, when, node, config, arguments_, arguments_);
    if (request_.context.cleanup_fn != nullptr) request_.context.cleanup_fn(&request_.context);
    return rendered;
  }
  std::vector<std::string> take_errors() { return std::exchange(errors_, {}); }
  std::string take_text() { return std::exchange(text_, {}); }

  zu_cli_context *cli_ = nullptr;

private:
  struct request {
    zu_tovra_context context = {};
    entry_test *self = nullptr;
  } request_;
  static void take_error(void *self, int32_t code, const char *message) {
    static_cast<entry_test *>(self)->errors_.push_back(std::to_string(code) + " " + message);
  }

  std::filesystem::path folder_;
  zu_data_ifc *data_ = nullptr;
  zu_do_properties *arguments_ = nullptr;
  std::vector<std::string> errors_;
  std::string text_;
};

using lines = std::vector<std::string>;

TEST_F(entry_test, a_lock_that_fails_is_traced_and_reported) {
  test::trace_log log(3);
  lock_fails = true;
  EXPECT_FALSE(render());
  EXPECT_EQ(take_errors(), lines{"10002 Failed to obtain lock on tovra tree"});
  EXPECT_TRUE(log.has("(ERR): Failed to obtain lock on tovra tree"));
  unlock_fails = true;
  EXPECT_FALSE(render());
  EXPECT_EQ(take_errors(), lines{"10002 Failed to release lock on tovra tree"});
  EXPECT_EQ(tvr::g_tovra_tree, nullptr);

  lock_fails = true;
  zu_do_error *error = render_tovra_reload_func();
  EXPECT_STREQ(zu_do_error_get_msg(error), "Failed to obtain lock on tovra tree");
  zu_do_error_deref(error);
  unlock_fails = true;
  error = render_tovra_reload_func();
  EXPECT_STREQ(zu_do_error_get_msg(error), "Failed to release lock on tovra tree");
  EXPECT_EQ(zu_do_error_get_code(error), 10002);
  EXPECT_EQ(tvr::g_tovra_tree, nullptr);
  zu_do_error_deref(error);

  log.clear();
  for (bool *armed : {&lock_fails, &unlock_fails, &destroy_fails}) {
    *armed = true;
    EXPECT_FALSE(zu_tovra_stop());
  }
  EXPECT_EQ(log.lines(), (lines{"3 (ERR): Failed to lock tovra tree", "3 (ERR): Failed to unlock tovra tree",
                                "3 (ERR): Failed to destroy lock on tovra tree"}));
}

TEST_F(entry_test, the_whole_is_rendered_whatever_node_is_named_when_asked_for) {
  test::trace_log log(6);
  EXPECT_TRUE(render("ROOT", 2));
  EXPECT_EQ(take_text(), "line");
  EXPECT_EQ(log.count("TOVRA render request for"), 0);
  EXPECT_TRUE(render("ROOT", 1));
  EXPECT_EQ(take_text(), "linetop");
  EXPECT_TRUE(log.has("(info): TOVRA render request for ROOT"));
  EXPECT_TRUE(log.has("(info): Do not render default commands"));
  EXPECT_TRUE(log.has("(info): Do not render submode tagging"));
  EXPECT_TRUE(log.has("(info): TOVRA render request returning: line"));
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
  write("Cmd: a\nParent Cmd: nobody\n");
  zu_do_error_deref(render_tovra_reload_func());
  EXPECT_EQ(tvr::g_tovra_coll_fetch_count, -1);
}

TEST_F(entry_test, every_allocation_of_a_request_may_fail) {
  ASSERT_TRUE(render());
  take_text();
  const test::balanced_memory balanced;
  uint64_t fired = 0;
  for (uint64_t n = 1; n == 1 || fired > 0; ++n) {
    test::trace_log log(3);
    qmalloc_fail_nth(n, false);
    const bool rendered = render();
    fired = qmalloc_fail_fired();
    qmalloc_fail_nth(0, false);
    const auto errors = take_errors();
    const std::string text = take_text();
    if (rendered) {
      EXPECT_EQ(text, "line") << n;
    } else {
      EXPECT_FALSE(errors.empty() && log.lines().empty()) << n; // a path that cannot be built is only traced
    }
    ASSERT_LT(n, 10'000u);
  }
}

TEST_F(entry_test, every_allocation_of_a_reload_may_fail) {
  uint64_t fired = 0;
  for (uint64_t n = 1; n == 1 || fired > 0; ++n) {
    qmalloc_fail_nth(n, false);
    zu_do_error *error = render_tovra_reload_func();
    fired = qmalloc_fail_fired();
    qmalloc_fail_nth(0, false);
    zu_do_error_deref(error);
    zu_do_error_deref(render_tovra_reload_func());
    EXPECT_TRUE(render()) << n;
    EXPECT_EQ(take_text(), "line") << n;
    ASSERT_LT(n, 10'000u);
  }
}

TEST_F(entry_test, a_queue_of_records_is_freed_with_what_it_holds) {
  const test::balanced_memory balanced;
  cleanup_props_list(nullptr);
  for (int count : {0, 3}) {
    auto list = tvr::make_zeroed<queue>();
    queue_init(list.get(), 0);
    for (int i = 0; i < count; ++i) {
      auto item = tvr::make_zeroed<props_item>();
      item->props = zu_do_properties_new();
      ASSERT_EQ(queue_enqueue(list.get(), item.get()), 0);
      (void)item.release();
    }
    cleanup_props_list(list.release());
  }
}

TEST_F(entry_test, the_area_has_a_name_and_the_hooks_are_kept) {
  ASSERT_TRUE(zu_tovra_init());
  EXPECT_STREQ(qmalloc_area_name(ZU_TVR_AREA), "zu-tovra");
  EXPECT_EQ(zu_tvr_trace_test(), 1);
  const zu_tvr_trace_test_fn hook = [] { return 2; };
  zu_tvr_trace_test_fn *kept = register_libzu_tvr_trace_test(hook);
  EXPECT_EQ(kept, &zu_tvr_trace_test);
  EXPECT_EQ((*kept)(), 2);
  zu_tvr_trace_msg();
  const zu_tvr_trace_msg_fn quiet = [] {};
  EXPECT_EQ(register_libzu_tvr_trace(quiet), 0);
  EXPECT_EQ(zu_tvr_trace_msg, quiet);
  EXPECT_NE(g_zu_tovra_trace_module_id, 0);
}

} // namespace
