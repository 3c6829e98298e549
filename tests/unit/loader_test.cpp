// Template text: what is made of it, what is refused and where, and what a directory load reads.
#include "zu_tovra/loader.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>

#include "loader/text.hpp"
#include "qmalloc/qmalloc.h"
#include "support.h"
#include "support/objects.hpp"
#include "support/recording_tree.hpp"

namespace {

using test::recording_tree;

struct outcome {
  bool loaded = false;
  int32_t code = 0;
  std::string message;
};

outcome run(const std::function<bool(zu_do_error **)> &load) {
  zu_do_error *error = nullptr;
  outcome result;
  result.loaded = load(&error);
  result.code = zu_do_error_get_code(error);
  if (error != nullptr) result.message = zu_do_error_get_msg(error);
  zu_do_error_deref(error);
  return result;
}

outcome load_text(zu_tvr_tree *tree, const std::string &text) {
  return run([&](zu_do_error **error) { return zu_tvr_load_meta_from_str(tree, text.c_str(), error); });
}

// ---- What is accepted ----

struct accepted {
  const char *what;
  const char *text;
  const char *nodes;
};

const accepted accepted_texts[] = {
    {"nothing", "", ""},
    {"blank lines and comments only", "\n  \t\n# a\n   # Cmd: b\r\n", ""},
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
     "c < : coll /a?b query 'x'='1' 'y '='a=b ' by x y location group\n"
     "g < : get /a\n"
     "p < : print 'f %s' newline cond' (eval \"$a\") (eval \"{\\\"v\\\":1}\")' evals1 [x:1] /a<0>\n"
     "i < : iter\n"},
    {"op and format pass on, everything else starts anew",
     "Cmd: a\nOp: print_if\nFmt: %s-%s\nProps: /a x:0\nNewline:\nCond: c\nParent Cmd: r\nGroup:\n"
     "Cmd: b\nProps: /b y:0\n"
     "Cmd: c\nOp: get_collection\nUri: /c?c\n",
     "a < r: print '%s-%s' newline cond' c' [x:1 -] /a<0>\n"
     "b < : print '%s-%s' [] +y:1@0 /b<0>\n"
     "c < : coll /c?c\n"},
    {"fields that the op does not take are dropped",
     "Cmd: a\nOp: no_op\nUri: /a\nQuery: a=b\nProps: /a x:0\nCond: c\nOrderby: x\nLocationScheme: s\nGroup:\n"
     "Cmd: b\nOp: print_if\nFmt: b\n",
     "a < : no_op\nb < : print 'b'\n"},
    {"a record without an id passes on what it gathered",
     "Op: print_if\nFmt: x\nNewline:\nCmd:\nParent Cmd: p\nCmd:  \nCmd: a\n", "a < p: print 'x' newline\n"},
    {"defaults are for blank values only",
     "Cmd: a\nOp: print_if\nFmt: \nCmd: b\nFmt:\nCmd: c\nDest: \t\nCmd: d\nOp:  \nCmd: e\nOp:\n",
     "a < : print '%s'\nb < : print ''\nc < : print '%s'\nd < : no_op\ne < : no_op\n"},
    {"slots are counted by Fmt alone, over the whole format",
     "Cmd: a\nOp: print_if\nFmt: %%s%s-%s%\nDest: x\nProps: /a x:0 y:3\n",
     "a < : print 'x' [x:1 - -] +y:1@3 /a<0 3>\n"},
    {"a repeated keyword replaces",
     "Cmd: a\nOp: iter\nOp: get_one\nUri: /a\nUri: /b\nParent Cmd: x\nParent Cmd: y\n", "a < y: get /b\n"},
    {"indented lines, carriage returns, no line end at the end",
     "  \tCmd:  a b \r\n\v Op:print_if\r\n Fmt: x \r\n Cmd: c\r", "a b < : print 'x'\nc < : print 'x'\n"},
    {"unknown and near keywords change nothing",
     "Cmd: a\nop: iter\nCmd : b\nOp iter\nFmt\n#Op: iter\nTvrLang: 3\n", "a < : no_op\n"},
    {"the longer keyword is not the shorter one",
     "Parent Cmd: p\nCmd: a\nOp: get_collection\nLocationScheme: s\nUri: /a?b\n",
     "a < p: coll /a?b location\n"},
    {"a version line first among keyword lines", "\n# c\n  TvrLangVersion:  1x\nCmd: a\n", "a < : no_op\n"},
    {"an order-by line without text adds nothing",
     "Cmd: a\nOp: get_collection\nUri: /a?b\nOrderby: \nOrderby:\n", "a < : coll /a?b by\n"},
    {"bad eval arguments drop the evals only", "Cmd: a\nOp: print_if\nFmt: x\nCond: (eval\n",
     "a < : print 'x' cond' (eval'\n"},
    {"a later condition replaces",
     "Cmd: a\nOp: print_if\nFmt: x\nCond: (eval \"$a\")(eval \"{\\\"v\\\":1}\")\nCond:y\n",
     "a < : print 'x' cond'y'\n"},

    // Property lines.
    {"plain pieces; slots beyond the format", "Cmd: a\nOp: print_if\nFmt: %s%s\nProps: \t/a x:0  y:1 z:+2 \n",
     "a < : print '%s%s' [x:1 y:1] +z:1@2 /a<0 1 2>\n"},
    {"slot numbers as they read; a tab ends a token for the count only",
     "Cmd: a\nOp: print_if\nFmt: %s\nProps: /a a:7up b:none c:\t9\n",
     "a < : print '%s' [b:1] +a:1@7 +c:1@9 /a<7 0 9 -1>\n"},
    {"arrays: prefixes, flags, partners",
     "Cmd: a\nOp: print_if\nFmt: %s%s%s%s%s%s\n"
     "Props: /a v:1:\"vlan \" m:2:\"a:b c\":multiline addr:0:\"ip \":multiline:3:\"mask \":independent "
     "b:4:::5\n",
     "a < : print '%s%s%s%s%s%s' [addr:2('ip ' multiline independent 3) v:2('vlan ' independent -1) "
     "m:2('a:b c' multiline independent -1) addr:3('mask ' multiline independent 0) b:2(5) b:3(4)] "
     "/a<1 2 0 3 4 5>\n"},
    {"a pair without independent", "Cmd: a\nOp: print_if\nFmt: %s%s\nProps: /a x:0:\"p\":multiline:1:\"q\"\n",
     "a < : print '%s%s' [x:2('p' multiline 1) x:3('q' multiline 0)] /a<0 1>\n"},
    {"fields that end early",
     "Cmd: a\nOp: print_if\nFmt: %s%s%s%s\nProps: /a a:0: b:1:: c:2:x d:3:\"p\"junk\n",
     "a < : print '%s%s%s%s' [a:2(independent -1) b:2(independent -1) c:2(independent -1) d:2('p' "
     "independent -1)] "
     "/a<0 1 2 3>\n"},
    {"a slot count of one for three colons, of two for four",
     "Cmd: a\nOp: print_if\nFmt: %s\nProps: /a x:5:multiline:6\nProps: /b x:5:::6\n",
     "a < : print '%s' [-] +x:2@5 +x:3@6 +x:2@5 +x:3@6 /a<5> /b<5 6>\n"},
    {"partner in a slot that is none", "Cmd: a\nOp: print_if\nFmt: %s\nProps: /a x:9:::0\n",
     "a < : print '%s' [x:3(9)] +x:2@9 /a<9 0>\n"},
    {"a name may hold blanks and a colon elsewhere on the line counts",
     "Cmd: a\nOp: print_if\nFmt: %s\nProps: /a x y:0\n", "a < : print '%s' [y:1] /a<0 0>\n"},
    {"a slot given again has the last name", "Cmd: a\nOp: print_if\nFmt: %s\nProps: /a x:0 y:0\n",
     "a < : print '%s' [y:1] /a<0 0>\n"},
    {"locations by field", "Cmd: a\nOp: print_if\nFmt: %s%s%s\nLocation:  /a  loc:SLOT slot:0 port:1x :2 \n",
     "a < : print '%s%s%s' [loc:4(1 slot) loc:4(1 port) loc:4(1)] /a<0 1 2>field\n"},
    {"an unknown location scheme is the default one",
     "Cmd: a\nOp: print_if\nFmt: %s\nLocation: /a l:NONE :0\n", "a < : print '%s' [l:4(0)] /a<0>\n"},
    {"value maps",
     "Cmd: a\nOp: print_if\nFmt: %s%s\nProps: /a x:0 y:1\nValueMap: 0 a x a y  b\tz\nValueMap: 1\n",
     "a < : print '%s%s' [x:1{a=y,b=z} y:1{}] /a<0 1>\n"},
    {"a value map line without a value names slot 0",
     "Cmd: a\nOp: print_if\nFmt: %s\nProps: /a x:0\nValueMap:\n", "a < : print '%s' [x:1{}] /a<0>\n"},
};

TEST(Template, BecomesNodes) {
  for (const accepted &entry : accepted_texts) {
    SCOPED_TRACE(entry.what);
    const test::balanced_memory balanced;
    const test::trace_log traces;
    recording_tree tree;
    const outcome result = load_text(tree, entry.text);
    EXPECT_TRUE(result.loaded) << traces.text();
    EXPECT_EQ(result.message, "");
    EXPECT_EQ(tree.nodes, entry.nodes);
    EXPECT_EQ(traces.count("Loading terminated"), 0);
  }
}

TEST(Template, EndsAtItsNul) {
  recording_tree tree;
  const std::string text("Cmd: a\nOp: no\0pe\nCmd: b\n", 24);
  EXPECT_FALSE(load_text(tree, text).loaded);
}

// ---- What is refused ----

struct refused {
  const char *text;
  const char *message;
  int line;                    // of "Loading terminated"; 0: no such trace
  int32_t code = 10000;        // 0: no error object, the message is a trace
  const char *trace = nullptr; // one more trace
};

const refused refused_texts[] = {
    // Records.
    {"Cmd: a\nOp: jump\nCmd: b\n", "Invalid Op in node: jump", 3},
    {"Cmd: a\nOp: jump\n\n# end", "Invalid Op in node: jump", 0},
    {"Cmd: a\nOp: get_one\nCmd: b", "Missing Uri in node: a", 3},
    {"Cmd: a\nOp: get_collection", "Missing Uri in node: a", 0},
    {"Cmd: a\nOp: iter\nUri: /a", "Missing LocationScheme in node: a", 0},
    {"Cmd: bad\n\nCmd: b", "Failed to add node to tree: bad", 3},
    {"Cmd: bad", "Failed to add node to tree: bad", 0},
    // Single keywords.
    {"Uri:", "Failed to allocate URI", 1, 10002, "(ERR): Error creating the URI from (null)"},
    {"\n Uri:  ", "Failed to allocate URI", 2, 10002, "(ERR): Error creating the URI from (null)"},
    {"Uri: /a;k ", "Failed to allocate URI", 1, 10002, "(ERR): Error creating the URI from /a;k "},
    {"Query:", "Failed to parse query: ", 1},
    {"Query:  ", "Malformed query:   ", 1},
    {"Query: a=", "Malformed query:  a=", 1},
    {"Query: a", "Failed to parse query:  a", 1, 10000, "(ERR): Ambiguous end of string in a"},
    {"Query: =b", "Failed to parse query:  =b", 1, 10000, "(ERR): Ambiguous end of string in =b"},
    // The language version.
    {"Cmd: a\n TvrLangVersion: 1\n",
     "TVR language version ' TvrLangVersion: 1' in file (null) must be specified prior to other TVR data", 2},
    {"what?\nTvrLangVersion: 1\n",
     "TVR language version 'TvrLangVersion: 1' in file (null) must be specified prior to other TVR data", 2},
    {"TvrLangVersion: 0",
     "TVR language version in line 'TvrLangVersion: 0' in file (null) must be an integer greater than 0", 1},
    {"TvrLangVersion: x",
     "TVR language version in line 'TvrLangVersion: x' in file (null) must be an integer greater than 0", 1},
    {"#\nTvrLangVersion: 2", "TVR language version 2 in file (null) is outside of supported range: 0..1", 2},
    {"TvrLangVersion:", "Ambiguous end of string", 1},
    {"TvrLangVersion: 99999999999999999999", "Failed to convert string to long", 1, 10000,
     "(ERR): Failed to convert  99999999999999999999 to long"},
    // Properties.
    {"Props:", "Unexpected line termination parsing props on: ", 1},
    {"Props:  /a", "Unexpected line termination parsing props on:   /a", 1},
    {"Props: /a ", "Unexpected line termination parsing props on:  /a ", 1},
    {"Props: /a  ", "Failed to add uri to props map: /a", 1, 10000,
     "(ERR): Invalid number of properties (0) for URI /a"},
    {"Props: /;k x:0", "Failed to add uri to props map: /;k", 1, 10000,
     "(ERR): Failed to allocate uri in item in the map of print props"},
    {"Props: /a x", "Ambiguous end of string", 1, 10000, "(ERR): Failed to part prop at x"},
    {"Props: /a x:0 :1 z:2", "Ambiguous end of string", 1, 10000, "(ERR): Failed to part prop at :1 z:2"},
    {"Props: /a x:", "Could not find position in: ", 1, 10000, "(ERR): Failed to part prop at x:"},
    {"Props: /a x: y:0", "Ambiguous end of string", 1, 10000, "(ERR): Ambiguous end of string in  y:0"},
    {"Props: /a x:99999999999999999999:", "Failed to convert string to long", 1, 10000,
     "(ERR): Failed to convert 99999999999999999999 to long"},
    {"Props: /a x:1:\"\":x", "Ambiguous end of string", 1},
    {"Props: /a x:1:\"a b", "Invalid prefix format in: a b", 1},
    {"Props: /a x:1::::y", "Ambiguous end of string", 1}, // the second piece has no slot
    {"Props: /a x:-1", "Failed to add property to map: x", 1, 10000,
     "(ERR): Invalid property index (-1) for x"},
    {"Fmt: %s\nProps: /a x:0:::0", "Failed to add property to map: x", 2, 10000,
     "(ERR): Data for array at position 0 already present"},
    // Locations.
    {"Location: /a", "Unexpected line termination parsing props on:  /a", 1},
    {"Location: /a l", "Unexpected line termination parsing prop name on:  /a l", 1},
    {"Location: /a  :", "Unexpected line termination parsing prop name on:  /a  :", 1},
    {"Location: /a :S slot:0", "Error processing prop name in:  /a :S slot:0", 1},
    {"Location: /a l:SLOT", "Unexpected line termination parsing scheme on:  /a l:SLOT", 1},
    {"Location: /a l:SLOT ", "Unexpected line termination parsing scheme on:  /a l:SLOT ", 1},
    {"Location: /a l: slot:0", "Error processing scheme in:  /a l: slot:0", 1},
    {"Location: /a l:SLOT  ", "Failed to add uri to props map: /a", 1},
    {"Location: /a l:SLOT :0 x", "Failed to find prop position in props map: /a", 1},
    {"Location: /a l:SLOT x:", "Ambiguous end of string", 1},
    {"Location: /a l:SLOT x:-2", "Error processing adding the prop in:  /a l:SLOT x:-2", 1},
    {"Fmt: %s\nLocation: /a l:SLOT a:0 b:0", "Error processing adding the prop in:  /a l:SLOT a:0 b:0", 2,
     10000, "(ERR): Data for location at position 0 already present"},
    // Value maps.
    {"ValueMap:  ", "Unexpected line termination parsing value map on:   ", 1},
    {"ValueMap: 0 a b", "Error parsing value map: properties map not yet instantiated", 1},
    {"ValueMap: 99999999999999999999 a", "Error parsing value map in:  99999999999999999999 a", 1},
    {"Fmt: %s\nProps: /a x:0\nValueMap: 0 up on down", "Error processing value map in : 0 up on down", 3},
    {"Fmt: %s\nProps: /a x:0\nValueMap: 0 up on ", "Error parsing value map in:  0 up on ", 3},
    {"Fmt: %s\nProps: /a x:0\nValueMap: 0 ", "Error parsing value map in:  0 ", 3},
    {"Fmt: %s\nProps: /a x:0\nValueMap: 1", "Error adding value map to properties map", 3, 10000,
     "(ERR): Invalid property index (1)"},
    {"Fmt: %s%s\nProps: /a x:0\nValueMap: 1 a b", "Error adding value map to properties map", 3},
    {"Fmt: %s\nProps: /a x:0\nValueMap: 0 a b\nValueMap: 0 a b", "Error adding value map to properties map",
     4, 10000, "(ERR): Value map already exists"},
};

TEST(Template, IsRefusedWithLineAndReason) {
  for (const refused &entry : refused_texts) {
    SCOPED_TRACE(entry.text);
    const test::balanced_memory balanced;
    const test::trace_log traces;
    recording_tree tree;
    tree.refused = "bad";
    const outcome result = load_text(tree, entry.text);
    EXPECT_FALSE(result.loaded);
    EXPECT_EQ(result.message, entry.message);
    EXPECT_EQ(result.code, entry.code);
    const std::string terminated = "(ERR): Loading terminated at (null):" + std::to_string(entry.line);
    EXPECT_EQ(traces.count("Loading terminated"), entry.line > 0 ? 1 : 0);
    if (entry.line > 0) {
      EXPECT_EQ(traces.lines().back().substr(2), terminated) << traces.text();
    }
    if (entry.trace != nullptr) {
      EXPECT_TRUE(traces.has(entry.trace)) << traces.text();
    }
    EXPECT_EQ(tree.nodes, "");
  }
}

TEST(Template, RefusalsAreCutAndSlotsAreBounded) {
  recording_tree tree;
  const std::string query(300, 'q');
  EXPECT_EQ(load_text(tree, "Query:" + query).message, ("Failed to parse query: " + query).substr(0, 255));

  const auto format = [](int slots) {
    std::string text = "Cmd: many\nOp: print_if\nFmt: ";
    for (int i = 0; i < slots; ++i) text += "%s";
    return text;
  };
  EXPECT_TRUE(load_text(tree, format(10000)).loaded);
  const outcome result = load_text(tree, format(10001));
  EXPECT_EQ(result.message, "Too many slots in format: many");
  EXPECT_EQ(result.code, 10000);
}

TEST(Template, KeepsWhatWasCompleteBeforeTheRefusal) {
  const test::balanced_memory balanced;
  recording_tree tree;
  EXPECT_FALSE(load_text(tree, "Cmd: a\nCmd: b\nCmd: c\nQuery: x\n").loaded);
  EXPECT_EQ(tree.nodes, "a < : no_op\nb < : no_op\n");
}

TEST(Template, TakesLongLinesWhole) {
  const test::balanced_memory balanced;
  recording_tree tree;
  const size_t size = 10u << 20;
  const std::string name(size, 'n');
  // Longer than one bounded copy takes, in each place where a part of a line is copied.
  const outcome result = load_text(tree, "Cmd: a\nOp: print_if\nFmt: %s\nProps: /a x:0\nValueMap: 0 k " +
                                             name + "\nCmd: b\nOp: no_op\nFmt: " + name + "\n");
  EXPECT_TRUE(result.loaded) << result.message;
  EXPECT_EQ(tree.nodes, "a < : print '%s' [x:1{k=" + name + "}] /a<0>\nb < : no_op\n");
}

TEST(Template, IsReadInLinearTime) {
  constexpr int count = 100000;
  const auto repeat = [](std::string text, const char *part) {
    for (int i = 0; i < count; ++i) text += part;
    return text + "\n";
  };
  const std::string text = "Cmd: a\nFmt: %s\n" + repeat("Props: /a x:0", " y:1") +
                           repeat("Location: /b l:SLOT", " f:2") + repeat("ValueMap: 0", " k v") +
                           repeat("Cond: ", "(eval ") + repeat("", "Orderby: x\n") + repeat("", "#\n\n");
  recording_tree tree;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(load_text(tree, text).loaded);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST(Buffers, GrowToTwiceTheNeed) {
  const test::balanced_memory balanced;
  zu_do_error *error = nullptr;
  tvr::loader::growable buffer;
  ASSERT_TRUE(tvr::loader::make_buffer(buffer, 100));
  ASSERT_TRUE(tvr::loader::grow(buffer, 100, &error));
  EXPECT_EQ(buffer.size, 100u);
  qmalloc_fail_nth(1, false);
  EXPECT_FALSE(tvr::loader::grow(buffer, 301, &error));
  qmalloc_fail_nth(0, false);
  EXPECT_STREQ(zu_do_error_get_msg(error), "Failed to reallocate buffer");
  EXPECT_EQ(buffer.size, 100u);
  ASSERT_TRUE(tvr::loader::grow(buffer, 301, &error));
  EXPECT_EQ(buffer.size, 602u);
  zu_do_error_deref(error);
}

// ---- Files and directories ----

class Directory : public ::testing::Test {
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

  void write(const std::string &path, const std::string &text) {
    std::filesystem::create_directories(std::filesystem::path(root + "/" + path).parent_path());
    std::ofstream(root + "/" + path) << text;
  }

  outcome load(const char *directory) {
    tree.nodes.clear();
    const test::balanced_memory balanced;
    return run([&](zu_do_error **error) { return zu_tvr_load_directory(tree, directory, error); });
  }

  static constexpr const char *variables[] = {"ZU_TVR_DIR", "ORLIX_INSTALL_PREFIX", "TARVO_BAY_LOCAL"};
  std::string root;
  recording_tree tree;
};

TEST_F(Directory, ReadsTemplateFilesByName) {
  write("b.tvr", "Cmd: b");
  write("a.tvr", "Cmd: a");
  write("\xc3\xa4.tvr", "Cmd: umlaut");
  write("Z.tvr", "Cmd: Z");
  write(".tvr", "Cmd: dot");
  write("c.txt", "Op: no");
  write("tvr", "Op: no");
  write("d.TVR", "Op: no");
  write("sub/e.tvr", "Op: no");
  EXPECT_TRUE(load(root.c_str()).loaded);
  EXPECT_EQ(tree.nodes, "dot < : no_op\nZ < : no_op\na < : no_op\nb < : no_op\numlaut < : no_op\n");
}

TEST_F(Directory, ListIsReadInTurn) {
  write("two/b.tvr", "Cmd: b");
  write("one/c.tvr", "Cmd: c");
  const std::string list = ":" + root + "/one::" + root + "/two:";
  EXPECT_TRUE(load(list.c_str()).loaded);
  EXPECT_EQ(tree.nodes, "c < : no_op\nb < : no_op\n");
  EXPECT_TRUE(load("").loaded);
  EXPECT_TRUE(load(":").loaded);

  const test::trace_log traces;
  const outcome result = load((root + "/one:" + root + "/none:" + root + "/two").c_str());
  EXPECT_FALSE(result.loaded);
  EXPECT_EQ(result.code, 10001);
  EXPECT_EQ(result.message, "Unable to open directory");
  EXPECT_TRUE(traces.has("(ERR): Unable to open dir " + root + "/none"));
  EXPECT_EQ(tree.nodes, "c < : no_op\n");
}

TEST_F(Directory, StopsAtTheFirstBadFile) {
  write("a.tvr", "Cmd: a\nCmd: b\n\n\nOp: x\nCmd: c\n");
  write("b.tvr", "Cmd: z");
  test::trace_log traces;
  outcome result = load(root.c_str());
  EXPECT_FALSE(result.loaded);
  EXPECT_EQ(result.message, "Invalid Op in node: x");
  EXPECT_EQ(tree.nodes, "a < : no_op\n");
  EXPECT_EQ(traces.lines().back(), "3 (ERR): Loading terminated at " + root + "/a.tvr:6");

  // These fail without an error object.
  for (const char *kind : {"empty", "directory"}) {
    SCOPED_TRACE(kind);
    std::filesystem::remove_all(root + "/a.tvr");
    if (kind[0] == 'e') {
      write("a.tvr", "");
    } else {
      write("a.tvr/inner.tvr", "Cmd: inner");
    }
    traces.clear();
    result = load(root.c_str());
    EXPECT_FALSE(result.loaded);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(traces.lines().size(), 1u) << traces.text();
    EXPECT_EQ(tree.nodes, "");
    if (kind[0] == 'e') {
      EXPECT_TRUE(traces.has("(ERR): Unable to read contents of file " + root + "/a.tvr"));
    }
  }

  std::filesystem::remove_all(root + "/a.tvr");
  std::filesystem::create_symlink("nowhere", root + "/a.tvr");
  traces.clear();
  result = load(root.c_str());
  EXPECT_EQ(result.code, 10001);
  EXPECT_EQ(result.message, "Unable to open file for reading");
  EXPECT_TRUE(traces.has("(ERR): Unable to open file for reading: " + root + "/a.tvr"));
}

TEST_F(Directory, MessagesNameTheFile) {
  write("v.tvr", "TvrLangVersion: 3\n");
  EXPECT_EQ(load(root.c_str()).message,
            "TVR language version 3 in file " + root + "/v.tvr is outside of supported range: 0..1");
}

TEST_F(Directory, NoVersionOrRecordCarriesFromFileToFile) {
  write("a.tvr", "TvrLangVersion: 1\nCmd: a\nOp: push_mode\nDest: a\n");
  write("b.tvr", "TvrLangVersion: 1\nParent Cmd: p\nCmd: b\n");
  EXPECT_TRUE(load(root.c_str()).loaded);
  EXPECT_EQ(tree.nodes, "a < : jump a\nb < p: no_op\n");
}

TEST_F(Directory, IsFoundFromTheEnvironment) {
  const auto from = [](const test::trace_log &traces) -> std::string {
    static constexpr char prefix[] = "(info): loader loading from dir: ";
    for (const std::string &line : traces.lines()) {
      if (const size_t at = line.find(prefix); at != line.npos) return line.substr(at + sizeof prefix - 1);
    }
    return "(none)";
  };
  struct {
    const char *variable;
    std::string value;
    std::string directory;
  } const steps[] = {
      // The later variables have less say.
      {"TARVO_BAY_LOCAL", "", "(none)"},
      {"TARVO_BAY_LOCAL", "b1", "/tmp/sw/cfg/b1/tvr"},
      {"TARVO_BAY_LOCAL", std::string(5000, 'b'), "/tmp/sw/cfg/" + std::string(4095 - 12, 'b')},
      {"ORLIX_INSTALL_PREFIX", "", "tvr"},
      {"ORLIX_INSTALL_PREFIX", "/opt/app", "/opt/apptvr"},
      {"ORLIX_INSTALL_PREFIX", std::string(4092, 'p'), std::string(4092, 'p') + "tvr"},
      {"ORLIX_INSTALL_PREFIX", std::string(4093, 'p'), "(none)"},
      {"ZU_TVR_DIR", root, root},
      {"ZU_TVR_DIR", "", ""},
  };
  for (const auto &step : steps) {
    SCOPED_TRACE(std::string(step.variable) + "=" + step.value);
    ASSERT_EQ(setenv(step.variable, step.value.c_str(), 1), 0);
    const test::trace_log traces(6);
    const outcome result = load(nullptr);
    EXPECT_EQ(from(traces), step.directory);
    EXPECT_EQ(result.loaded, step.variable[0] == 'Z');
    if (step.value.empty() && step.variable[0] == 'T') {
      EXPECT_EQ(result.code, 0);
      EXPECT_TRUE(traces.has("(ERR): tvr bay env var is not set"));
    } else if (step.value.size() == 4093) {
      EXPECT_EQ(result.code, 10000);
      EXPECT_EQ(result.message, "tvr dir path exceeds maximum path length");
      EXPECT_TRUE(traces.has("(ERR): tvr dir path exceeds maximum path length"));
    }
  }
}

// ---- Exhausted memory ----

constexpr char rich_text[] =
    "TvrLangVersion: 1\n"
    "Cmd: r\nOp: get_one\nUri: /sys;id=$\n"
    "Cmd: c\nParent Cmd: r\nOp: get_collection\nUri: /a?b\nQuery: x=1\nOrderby: x\nLocationScheme: "
    "SLOT\nGroup:\n"
    "Cmd: i\nParent Cmd: c\nOp: iter\nLocationScheme: SLOT\n"
    "Cmd: j\nOp: push_mode\nDest: r\n"
    "Cmd: p\nOp: print_if\nFmt: %s %s %s %s and text enough to make the buffer grow to a size that holds all "
    "of this "
    "line\nProps: /a a:0:\"p\":multiline:1:\"q\":independent x:9\nLocation: /b l:SLOT slot:2\nProps: /c y:3\n"
    "ValueMap: 3 a b c d\n";

// Runs `load` with its n-th allocation failing, for every n. A load that gives true has done all of its work,
// one that gives false says why.
void fail_each_allocation_of(const std::function<bool(zu_do_error **)> &load) {
  for (const bool all_later : {false, true}) {
    uint64_t n = 1;
    for (bool fired = true; fired && !::testing::Test::HasFailure(); ++n) {
      SCOPED_TRACE("allocation " + std::to_string(n) + (all_later ? " and all later fail" : " fails"));
      const test::balanced_memory balanced;
      const test::trace_log traces;
      qmalloc_fail_nth(n, all_later);
      const outcome result = run(load);
      fired = qmalloc_fail_fired() > 0;
      qmalloc_fail_nth(0, false);
      EXPECT_TRUE(result.loaded || fired);
      const bool said_why = result.code != 0 || !traces.lines().empty();
      // With all later ones failing there is no memory for the error object either.
      EXPECT_TRUE(result.loaded ? !said_why : said_why || all_later) << traces.text();
      if (!all_later && result.code == 10000) {
        EXPECT_GT(traces.count("(ERR)"), 1) << "exhausted memory reported as bad text alone";
      }
    }
    EXPECT_GT(n, 50u);
  }
}

TEST_F(Directory, NoAllocationFailureIsSilent) {
  write("a.tvr", rich_text);
  ASSERT_TRUE(load(root.c_str()).loaded);
  const std::string complete = tree.nodes;
  fail_each_allocation_of([&](zu_do_error **error) {
    tree.nodes.clear();
    const bool loaded = zu_tvr_load_directory(tree, root.c_str(), error);
    EXPECT_TRUE(!loaded || tree.nodes == complete) << tree.nodes;
    EXPECT_TRUE(!loaded || *error == nullptr);
    return loaded;
  });
  fail_each_allocation_of([&](zu_do_error **error) { // the tree has its part in the failures
    const std::unique_ptr<zu_tvr_tree, test::releaser<zu_tvr_tree_delete>> real(zu_tvr_tree_new());
    return real != nullptr && zu_tvr_load_directory(real.get(), root.c_str(), error);
  });
  EXPECT_TRUE(load(root.c_str()).loaded);
}

} // namespace
