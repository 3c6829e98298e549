// Data files that are refused: each with its exact place and reason, nothing half loaded and nothing leaked.
#include <vector>

#include "store/store.h"
#include "support/objects.hpp"

namespace {

using rows = std::vector<std::pair<std::string, std::string>>;

// The error of a text that does not load; empty when it loads.
std::string refusal(std::string_view text) {
  zu_do_error *error = nullptr;
  zu_data_ifc *data = zu_store_load_text("f", text.data(), text.size(), &error);
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
           // The first fault is told, whether of the syntax or of what was read until then.
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
           // Classes behind the records count for them, and faults are told in the order of the file.
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
  const std::string_view text = R"({"classes": {"/a": {"x": {"type": "T", "default": [1]}}}, "records":
    {"/a;k=1": {"y": "a\tb"}, "//locations;loc=1/a;k=1": {}, "/b": {}, "/a;k=2": {}}})";
  test::fail_each_allocation([&] {
    zu_do_error *error = nullptr;
    zu_data_ifc *data = zu_store_load_text("f", text.data(), text.size(), &error);
    const test::own_error held(error);
    EXPECT_EQ(zu_do_error_get_code(error), data != nullptr ? ZU_OK : ZU_EXHAUSTED);
    if (data != nullptr) data->ops->free(data);
    return data != nullptr;
  });
}
