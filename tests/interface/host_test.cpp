// The library as a host calls it: render, clean-up, reload, named configurations.
#include "host.hpp"

namespace {

const char *const host_template = "Cmd: config\n"
                                  "Cmd: sys\nParent Cmd: config\nOp: get_one\nUri: /sys\n"
                                  "Cmd: host\nParent Cmd: sys\nOp: print_if\nFmt: hostname %s\n"
                                  "Props: /sys name:0\nNewline:\n"
                                  "Cmd: ifcs\nParent Cmd: config\nOp: get_collection\nUri: /?ifc\n"
                                  "Cmd: ifc\nParent Cmd: ifcs\nOp: print_if\nFmt: interface %s\n"
                                  "Props: /ifc;name=$ name:0\nNewline:\n";

std::string data(const std::string &name, int interfaces) {
  std::string json = R"({"records": {"/sys": {"name": ")" + name + "\"}";
  for (int i = 0; i < interfaces; ++i) json += ", \"/ifc;name=e" + std::to_string(i) + "\": {}";
  return json + "}}";
}

std::string text(const std::string &name, int interfaces) {
  std::string all = "\nhostname " + name;
  for (int i = 0; i < interfaces; ++i) all += "\ninterface e" + std::to_string(i);
  return all;
}

class host_test : public testing::Test {
protected:
  void SetUp() override {
    ASSERT_TRUE(zu_tovra_init());
    ASSERT_EQ(zu_tovra_trace_init(), 0);
    templates.write("a.tvr", host_template);
    reload();
  }
  static void reload() {
    zu_do_error *error = render_tovra_reload_func();
    ASSERT_EQ(error, nullptr) << zu_do_error_get_msg(error);
  }

  host::templates templates;
};

TEST_F(host_test, refused_output_ends_the_render_and_keeps_what_was_taken) {
  const host::store store(data("r1", 3));
  host::session session(store.get());
  session.take_pieces = 2;
  EXPECT_FALSE(session.render());
  EXPECT_EQ(session.text, text("r1", 1));
}

TEST_F(host_test, a_failed_reload_is_told_and_the_next_good_one_renders_again) {
  const host::store store(data("r1", 1));
  host::session session(store.get());
  templates.write("b.tvr", "Cmd: lost\nParent Cmd: nobody\n");
  zu_do_error *error = render_tovra_reload_func();
  ASSERT_NE(error, nullptr);
  EXPECT_STREQ(zu_do_error_get_msg(error), "Unresolved links in tovra tree");
  zu_do_error_deref(error);
  EXPECT_FALSE(session.render()); // builds again, and fails again
  EXPECT_EQ(session.errors, std::vector<std::string>{"10000 Unresolved links in tovra tree"});
  templates.write("b.tvr", "Cmd: x\nOp: wrong\n");
  error = render_tovra_reload_func();
  ASSERT_NE(error, nullptr);
  EXPECT_STREQ(zu_do_error_get_msg(error), "Invalid Op in node: wrong");
  zu_do_error_deref(error);
  templates.remove("b.tvr");
  const int64_t before = host::live_blocks();
  reload();
  const int64_t once = host::live_blocks();
  reload();
  EXPECT_EQ(host::live_blocks(), once) << before;
  EXPECT_TRUE(session.render());
  EXPECT_EQ(session.text, text("r1", 1));
}

TEST_F(host_test, a_named_configuration_is_read_instead_of_the_default_data) {
  const host::store running(data("running", 1));
  const host::store candidate(data("candidate", 2));
  host::session session(running.get());
  ASSERT_EQ(zu_cli_context_add_config(session.cli, "candidate", candidate.get()), 0);
  EXPECT_TRUE(session.render(nullptr, "candidate"));
  EXPECT_EQ(session.text, text("candidate", 2));
  EXPECT_FALSE(session.render(nullptr, "startup"));
  EXPECT_EQ(session.errors, std::vector<std::string>{"102 Failed to get config"});
}

TEST_F(host_test, a_missing_argument_is_fatal_and_named) {
  const host::store store(data("r1", 1));
  host::session session(store.get());
  zu_tovra_context context = {};
  zu_do_properties *arguments = zu_do_properties_new();
  EXPECT_DEATH(render_tovra_config_func(nullptr, &context, 1, nullptr, nullptr, arguments, arguments),
               "cli_context");
  EXPECT_DEATH(render_tovra_config_func(session.cli, nullptr, 1, nullptr, nullptr, arguments, arguments),
               "tovra_context");
  EXPECT_DEATH(render_tovra_config_func(session.cli, &context, 0, nullptr, nullptr, arguments, arguments),
               "when");
  EXPECT_DEATH(render_tovra_config_func(session.cli, &context, 1, nullptr, nullptr, nullptr, arguments),
               "run_props");
  EXPECT_DEATH(render_tovra_config_func(session.cli, &context, 1, nullptr, nullptr, arguments, nullptr),
               "op_props");
  zu_do_properties_deref(arguments);
}

} // namespace
