// The library as a host calls it: reloads that fail and that do not, missing arguments.
#include "host.hpp"

namespace {

class host_test : public testing::Test {
protected:
  void SetUp() override {
    ASSERT_TRUE(zu_tovra_init());
    ASSERT_EQ(zu_tovra_trace_init(), 0);
    templates.write("a.tvr", "Cmd: config\nCmd: hello\nParent Cmd: config\nOp: print_if\nFmt: hello\n");
  }
  static std::string reload() {
    zu_do_error *error = render_tovra_reload_func();
    const std::string message = error != nullptr ? zu_do_error_get_msg(error) : "";
    zu_do_error_deref(error);
    return message;
  }

  host::templates templates;
  host::store store{R"({"records": {}})"};
  host::session session{store.get()};
};

TEST_F(host_test, a_failed_reload_is_told_and_the_next_good_one_renders_again) {
  templates.write("b.tvr", "Cmd: lost\nParent Cmd: nobody\n");
  EXPECT_EQ(reload(), "Unresolved links in tovra tree");
  EXPECT_FALSE(session.render()); // builds again, and fails again
  EXPECT_EQ(session.errors, std::vector<std::string>{"10000 Unresolved links in tovra tree"});
  templates.write("b.tvr", "Cmd: x\nOp: wrong\n");
  EXPECT_EQ(reload(), "Invalid Op in node: wrong");
  templates.remove("b.tvr");
  EXPECT_EQ(reload(), "");
  const int64_t once = host::live_blocks();
  EXPECT_EQ(reload(), "");
  EXPECT_EQ(host::live_blocks(), once);
  EXPECT_TRUE(session.render());
  EXPECT_EQ(session.text, "hello");
}

TEST_F(host_test, a_missing_argument_is_fatal_and_named) {
  zu_tovra_context context = {};
  zu_do_properties *all = session.arguments;
  const auto render = render_tovra_config_func;
  EXPECT_DEATH(render(nullptr, &context, 1, nullptr, nullptr, all, all), "cli_context");
  EXPECT_DEATH(render(session.cli, nullptr, 1, nullptr, nullptr, all, all), "tovra_context");
  EXPECT_DEATH(render(session.cli, &context, 0, nullptr, nullptr, all, all), "when");
  EXPECT_DEATH(render(session.cli, &context, 1, nullptr, nullptr, nullptr, all), "run_props");
  EXPECT_DEATH(render(session.cli, &context, 1, nullptr, nullptr, all, nullptr), "op_props");
}

} // namespace
