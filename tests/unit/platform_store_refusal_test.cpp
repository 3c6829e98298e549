// Data files that are refused: each with its exact place and reason, nothing half loaded and nothing leaked.
#include <array>
#include <vector>

#include "store/store.h"
#include "support/objects.hpp"

namespace {

using rows = std::vector<std::pair<std::string, std::string>>;

// The error of a text that does not load, or of files of classes "c1", "c2" beside it; empty when all load.
std::string refusal(std::string_view text, const std::vector<std::string> &classes = {}) {
  std::vector<zu_store_text> given;
  const char *const names[] = {"c1", "c2", "c3"};
  for (const auto &each : classes) given.push_back({names[given.size()], each.data(), each.size(), 0});
  const zu_store_text file = {"f", text.data(), text.size(), 0};
  zu_do_error *error = nullptr;
  zu_data_ifc *data = zu_store_load(&file, given.data(), given.size(), &error);
  const test::own_error held(error);
  if (data != nullptr) data->ops->free(data);
  EXPECT_EQ(zu_do_error_get_code(error), data != nullptr ? 0 : ZU_FAILED);
  return data != nullptr ? "" : zu_do_error_get_msg(error);
}

std::string records(const std::string &inner) {
  return "{\"records\": {" + inner + "}}";
}

std::string nested(int depth) {
  return records("\"/a\": {\"x\": " + std::string(depth, '[') + "1" + std::string(depth, ']') + "}");
}

} // namespace

TEST(store_refusal, syntax) {
  for (const auto &[text, message] : rows{
           {" \n ", "f:2:2: the document is empty"},
           {"\xef\xbb\xbf{}", "f:1:1: expected a value"},
           {"{\"records\": {}}\n{}", "f:2:1: text after the end of the document"},
           {records(R"("/a": {"x": [1, 2})"), "f:1:31: expected ',' or ']'"},
           {records(R"("/a": {"x" 1})"), "f:1:25: expected ':' after the name"},
           {records(R"("/a": {"x": 1,})"), "f:1:28: expected a name in quotes"},
           {records(R"("/a": {"x": nul})"), "f:1:26: expected a value"},
           {records(R"("/a": {"x": 01})"), "f:1:26: malformed number"},
           {records(R"("/a": {"x": "open})"), "f:1:26: string without an end"},
           {records("\"/a\": {\"x\": \"a\nb\"}"), "f:1:28: control character in a string"},
           {records(R"("/a": {"x": "a\qb"})"), "f:1:28: unknown escape in a string"},
           {records(R"("/a": {"x": "\ud800"})"), "f:1:27: half of a surrogate pair in a string"},
           {records(R"("/a": {"x": "\ud800\u0041"})"), "f:1:27: half of a surrogate pair in a string"},
           {records("\"/a\": {\"x\": \"\xed\xa0\x80\"}"), "f:1:27: the text is not valid UTF-8"},
           {records(R"("/a": {"x": [-1e400]})"), "f:1:27: a number out of range"},
           // The parser's own words in the text are not those of its message.
           {records("\"/a\": {\"x\": 1 \"unexpected string literal number literal\"\n\"y\": nul}"),
            "f:1:28: expected ',' or '}'"},
           {records(R"("/a": {"x": "after backslash", 1})"), "f:1:45: expected a name in quotes"},
           {"{\"missing closing quote\"\n: 1 \"'; expected ':'", "f:2:5: string without an end"},
           // The first fault is reported, whether it is one of the syntax or of the values read until then.
           {records(R"("/a": {"x": [1}, "/b?c": {})"), "f:1:28: expected ',' or ']'"},
           {records(R"("/b?c": {}, "/a": {"x": [1})"), "f:1:14: URI \"/b?c\" of a record has a query"},
       }) {
    EXPECT_EQ(refusal(text), message) << text;
  }
  const std::string whole = R"({"classes": {"/a": {"x": {"type": "T", "default": [1, {"v": null}]}}},
                                "records": {"/a;k=\u00e9": {"x": "q\"", "y": -1.5e3}}})";
  for (size_t length = 0; length <= whole.size(); ++length) {
    EXPECT_EQ(refusal(whole.substr(0, length)).empty(), length == whole.size()) << length;
  }
  EXPECT_EQ(refusal(nested(61)), "");
  for (const int depth : {62, 100000}) {
    EXPECT_EQ(refusal(nested(depth)), "f:1:87: nested deeper than 64 levels");
  }
}

TEST(store_refusal, members_and_classes) {
  const auto classes = [](const std::string &inner) {
    return "{\"classes\": {" + inner + "}, \"records\": {}}";
  };
  const std::string no_keys = " of a class: a path has names only, without a location";
  for (const auto &[text, message] : rows{
           {"{\"records\": {},\n\"records\": {}}", "f:2:1: duplicate member \"records\" of the file"},
           {"{\"records\": []}", "f:1:13: member \"records\" must be an object"},
           {classes(R"("/a": {}, "a": {})"), "f:1:24: duplicate class \"/a\""},
           {classes(R"("/a": 1)"), "f:1:20: class \"/a\" must be an object"},
           {classes(R"("/a;k=1": {})"), "f:1:14: bad path \"/a;k=1\"" + no_keys},
           {classes(R"("/a//b": {})"), "f:1:14: bad path \"/a//b\" of a class: empty segment"},
           {classes(R"("/a": {"x": {}, " x ": {}})"), "f:1:30: duplicate property \"x\" of class \"/a\""},
           {classes(R"("/a": {"x": {"default": 1, "default": 1}})"),
            "f:1:41: duplicate member \"default\" of property \"x\""},
           {classes(R"("/a": {"x": {"type": 1}})"),
            "f:1:35: the type of property \"x\" must be a string that is not empty"},
           {classes(R"("/a": {"x": {"default": [1], "type": "PasswordString"}})"),
            "f:1:38: a PasswordString is an array"},
           {classes(R"("/a": {"_pending_attrs": {"default": 1}})"),
            "f:1:51: property \"_pending_attrs\" must be a string"},
           // Classes that come after the records apply to them,
           // and faults are reported in the order of the file.
           {R"({"records": {"/a": {"x": [1]}}, "classes": {"/a": {"x": {"type": "PasswordString"}}}})",
            "f:1:26: a PasswordString is an array"},
           {R"({"records": {"/a": 1}, "classes": 1})", "f:1:20: record \"/a\" must be an object"},
       }) {
    EXPECT_EQ(refusal(text), message) << text;
  }
}

TEST(store_refusal, records) {
  for (const auto &[inner, message] : rows{
           {R"("/a": 1)", "f:1:20: record \"/a\" must be an object"},
           {R"("/a;k=%41": {}, "/a;k=A": {})", "f:1:30: duplicate record \"/a;k=A\""},
           // The second is of the pattern of the first.
           {R"("/a;k=%2F/b": {}, "/a;k=/b": {}, "/a;k=%2f/b": {})",
            "f:1:47: duplicate record \"/a;k=%2F/b\""},
           {R"("/a;k=1": {}, "/a;k=2/": {})", "f:1:28: bad URI \"/a;k=2/\": empty segment"},
           {R"("/a\u0000": {})", "f:1:14: a name holds a NUL"},
           {R"("/a": {"x": 1, "\u0078": 1})", "f:1:29: duplicate property \"x\""},
           {R"("/a": {"": 1})", "f:1:21: a property name is empty"},
           {R"("/a": {"bad\nname:": 1})", "f:1:21: property name \"bad\\x0Aname:\" has a ':'"},
           {R"("/a": {"_coll_uri": 1})", "f:1:21: property name \"_coll_uri\" is the data store's own"},
           {R"("/a": {"_pending_attrs": ["x"]})", "f:1:21: property \"_pending_attrs\" must be a string"},
           {R"("/a;k=1": {"k": null})", "f:1:25: property \"k\" contradicts the key \"1\" of the URI"},
       }) {
    EXPECT_EQ(refusal(records(inner)), message) << inner;
  }
}

TEST(store_refusal, values_that_do_not_fit) {
  const auto file = [](const std::string &declared, const std::string &record) {
    return R"({"classes": {"/a": {"x": {)" + declared + "}}},\n\"records\": {" + record + "}}";
  };
  const std::string number = R"("kind": "number")", some = R"("enum": ["up", 1, true])";
  const std::string places = R"("kind": "array", "enum": [1, 2])";
  for (const auto &[declared, record, message] : std::vector<std::array<std::string, 3>>{
           {number, R"("/a": {"x": 1}, "/a;k=1": {"x": {"T": 1.5}}, "/a;k=2": {"x": null}, "/a;k=3": {})",
            ""},
           {number, R"("/a": {"x": "1"})", "f:2:25: property \"x\" must be a number"},
           {R"("kind": "boolean")", R"("/a": {"x": 1})", "f:2:25: property \"x\" must be true or false"},
           {R"("kind": "text")", R"("/a": {"x": [1]})", "f:2:25: property \"x\" must be a string"},
           {R"("kind": "array")", R"("/a": {"x": {"T": 1}})", "f:2:25: property \"x\" must be an array"},
           {some, R"("/a": {"x": true}, "/a;k=1": {"x": ["up", null, 1.0]}, "/a;x=up": {})", ""},
           {some, R"("/a": {"x": "1"})", "f:2:25: property \"x\" must be one of \"up\", 1, true"},
           {places, R"("/a": {"x": [1, [2]]}, "/a;k=1": {"x": [1, 3]})",
            "f:2:52: property \"x\" must be one of 1, 2"},
           // A key is what its text is as a value of that kind.
           {number, R"("/a;x=0": {}, "/a;x=-1.5": {"x": -1.5}, "/a;x=18446744073709551615": {})", ""},
           {number, R"("/a;x=010": {})", "f:2:13: key \"x\" must be a number"},
           {number, R"("/a;x=inf": {})", "f:2:13: key \"x\" must be a number"},
           {number, R"("/a;x=": {})", "f:2:13: key \"x\" must be a number"},
           {number, R"("/a;x=1": {"x": "1"})", "f:2:29: property \"x\" must be a number"},
           {R"("kind": "boolean")", R"("/a;x=true": {}, "/a;x=yes": {})",
            "f:2:30: key \"x\" must be true or false"},
           {number + ", " + R"("enum": [1, 2])", R"("/a;x=3": {})", "f:2:13: key \"x\" must be one of 1, 2"},
           // What a class says must fit itself.
           {R"("kind": "integer")", "",
            "f:1:35: the kind of property \"x\" must be \"number\", \"boolean\", \"text\" or \"array\""},
           {R"("default": "1", )" + number, "", "f:1:38: property \"x\" must be a number"},
           {R"("default": 2, "enum": [1])", "", "f:1:38: property \"x\" must be one of 1"},
           {R"("enum": [1, "2"], )" + number, "",
            "f:1:35: a value in the enum of property \"x\" must be a number"},
           {R"("enum": [])", "",
            "f:1:35: the enum of property \"x\" must be an array of numbers, booleans and strings"},
       }) {
    EXPECT_EQ(refusal(file(declared, record)), message) << declared << record;
  }
}

TEST(store_refusal, classes_in_several_files) {
  const auto classes = [](const std::string &inner) { return "{\"classes\":\n{\"/a\": {" + inner + "}}}"; };
  const std::string plain = classes(R"("x": {"kind": "number"}, "y": {})");
  const std::string data =
      "{\"classes\": {\"/a\": {\"x\": {\"default\": 1}}}, \"records\": {\"/a\": {\"x\": 2}}}";
  for (const auto &[files, message] : std::vector<std::pair<std::vector<std::string>, std::string>>{
           {{plain, plain, classes(R"("x": {"default": 1.0, "enum": [1, 2]})")}, ""},
           {{plain, classes(R"("x": {"kind": "text"})")},
            "c2:2:23: the kind of property \"x\" differs from that at c1:2:23"},
           {{plain, classes(R"("x": {"default": 2})")},
            "f:1:38: the default of property \"x\" differs from that at c2:2:26"},
           {{classes(R"("x": {"default": 1})"), classes(R"("x": {"type": "Text"})")},
            "c2:2:23: the type of property \"x\" differs from that at c1:2:26"},
           {{classes(R"("x": {"kind": "text"})")}, "f:1:38: property \"x\" must be a string"},
           {{classes(R"("x": {"enum": [1]})")}, "f:1:68: property \"x\" must be one of 1"},
           {{classes(R"("x": {"default": 1})"), classes(R"("x": {"enum": [2]})")},
            "c2:2:14: property \"x\" must be one of 2"},
           {{data}, "c1:1:44: unknown member \"records\" of a file of classes"},
           {{"{}"}, "c1:1:1: the file has no member \"classes\""},
           {{plain, "["}, "c2:1:1: the file must hold one object"},
       }) {
    EXPECT_EQ(refusal(data, files), message) << files.back();
  }
  zu_do_error *error = nullptr;
  const zu_store_text missing = {"/nowhere/c", nullptr, 0, 0}, file = {"f", data.data(), data.size(), 0};
  EXPECT_EQ(zu_store_load(&file, &missing, 1, &error), nullptr);
  const test::own_error held(error);
  EXPECT_EQ(zu_do_error_get_code(error), ZU_CANNOT_OPEN);
  EXPECT_STREQ(zu_do_error_get_msg(error), "/nowhere/c: No such file or directory");
}

// Records that each give another property take the square of their number in memory.
TEST(store_refusal, too_many_values) {
  const auto square = [](const char *path, int count) {
    std::string text;
    for (int i = 0; i < count; ++i) {
      const std::string number = std::to_string(i);
      text.append(path).append(number).append("\": {\"x").append(number).append("\": 1},\n");
    }
    return text;
  };
  const auto file = [](std::string inner) { return records(inner.erase(inner.size() - 2)); };
  EXPECT_EQ(refusal(file(square("\"/a;k=", 1000))), "");
  EXPECT_EQ(refusal(file(square("\"/a;k=", 6000))),
            "f:1:1: too many values: 6000 records of \"/a\" with 6001 properties each");
  EXPECT_EQ(refusal(file(square("\"/a;k=", 4200) + square("\"/b;k=", 4200))),
            "f:1:1: too many values: 4200 records of \"/b\" with 4201 properties each");
}

// What is hidden elsewhere must not be seen as an element of an array, or in the URI of its record.
TEST(store_refusal, secrets) {
  const auto classes = [](const std::string &declared, const std::string &record) {
    return "{\"classes\": {" + declared + "},\n\"records\": {" + record + "}}";
  };
  const std::string hidden = R"({"k": {"type": "PasswordString"}})";
  for (const auto &[text, message] : rows{
           {records(R"("/a": {"v": [{"PasswordString": "s3cret"}, "b"]})"),
            "f:1:28: a PasswordString stands in an array"},
           {records(R"("/a": {"v": [[1], [{"v": {"PasswordString": "s"}}]]})"),
            "f:1:40: a PasswordString stands in an array"},
           {records(R"("/a": {"v": {"List": [{"Text": {"PasswordString": null}}]}})"),
            "f:1:46: a PasswordString stands in an array"},
           {records(R"("/a": {"v": {"v": {"Text": {"PasswordString": "s3cret"}}}})"),
            "f:1:42: a PasswordString stands in a value of another type"},
           {records(R"("/a": {"v": {"PasswordString": {"PasswordString": {"Text": "s3cret"}}}})"), ""},
           {classes(R"("/a": {"k": {"type": "PasswordString", "enum": ["s3cret"]}})", R"("/a": {"k": "s"})"),
            "f:2:25: property \"k\" must be one of those that its class allows"},
           {records(R"("/a": {"v": {"v": {"PasswordString": ["s"]}}})"),
            "f:1:51: a PasswordString is an array"},
           {classes(R"("/a": {"x": {"default": [{"PasswordString": "s"}]}})", ""),
            "f:1:40: a PasswordString stands in an array"},
           {classes(R"("/a": )" + hidden, R"("/a;i=1;k=s3cret": {})"),
            "f:2:13: key \"k\" of URI \"/a;i=;k=\" is a PasswordString"},
           {classes(R"("/a": )" + hidden, R"("/a;i=1": {}, "//l;o=1/a;k=s3cret/b;i=2": {})"),
            "f:2:27: key \"k\" of URI \"//l;o=/a;k=/b;i=\" is a PasswordString"},
           {classes(R"("//l": )" + hidden, R"("//l;k=s3cret/a": {})"),
            "f:2:13: key \"k\" of URI \"//l;k=/a\" is a PasswordString"},
           {records(R"("/a;k=s": {"k": {"PasswordString": "s"}})"),
            "f:1:25: key \"k\" of the URI is a PasswordString"},
           {classes(R"("/a": )" + hidden, R"("/a": {"k": "s", "v": [{"Text": "t"}]}, "/a/b;k=1": {})"), ""},
       }) {
    EXPECT_EQ(refusal(text), message) << text;
  }
}

TEST(store_refusal, no_memory_is_a_clear_error_and_no_leak) {
  const std::string_view classes = R"({"classes": {"/a": {"x": {"kind": "array", "enum": [1, 2]}}}})";
  const zu_store_text also = {"c", classes.data(), classes.size(), 0};
  const std::string_view text = R"({"classes": {"/a": {"x": {"type": "T", "default": [1]}}}, "records":
    {"/a;k=1": {"y": "a\tb"}, "//locations;loc=1/a;k=1": {}, "/b": {}, "/a;k=2": {}}})";
  const zu_store_text file = {"f", text.data(), text.size(), 0};
  test::fail_each_allocation([&] {
    zu_do_error *error = nullptr;
    zu_data_ifc *data = zu_store_load(&file, &also, 1, &error);
    const test::own_error held(error);
    EXPECT_EQ(zu_do_error_get_code(error), data != nullptr ? ZU_OK : ZU_EXHAUSTED);
    if (data != nullptr) data->ops->free(data);
    return data != nullptr;
  });
}
