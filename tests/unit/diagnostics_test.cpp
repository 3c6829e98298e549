// Loads that report every fault with its place, and continue.
#include "zu_tovra/diagnostics.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>

#include "support.h"
#include "support/objects.hpp"

namespace {

struct log {
  std::string lines;
  int room = 1000; // how many are taken before the load is ended

  bool loads = false; // the callback loads templates too, which must not change the fault's message

  static bool take(void *self, const zu_tvr_diagnostic *fault) {
    log &all = *static_cast<log *>(self);
    if (all.loads) {
      const std::unique_ptr<zu_tvr_tree, decltype(&zu_tvr_tree_delete)> tree(zu_tvr_tree_new(),
                                                                             zu_tvr_tree_delete);
      log other;
      EXPECT_FALSE(zu_tvr_load_text_observed(tree.get(), "other", "Cmd: a\nCmd: a\n", take, &other));
    }
    const auto or_dash = [](const char *text) { return std::string(text != nullptr ? text : "-"); };
    const std::string file = or_dash(fault->file);
    all.lines += std::to_string(fault->kind) + " " + file.substr(file.rfind('/') + 1) + ":" +
                 std::to_string(fault->line) + ":" + std::to_string(fault->column) + " " +
                 or_dash(fault->node_id) + " " + std::to_string(fault->code) + " " + fault->message + " | " +
                 or_dash(fault->cause);
    if (fault->other_id != nullptr) {
      const std::string other = or_dash(fault->other_file);
      all.lines += std::string(" | ") + fault->other_id + " " + other.substr(other.rfind('/') + 1) + ":" +
                   std::to_string(fault->other_line);
    }
    all.lines += "\n";
    return --all.room > 0;
  }
};

class diagnostics : public ::testing::Test {
protected:
  void SetUp() override {
    char pattern[] = "/tmp/tovra_diagnostics_XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    root = pattern;
    std::ofstream(root + "/a.tvr") << "Cmd: one\n"
                                      "Op: get_on\n"
                                      "Cmd: two\n"
                                      "Op: get_one\n"
                                      "  Uri: /a;=$\n"
                                      "Query: x\n"
                                      "Cmd: three\n"
                                      "Uri: /a\n"
                                      "Parent Cmd: gone\n"
                                      "Cmd: four\n"
                                      "Op: print_if\n"
                                      "Fmt: %s\n"
                                      "Props: /a x:-1\n"
                                      "Props: /a y:0\n"
                                      "ValueMap: 0 a b\n";
    std::ofstream(root + "/b.tvr") << "";
    std::ofstream(root + "/c.tvr") << "Cmd: four\nCmd: own\nParent Cmd: own\nCmd: five\nParent Cmd: gone\n";
  }
  void TearDown() override { std::filesystem::remove_all(root); }

  std::string root;
};

constexpr const char *all_faults =
    "3 a.tvr:2:0 one 10000 Invalid Op in node: get_on | -\n"
    "2 a.tvr:5:3 two 10002 Failed to allocate URI | -\n"
    "2 a.tvr:6:1 two 10000 Failed to parse query:  x | Ambiguous end of string in x\n"
    "2 a.tvr:13:1 four 10000 Failed to add property to map: x | Invalid property index (-1) for x\n"
    "1 b.tvr:0:0 - 10000 Unable to read contents of file ROOT/b.tvr | -\n"
    "4 c.tvr:1:0 four 10000 Failed to add node to tree: four | "
    "Attempting to add a duplicate node in tree: four | four a.tvr:10\n"
    "3 c.tvr:2:0 own 10000 Failed to add node to tree: own | Node would be its own ancestor: own\n"
    "5 a.tvr:7:0 three 10000 Unable to find parent for node: three | - | gone -:0\n"
    "5 c.tvr:4:0 five 10000 Unable to find parent for node: five | - | gone -:0\n";

TEST_F(diagnostics, tell_all_faults_in_one_pass_or_as_many_as_are_wanted) {
  std::string wanted = all_faults;
  wanted.replace(wanted.find("ROOT"), 4, root);
  for (int count = 9; count > 0; --count) {
    log got;
    got.room = count;
    got.loads = count % 2 == 0;
    test::trace_log traces;
    EXPECT_FALSE(zu_tvr_check_templates(root.c_str(), log::take, &got));
    EXPECT_EQ(got.lines, wanted) << count;
    const bool in_a_text = count <= 7 && count != 5; // only a parse that ends says so
    EXPECT_EQ(traces.count("Loading terminated"), in_a_text ? 1 : 0) << traces.text();
    wanted.erase(wanted.rfind('\n', wanted.size() - 2) + 1);
  }
}

TEST_F(diagnostics, tell_what_is_no_line_of_a_file) {
  for (const char *name : {"ZU_TVR_DIR", "ORLIX_INSTALL_PREFIX", "TARVO_BAY_LOCAL"}) unsetenv(name);
  log got;
  EXPECT_FALSE(zu_tvr_check_templates(nullptr, log::take, &got));
  zu_do_error *error = nullptr;
  EXPECT_EQ(zu_tvr_template_directories(&error), nullptr);
  EXPECT_EQ(error, nullptr);
  setenv("ZU_TVR_DIR", "/no/one:/no/two", 1);
  EXPECT_FALSE(zu_tvr_check_templates(nullptr, log::take, &got));
  char *directories = zu_tvr_template_directories(&error);
  EXPECT_STREQ(directories, "/no/one:/no/two");
  qfree_named(directories);
  unsetenv("ZU_TVR_DIR");
  zu_tvr_tree *tree = zu_tvr_tree_new();
  EXPECT_TRUE(zu_tvr_load_text_observed(tree, "x.tvr", "Cmd: a", log::take, &got));
  EXPECT_FALSE(zu_tvr_load_text_observed(tree, nullptr, "\nCmd: a\n", log::take, &got));
  EXPECT_TRUE(zu_tvr_resolve_links_observed(tree, log::take, &got));
  zu_tvr_tree_delete(tree);
  EXPECT_EQ(got.lines, "0 -:0:0 - 10000 tvr bay env var is not set | -\n"
                       "0 one:0:0 - 10001 Unable to open directory | -\n"
                       "0 two:0:0 - 10001 Unable to open directory | -\n"
                       "4 -:2:0 a 10000 Failed to add node to tree: a | "
                       "Attempting to add a duplicate node in tree: a | a x.tvr:1\n");
}

TEST_F(diagnostics, of_exhausted_memory_are_told) {
  std::filesystem::remove(root + "/a.tvr");
  std::filesystem::remove(root + "/b.tvr");
  std::ofstream(root + "/c.tvr") << "Cmd: a\nOp: get_collection\nUri: /a?b\nQuery: x=1\nCmd: b\nOp: iter\n"
                                    "LocationScheme: S\nCmd: c\nParent Cmd: d\n";
  for (uint64_t n = 1;; ++n) {
    log got;
    qmalloc_fail_nth(n, false);
    EXPECT_FALSE(zu_tvr_check_templates(root.c_str(), log::take, &got)) << n;
    const bool fired = qmalloc_fail_fired() > 0;
    qmalloc_fail_nth(0, false);
    EXPECT_NE(got.lines, "") << n;
    if (!fired) {
      EXPECT_GT(n, 20u);
      break;
    }
  }
}

} // namespace
