// Stop, in a process of its own: no call into the library follows it.
#include "host.hpp"

TEST(stop, gives_back_everything) {
  const int64_t before = host::live_blocks();
  const host::templates templates;
  templates.write("a.tvr", "Cmd: config\nCmd: hello\nParent Cmd: config\nOp: print_if\nFmt: hello\n");
  ASSERT_TRUE(zu_tovra_init());
  {
    const host::store store(R"({"records": {}})");
    host::session session(store.get());
    EXPECT_TRUE(session.render());
    EXPECT_EQ(session.text, "hello");
  }
  EXPECT_TRUE(zu_tovra_stop());
  EXPECT_EQ(host::live_blocks(), before);
}
