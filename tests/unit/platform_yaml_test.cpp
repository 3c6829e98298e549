// YAML as JSON: what each form means, and where a text is refused.
#include <vector>

#include "qmalloc/qmalloc.h"
#include "store/store.h"
#include "support/objects.hpp"

namespace {

using rows = std::vector<std::pair<std::string, std::string>>;

// The JSON text without its line feeds, or the error.
std::string json_of(std::string_view text) {
  zu_do_error *error = nullptr;
  char *json = zu_store_json_of_yaml("f", text.data(), text.size(), &error);
  const test::own_error held(error);
  if (json == nullptr) return zu_do_error_get_msg(error);
  std::string made = json;
  qfree_named(json);
  std::erase(made, '\n');
  return made;
}

} // namespace

TEST(yaml, values) {
  for (const auto &[text, json] : rows{
           {"{a: 1, 'b': two words, \"c\": \"\\u00e9\\n\"}",
            "{\"a\":1,\"b\":\"two words\",\"c\":\"\u00e9\\u000A\"}"},
           {"[~, null, Null, '', \"null\"]", R"([null,null,null,"","null"])"},
           {"a:\nb:", R"({"a":null,"b":null})"},
           {"[true, False, yes, on, 'true']", R"([true,false,"yes","on","true"])"},
           {"[0, -7, +7, 007, 0o17, 0x1F, 18446744073709551615]", "[0,-7,7,7,15,31,18446744073709551615]"},
           {"[1.5, .5, -.5, 1., 1e3, 1.E+3, 01.50]", "[1.5,0.5,-0.5,1.0,1e3,1.0E+3,1.50]"},
           {"[-, +, ., e3, 1e, 0x, 0xg, 10.0.0.1, 1:2, 2026-11-23, .inf]",
            R"(["-","+",".","e3","1e","0x","0xg","10.0.0.1","1:2","2026-11-23",".inf"])"},
           {"- |\n  two\n  lines\n- >\n  one\n  line\n- plain\n  goes on\n",
            R"(["two\u000Alines\u000A","one line\u000A","plain goes on"])"},
           {"[!Text 5, !Text 'x', {Text: 5}, !List [1], !!str 5, !!int '5']",
            R"([{"Text":"5"},{"Text":"x"},{"Text":5},{"List":[1]},"5",5])"},
           {"a: &x [1, {b: c}]\nd: *x\ne: &y f\n*y : g", "f:4:1: a name must be a text, not an alias"},
           {"a: &x [1,\n {b: c}]\nd: *x\n", R"({"a":[1,{"b":"c"}],"d":[1,{"b":"c"}]})"},
           {"%YAML 1.2\n---\n# nothing else\na: \"\\\"\\\\\" # here\n...\n", R"({"a":"\"\\"})"},
           {"1: a\ntrue: b\n? c\n: d", R"({"1":"a","true":"b","c":"d"})"},
       }) {
    EXPECT_EQ(json_of(text), json) << text;
  }
}

TEST(yaml, tokens_keep_their_lines_and_faults_their_places) {
  const std::string text =
      "# one\nrecords:\n  /a:\n    b: |\n      two\n      lines\n    c: {d: [1,\n       2]}\n";
  char *json = zu_store_json_of_yaml("f", text.data(), text.size(), nullptr);
  EXPECT_STREQ(json,
               "\n{\"records\":\n{\"/a\":\n{\"b\":\"two\\u000Alines\\u000A\",\n\n\n\"c\":{\"d\":[1,\n2]}}}}");
  qfree_named(json);

  for (const auto &[given, message] : rows{
           {"", "f:1:1: the document is empty"},
           {"# nothing\n", "f:1:1: the document is empty"},
           {"a: 1\n---\nb: 2\n", "f:2:1: more than one document"},
           {"a: [1\nb: 2", "f:2:2: end of sequence flow not found"},
           {"a: \"x", "f:1:6: illegal EOF in scalar"},
           {"a:\n  - b\n c", "f:3:2: end of map not found"},
           {"a: *b", "f:1:4: the referenced anchor is not defined"},
           {"a: &x [*x]", "f:1:8: an alias stands in what it stands for"},
           {"a: !!binary aGk=", "f:1:4: unknown tag"},
           {"a: !b4ng", "f:1:4: no text stands behind the tag"},
           {"a: !!int x", "f:1:4: the text does not fit its tag"},
           {"<<: {a: 1}", "f:1:1: mappings are not merged"},
           {"[a]: 1", "f:1:1: a name must be a text"},
           {"~: 1", "f:1:1: a name must be a text"},
           {"a: 1\nb: \x04", "f:2:4: control character"},
           {"a: 1\nb: \xff", "f:2:1: the line is not valid UTF-8"},
           {std::string("a: 1\0b", 6), "f:1:5: control character"},
       }) {
    EXPECT_EQ(json_of(given), message) << given;
  }
}

TEST(yaml, a_store_loads_it_and_refuses_with_its_places) {
  const auto refusal = [](std::string_view text) -> std::string {
    zu_do_error *error = nullptr;
    zu_data_ifc *data = zu_store_load_yaml("f", text.data(), text.size(), &error);
    const test::own_error held(error);
    if (data != nullptr) data->ops->free(data);
    return data != nullptr ? "" : zu_do_error_get_msg(error);
  };
  for (const auto &[text, message] : rows{
           {"records: {/a: {b: 1}}", ""},
           {"records:\n  /a: {b: 1,\n       b: 2}", "f:3:8: duplicate property \"b\""},
           {"records:\n  /a: [1]", "f:2:7: record \"/a\" must be an object"},
           {"records:\n  /a: {pw:x, n: 1}", "f:2:8: property name \"pw:...\" has a ':'"},
           {"records:\n  /a: {b: [&s !PasswordString x]}", "f:2:12: a PasswordString stands in an array"},
           {"records:\n  /a: {n: 99999999999999999999}", "f:2:11: a number out of range"},
           {"classes: {}\n", "f:1:1: the file has no member \"records\""},
       }) {
    EXPECT_EQ(refusal(text), message) << text;
  }
  // Aliases of aliases: nine lines that would become a gigabyte.
  std::string bomb = "a0: &a0 [xxxxxxxxxx]\n";
  for (int i = 1; i < 9; ++i) {
    const std::string alias = ", *a" + std::to_string(i - 1);
    bomb += "a" + std::to_string(i) + ": &a" + std::to_string(i) + " [x" + alias + alias + alias + alias +
            alias + alias + alias + alias + alias + alias + "]\n";
  }
  EXPECT_NE(refusal(bomb).find("aliases make the text too long"), std::string::npos);
  EXPECT_NE(refusal("a: " + std::string(100000, '[')), "");
  EXPECT_EQ(qmalloc_count(ZU_DO_AREA).live_blocks, 0);
}
