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
    std::string message = error != nullptr ? zu_do_error_get_msg(error) : "";
    zu_do_error_deref(error);
    return message;
  }

  host::templates templates;
  host::store store{R"({"records": {}})"};
  zu_tovra::renderer renderer{store.get()};
};

TEST_F(host_test, a_failed_reload_is_told_and_the_next_good_one_renders_again) {
  templates.write("b.tvr", "Cmd: lost\nParent Cmd: nobody\n");
  EXPECT_EQ(reload(), "Unresolved links in tovra tree");
  zu_tovra::result made = renderer.render(); // builds again, and fails again
  EXPECT_FALSE(made.whole);
  ASSERT_EQ(made.errors.size(), 1u);
  EXPECT_EQ(made.errors[0].message, "Unresolved links in tovra tree");
  EXPECT_EQ(made.errors[0].code, ZU_FAILED);
  templates.write("b.tvr", "Cmd: x\nOp: wrong\n");
  EXPECT_EQ(reload(), "Invalid Op in node: wrong");
  templates.remove("b.tvr");
  EXPECT_EQ(reload(), "");
  const int64_t once = host::live_blocks();
  EXPECT_EQ(reload(), "");
  EXPECT_EQ(host::live_blocks(), once);
  made = renderer.render();
  EXPECT_TRUE(made.whole);
  EXPECT_EQ(made.text, "hello\n");
}

TEST_F(host_test, a_missing_argument_is_fatal_and_named) {
  zu_tovra_context context = {};
  zu_cli_context *cli = zu_cli_context_new(store.get(), nullptr, nullptr);
  zu_do_properties *all = zu_do_properties_new();
  const auto render = render_tovra_config_func;
  EXPECT_DEATH(render(nullptr, &context, 1, nullptr, nullptr, all, all), "cli_context");
  EXPECT_DEATH(render(cli, nullptr, 1, nullptr, nullptr, all, all), "tovra_context");
  EXPECT_DEATH(render(cli, &context, 0, nullptr, nullptr, all, all), "when");
  EXPECT_DEATH(render(cli, &context, 1, nullptr, nullptr, nullptr, all), "run_props");
  EXPECT_DEATH(render(cli, &context, 1, nullptr, nullptr, all, nullptr), "op_props");
  zu_do_properties_deref(all);
  zu_cli_context_free(cli);
}

// Two lines of one record; bad.tvr, once it is loaded, adds one that reads a property too many.
class renderer_test : public host_test {
protected:
  void SetUp() override {
    host_test::SetUp();
    const auto line = [](const std::string &id, const std::string &format) {
      return "Cmd: " + id + "\nParent Cmd: s\nOp: print_if\nFmt: " + format +
             "\nProps: /s name:0\nNewline:\n";
    };
    templates.write("a.tvr", "Cmd: config\nCmd: s\nParent Cmd: config\nOp: get_one\nUri: /s\n" +
                                 line("one", "name %s") + line("two", "host %s"));
    ASSERT_EQ(reload(), "");
    templates.write("bad.tvr", line("bad", "name %s of %s"));
  }

  host::store named{R"({"records": {"/s": {"name": "r1"}}})"};
  zu_tovra::renderer renderer{named.get()};
};

TEST_F(renderer_test, an_error_comes_with_its_place_and_the_text_is_not_whole) {
  EXPECT_EQ(renderer.add_config("candidate", store.get()), ZU_OK);
  EXPECT_EQ(renderer.render().text, "name r1\nhost r1\n");
  EXPECT_EQ(renderer.render({.node = "two"}).text, "host r1\n");
  EXPECT_TRUE(renderer.render({.config = "candidate"}).whole);
  EXPECT_EQ(renderer.render({.config = "candidate"}).text, "");

  zu_tovra::result made = renderer.render({.config = "nowhere"});
  ASSERT_EQ(made.errors.size(), 1u); // before the walk: without a place
  EXPECT_EQ(made.errors[0].code, ZU_NOT_FOUND);
  EXPECT_EQ(made.errors[0].node, "");

  ASSERT_EQ(reload(), "");
  int events = 0;
  const zu_tvr_observer lines = {
      [](void *user, const zu_tvr_event *event) { *static_cast<int *>(user) += event->kind; }, &events,
      1u << ZU_TVR_EVENT_LINE};
  made = renderer.render({.observer = &lines});
  EXPECT_FALSE(made.whole);
  EXPECT_EQ(made.text, "name r1\nhost r1\n");
  EXPECT_EQ(events, 2 * ZU_TVR_EVENT_LINE);
  ASSERT_EQ(made.errors.size(), 1u);
  const zu_tovra::error &found = made.errors[0];
  EXPECT_EQ(found.message, "Unable to find property");
  EXPECT_EQ(found.file, (templates.folder() / "bad.tvr").string());
  EXPECT_EQ(found.line, 1u);
  EXPECT_EQ(found.node, "bad");
  EXPECT_EQ(found.uri, "/s");
}

TEST_F(renderer_test, what_a_sink_throws_or_refuses_ends_the_render) {
  const zu_tovra::error_sink no_error = [](const zu_tovra::error &) { ADD_FAILURE(); };
  int pieces = 0;
  const auto refuse = [&pieces](std::string_view) { return ++pieces, false; };
  EXPECT_FALSE(renderer.render({}, refuse, no_error));
  EXPECT_EQ(pieces, 1);
  const int64_t before = host::live_blocks();
  EXPECT_THROW(renderer.render(
                   {}, [](std::string_view) -> bool { throw 1; }, no_error),
               int);
  ASSERT_EQ(reload(), "");
  const auto take = [](std::string_view) { return true; };
  EXPECT_THROW(renderer.render({}, take, [](const zu_tovra::error &) { throw 'e'; }), char);
  templates.remove("bad.tvr");
  ASSERT_EQ(reload(), "");
  EXPECT_EQ(host::live_blocks(), before); // nothing is held by a request that ended so
  EXPECT_TRUE(renderer.render().whole);
}

} // namespace
