// Template text: what is made of it, what is refused and where, and what a directory load reads.
#include "zu_tovra/loader.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "support.h"
#include "support/objects.hpp"
#include "support/recording_tree.hpp"

namespace {

using test::recording_tree;

struct outcome {
  bool loaded = false;
  int32_t code = 0;
  std::string message;

  bool operator==(const outcome &) const = default;
};

// What a load answers.
template <class Load>
outcome run(Load load) {
  zu_do_error *error = nullptr;
  outcome result{load(&error), zu_do_error_get_code(error), ""};
  if (error != nullptr) result.message = zu_do_error_get_msg(error);
  zu_do_error_deref(error);
  return result;
}

outcome load_text(zu_tvr_tree *tree, const std::string &text) {
  return run([&](zu_do_error **error) { return zu_tvr_load_meta_from_str(tree, text.c_str(), error); });
}

// ---- What is accepted, besides what the golden cases of files show ----

std::string repeated(const char *piece, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += piece;
  return all;
}

struct accepted {
  const char *what;
  std::string text;
  std::string nodes;
};

const accepted accepted_texts[] = {
    {"a record of each op",
     "Cmd: n\n"
     "Cmd: o\nOp: no_op\nParent Cmd: n\n"
     "Cmd: j\nOp: push_mode\nDest: n\n"
     "Cmd: c\nOp: get_collection\nUri: /a?b\nQuery: x=1\nQuery: y =a=b \nOrderby: x\nOrderby:  y\nGroup:\n"
     "LocationScheme:\n"
     "Cmd: g\nOp: get_one\nUri: /a\n"
     "Cmd: p\nOp: print_if\nFmt: f %s\nProps: /a x:0\nNewline: no\nCond: (eval \"$a\") (eval "
     "\"{\\\"v\\\":1}\")\n"
     "Cmd: i\nOp: iter\nLocationScheme: SLOT\n",
     "n < : no_op\n"
     "o < n: no_op\n"
     "j < : jump n\n"
     "c < : coll /a?b||x=1|y =a=b | by x y location group\n"
     "g < : get /a\n"
     "p < : print 'f %s' newline cond' (eval \"$a\") (eval \"{\\\"v\\\":1}\")' evals1 [x:1] /a<0>\n"
     "i < : iter\n"},
    {"fields that the op does not take are dropped",
     "Cmd: a\nOp: no_op\nUri: /a\nQuery: a=b\nProps: /a x:0\nCond: c\nOrderby: x\nLocationScheme: s\nGroup:\n"
     "Cmd: b\nOp: print_if\nFmt: b\n",
     "a < : no_op\nb < : print 'b'\n"},
    {"slots are counted by Fmt alone, over the whole format",
     "Cmd: a\nOp: print_if\nFmt: %%s%s-%s%\nDest: x\nProps: /a x:0 y:3\n",
     "a < : print 'x' [x:1 - -] +y:1@3 /a<0 3>\n"},
    {"a destination has no slots, however many it seems to have",
     "Cmd: a\nOp: push_mode\nDest: " + repeated("%s", 10001), "a < : jump " + repeated("%s", 10001) + "\n"},
    {"a repeated keyword replaces",
     "Cmd: a\nOp: iter\nOp: get_one\nUri: /a\nUri: /b\nParent Cmd: x\nParent Cmd: y\n", "a < y: get /b\n"},
    {"unknown and near keywords change nothing",
     "Cmd: a\nop: iter\nCmd : b\nOp iter\nFmt\n#Op: iter\nTvrLang: 3\n", "a < : no_op\n"},
    {"a version line first among keyword lines", "\n# c\n  TvrLangVersion:  1x\nCmd: a\n", "a < : no_op\n"},
    {"an order-by line without text adds nothing",
     "Cmd: a\nOp: get_collection\nUri: /a?b\nOrderby: \nOrderby:\n", "a < : coll /a?b|| by\n"},

    // Property lines.
    {"slot numbers as they read; a tab ends a token for the count only",
     "Cmd: a\nOp: print_if\nFmt: %s\nProps: /a a:7up b:none c:\t9\n",
     "a < : print '%s' [b:1] +a:1@7 +c:1@9 /a<7 0 9 -1>\n"},
    {"fields that end early",
     "Cmd: a\nOp: print_if\nFmt: %s%s%s%s%s\nProps: /a a:0: b:1:: c:2:x d:3:\"p\"junk e:4:x:\n",
     "a < : print '%s%s%s%s%s' [a:2(independent -1) b:2(independent -1) c:2(independent -1) d:2('p' "
     "independent -1) e:2(independent -1)] /a<0 1 2 3 4>\n"},
    {"a slot count of one for three colons, of two for four",
     "Cmd: a\nOp: print_if\nFmt: %s\nProps: /a x:5:multiline:6\nProps: /b x:5:::6\n",
     "a < : print '%s' [-] +x:2@5 +x:3@6 +x:2@5 +x:3@6 /a<5> /b<5 6>\n"},
    {"partner in a slot that is none", "Cmd: a\nOp: print_if\nFmt: %s\nProps: /a x:9:::0\n",
     "a < : print '%s' [x:3(9)] +x:2@9 /a<9 0>\n"},
    {"value maps; a line without a value names slot 0",
     "Cmd: a\nOp: print_if\nFmt: %s%s\nProps: /a x:0 y:1\nValueMap: 1 a x a y  b\tz\nValueMap:\n",
     "a < : print '%s%s' [x:1{} y:1{a=y,b=z}] /a<0 1>\n"},
};

TEST(templates, becomes_nodes) {
  for (const accepted &entry : accepted_texts) {
    SCOPED_TRACE(entry.what);
    const test::trace_log traces;
    recording_tree tree;
    const outcome result = load_text(tree, entry.text);
    EXPECT_TRUE(result.loaded) << traces.text();
    EXPECT_EQ(result.message, "");
    EXPECT_EQ(tree.nodes, entry.nodes);
    EXPECT_EQ(traces.count("Loading terminated"), 0);
  }
}

// ---- What is refused, besides what the golden cases of errors show ----

struct refused {
  const char *text;
  const char *message;
  int line;
  int32_t code = 10000;
  const char *trace = nullptr; // one more trace
};

const refused refused_texts[] = {
    {"\n Uri:  ", "Failed to allocate URI", 2, 10002, "(ERR): Error creating the URI from (null)"},
    {"Uri: /a;k ", "Failed to allocate URI", 1, 10002, "(ERR): Error creating the URI from /a;k "},
    {"Query:", "Failed to parse query: ", 1},
    {"Query:  ", "Malformed query:   ", 1},
    // The language version.
    {"what?\nTvrLangVersion: 1\n",
     "TVR language version 'TvrLangVersion: 1' in file (null) must be specified prior to other TVR data", 2},
    {"TvrLangVersion:", "Ambiguous end of string", 1},
    {"TvrLangVersion: 99999999999999999999", "Failed to convert string to long", 1, 10000,
     "(ERR): Failed to convert  99999999999999999999 to long"},
    // Properties.
    {"Props:", "Unexpected line termination parsing props on: ", 1},
    {"Props: /a  ", "Failed to add uri to props map: /a", 1, 10000,
     "(ERR): Invalid number of properties (0) for URI /a"},
    {"Props: /a x:0 :1 z:2", "Ambiguous end of string", 1, 10000, "(ERR): Failed to part prop at :1 z:2"},
    {"Props: /a x: y:0", "Ambiguous end of string", 1, 10000, "(ERR): Ambiguous end of string in  y:0"},
    {"Props: /a x:1::::y", "Ambiguous end of string", 1}, // the second piece has no slot
    {"Fmt: %s\nProps: /a x:0:::0", "Failed to add property to map: x", 2, 10000,
     "(ERR): Data for array at position 0 already present"},
    // Locations.
    {"Location: /a", "Unexpected line termination parsing props on:  /a", 1},
    {"Location: /a :S slot:0", "Error processing prop name in:  /a :S slot:0", 1},
    {"Location: /a l: slot:0", "Error processing scheme in:  /a l: slot:0", 1},
    {"Location: /a l:SLOT  ", "Failed to add uri to props map: /a", 1},
    {"Location: /a l:SLOT x:", "Ambiguous end of string", 1},
    {"Location: /a l:SLOT x:-2", "Error processing adding the prop in:  /a l:SLOT x:-2", 1},
    // Value maps.
    {"ValueMap:  ", "Unexpected line termination parsing value map on:   ", 1},
    {"Fmt: %s\nProps: /a x:0\nValueMap: 0 ", "Error parsing value map in:  0 ", 3},
};

TEST(templates, is_refused_with_line_and_reason) {
  for (const refused &entry : refused_texts) {
    SCOPED_TRACE(entry.text);
    const test::trace_log traces;
    recording_tree tree;
    const outcome result = load_text(tree, entry.text);
    EXPECT_FALSE(result.loaded);
    EXPECT_EQ(result.message, entry.message);
    EXPECT_EQ(result.code, entry.code);
    EXPECT_EQ(traces.lines().back(), "3 (ERR): Loading terminated at (null):" + std::to_string(entry.line));
    EXPECT_TRUE(entry.trace == nullptr || traces.has(entry.trace)) << traces.text();
    EXPECT_EQ(tree.nodes, "");
  }
}

TEST(templates, memory_that_is_exhausted_is_said) {
  for (uint64_t n = 1;; ++n) {
    recording_tree tree;
    qmalloc_fail_nth(n, false);
    const outcome result = load_text(tree, "Uri: /a?b\nQuery: x=1\nLocationScheme: s\n");
    const bool fired = qmalloc_fail_fired() > 0;
    qmalloc_fail_nth(0, false);
    // A URI template does without what only makes it fast.
    EXPECT_EQ(result.code, result.loaded ? 0 : 10002) << n << ": " << result.message;
    EXPECT_FALSE(result.loaded && fired && n == 1);
    if (!fired) break;
  }
}

// ---- Files and directories ----

class directories : public ::testing::Test {
protected:
  void SetUp() override {
    char pattern[] = "/tmp/tovra_loader_XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    root = pattern;
    for (const char *name : variables) unsetenv(name);
  }
  void TearDown() override {
    for (const char *name : variables) unsetenv(name);
    std::filesystem::remove_all(root);
  }

  void write(const std::string &name, const std::string &text) { std::ofstream(root + "/" + name) << text; }

  outcome load(const char *directory) {
    tree.nodes.clear();
    return run([&](zu_do_error **error) { return zu_tvr_load_directory(tree, directory, error); });
  }

  static constexpr const char *variables[] = {"ZU_TVR_DIR", "ORLIX_INSTALL_PREFIX", "TARVO_BAY_LOCAL"};
  std::string root;
  recording_tree tree;
};

TEST_F(directories, reads_template_files_by_name_and_each_alone) {
  for (const char *name : {"c.txt", "tvr", "d.TVR"}) write(name, "Op: no");
  for (const char *name : {"b.tvr", "\xc3\xa4.tvr", "Z.tvr", ".tvr"})
    write(name, std::string("Cmd: ") + name);
  write("a.tvr", "TvrLangVersion: 1\nCmd: a\nOp: push_mode\nDest: a\n");
  write("c.tvr", "TvrLangVersion: 1\nParent Cmd: p\nCmd: c\n");
  EXPECT_TRUE(load(root.c_str()).loaded);
  EXPECT_EQ(tree.nodes, ".tvr < : no_op\nZ.tvr < : no_op\na < : jump a\nb.tvr < : no_op\nc < p: no_op\n"
                        "\xc3\xa4.tvr < : no_op\n");
}

TEST_F(directories, is_found_from_the_environment) {
  const std::string from = "6 (info): loader loading from dir: ";
  const char *const too_long = "tvr dir path exceeds maximum path length";
  const outcome missing{false, 10001, "Unable to open directory"};
  const struct {
    const char *variable;
    std::string value;
    std::string first_trace;
    outcome result;
  } steps[] = {
      // The later variables have more say.
      {"TARVO_BAY_LOCAL", "", "3 (ERR): tvr bay env var is not set", {}},
      {"TARVO_BAY_LOCAL", "no-bay", from + "/tmp/sw/cfg/no-bay/tvr", missing},
      {"TARVO_BAY_LOCAL", std::string(5000, 'b'), from + "/tmp/sw/cfg/" + std::string(4083, 'b'), missing},
      {"ORLIX_INSTALL_PREFIX", "/opt/no", from + "/opt/notvr", missing},
      {"ORLIX_INSTALL_PREFIX", std::string(4092, 'p'), from + std::string(4092, 'p') + "tvr", missing},
      {"ORLIX_INSTALL_PREFIX",
       std::string(4093, 'p'),
       std::string("3 (ERR): ") + too_long,
       {false, 10000, too_long}},
      {"ZU_TVR_DIR", root, from + root, {true, 0, ""}},
      {"ZU_TVR_DIR", "", from, {true, 0, ""}},
      {"ZU_TVR_DIR", ":", from + ":", {true, 0, ""}},
  };
  for (const auto &step : steps) {
    SCOPED_TRACE(std::string(step.variable) + "=" + step.value);
    setenv(step.variable, step.value.c_str(), 1);
    const test::trace_log traces(6);
    EXPECT_EQ(load(nullptr), step.result);
    EXPECT_EQ(traces.lines().front(), step.first_trace);
  }
}

// ---- Places ----

std::string place_of(const zu_tvr_node *node) {
  const char *file = zu_tvr_node_file(node), *id = zu_tvr_node_id(node);
  return std::string(file != nullptr ? file : "none") + ":" + std::to_string(zu_tvr_node_line(node)) + " " +
         (id != nullptr ? id : "none");
}

TEST_F(directories, nodes_know_their_place) {
  write("a.tvr", "# c\n\nParent Cmd: x\nCmd: \nCmd: a\nOp: iter\nLocationScheme:\nCmd: config\nOp:\nCmd: b");
  write("b.tvr", "Cmd: config\nCmd: x\n");
  zu_tvr_tree *real = zu_tvr_tree_new();
  const auto load_real = [&](zu_do_error **error) {
    return zu_tvr_load_directory(real, root.c_str(), error) &&
           zu_tvr_load_meta_from_str(real, "\nCmd: late\nOp: no_op\n", error);
  };
  EXPECT_EQ(run(load_real), (outcome{true, 0, ""}));
  EXPECT_TRUE(real->resolve_links(real));
  EXPECT_EQ(place_of(real->root), "none:0 ROOT");
  std::string places;
  for (const zu_tvr_node *node = real->root->first_child; node != nullptr; node = node->next_sibling) {
    places += place_of(node) + "\n";
    if (node->first_child != nullptr) places += "  " + place_of(node->first_child) + "\n";
  }
  EXPECT_EQ(places, root + "/a.tvr:8 config\n" + root + "/a.tvr:10 b\n" + root + "/b.tvr:2 x\n  " + root +
                        "/a.tvr:5 a\nnone:2 late\n");
  zu_tvr_tree_delete(real);
}

} // namespace
