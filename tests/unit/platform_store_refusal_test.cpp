// Data files that are refused: each with its exact place and reason, nothing half loaded and nothing leaked.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "qmalloc/qmalloc.h"
#include "store/store.h"
#include "support.h"
#include "zuapi/zuapi.h"

namespace {

struct refused {
  int32_t code;
  std::string message;
};

// Loads what must not load.
refused refuse_text(std::string_view text) {
  zu_do_error *error = nullptr;
  zu_data_ifc *data = zu_store_load_text("f", text.data(), text.size(), &error);
  EXPECT_EQ(data, nullptr) << text;
  if (data != nullptr) data->ops->free(data);
  refused result = {zu_do_error_get_code(error), error == nullptr ? "" : zu_do_error_get_msg(error)};
  zu_do_error_deref(error);
  return result;
}

refused refuse_file(const std::string &path) {
  zu_do_error *error = nullptr;
  EXPECT_EQ(zu_store_load_file(path.c_str(), &error), nullptr);
  refused result = {zu_do_error_get_code(error), zu_do_error_get_msg(error)};
  zu_do_error_deref(error);
  return result;
}

std::string records(const std::string &inner) {
  return "{\"records\": {" + inner + "}}";
}

std::string classes(const std::string &inner) {
  return "{\"classes\": {" + inner + "}, \"records\": {}}";
}

std::string nested(int depth) {
  return records("\"/a\": {\"x\": " + std::string(depth, '[') + "1" + std::string(depth, ']') + "}");
}

const std::string end_of_text = "the document ends too early";

} // namespace

TEST(store_refusal, syntax) {
  const test::balanced_memory balanced;
  const std::pair<std::string, std::string> rows[] = {
      {"", "f:1:1: the document is empty"},
      {" \n ", "f:2:2: the document is empty"},
      {"\xef\xbb\xbf{}", "f:1:1: expected a value"},
      {"[]", "f:1:1: the file must hold one object"},
      {"\n 12", "f:2:2: the file must hold one object"},
      {"{\"records\": {}} x", "f:1:17: text after the end of the document"},
      {"{\"records\": {}}\n{}", "f:2:1: text after the end of the document"},
      {"{\"records\": {}", "f:1:15: " + end_of_text},
      {"{\"records\": {\"/a\": {\"x\": [1, 2}}}", "f:1:31: expected ',' or ']'"},
      {"{\"records\": {\"/a\": {\"x\" 1}}}", "f:1:25: expected ':' after the name"},
      {"{\"records\": {\"/a\": {\"x\": 1 \"y\": 2}}}", "f:1:28: expected ',' or '}'"},
      {"{\"records\": {\"/a\": {\"x\": 1,}}}", "f:1:28: expected a name in quotes"},
      {"{\"records\": {\"/a\": {x: 1}}}", "f:1:21: expected a name in quotes"},
      {"{\"records\": {\"/a\": {\"x\": [1,]}}}", "f:1:29: expected a value"},
      {"{\"records\": {\"/a\": {\"x\": nul}}}", "f:1:26: expected a value"},
      {"{\"records\": {\"/a\": {\"x\": truex}}}", "f:1:30: expected ',' or '}'"},
      {"{\"records\": {\"/a\": {\"x\": 01}}}", "f:1:26: malformed number"},
      {"{\"records\": {\"/a\": {\"x\": 1.}}}", "f:1:26: malformed number"},
      {"{\"records\": {\"/a\": {\"x\": -}}}", "f:1:26: malformed number"},
      {"{\"records\": {\"/a\": {\"x\": \"open}}}", "f:1:26: string without an end"},
      {"{\"records\": {\"/a\": {\"x\": \"a\nb\"}}}", "f:1:28: control character in a string"},
      {"{\"records\": {\"/a\": {\"x\": \"a\\qb\"}}}", "f:1:28: unknown escape in a string"},
      {"{\"records\": {\"/a\": {\"x\": \"\\ud800\"}}}", "f:1:27: half of a surrogate pair in a string"},
      {"{\"records\": {\"/a\": {\"x\": \"\\ud800\\u0041\"}}}",
       "f:1:27: half of a surrogate pair in a string"},
      {"{\"records\": {\"/a\": {\"x\": \"\xc3(\"}}}", "f:1:27: the text is not valid UTF-8"},
      {"{\"records\": {\"/a\": {\"x\": \"\xed\xa0\x80\"}}}", "f:1:27: the text is not valid UTF-8"},
      {"{\"records\": {\"/a\": {\"\xff\": 1}}}", "f:1:22: the text is not valid UTF-8"},
      // A fault in the syntax comes before whatever else a reader that goes on would find wrong.
      {"{\"records\": {\"/a\": {\"x\": [1}, \"/b?c\": {}}}", "f:1:28: expected ',' or ']'"},
      // And the other way round.
      {"{\"records\": {\"/b?c\": {},\n \"/a\": {\"x\": [1}}}",
       "f:1:14: URI \"/b?c\" of a record has a query"},
  };
  for (const auto &[text, message] : rows) {
    const refused result = refuse_text(text);
    EXPECT_EQ(result.message, message) << text;
    EXPECT_EQ(result.code, ZU_FAILED) << text;
  }
}

TEST(store_refusal, members_and_classes) {
  const test::balanced_memory balanced;
  const std::string empty = "\"records\": {}";
  const std::pair<std::string, std::string> rows[] = {
      {"{}", "f:1:1: the file has no member \"records\""},
      {"{\"classes\": {}}", "f:1:1: the file has no member \"records\""},
      {"{" + empty + ", \"extra\": 1}", "f:1:17: unknown member \"extra\" of the file"},
      {"{" + empty + ",\n" + empty + "}", "f:2:1: duplicate member \"records\" of the file"},
      {"{\"records\": []}", "f:1:13: member \"records\" must be an object"},
      {"{\"classes\": 1, " + empty + "}", "f:1:13: member \"classes\" must be an object"},
      {classes("\"/a\": {}, \"a\": {}"), "f:1:24: duplicate class \"/a\""},
      {classes("\"/a\": 1"), "f:1:20: class \"/a\" must be an object"},
      {classes("\"/a;k=1\": {}"),
       "f:1:14: bad path \"/a;k=1\" of a class: a path has names only, without a location"},
      {classes("\"/a?b\": {}"),
       "f:1:14: bad path \"/a?b\" of a class: a path has names only, without a location"},
      {classes("\"//locations/a\": {}"),
       "f:1:14: bad path \"//locations/a\" of a class: a path has names only, without a location"},
      {classes("\"/a//b\": {}"), "f:1:14: bad path \"/a//b\" of a class: empty segment"},
      {classes("\"/a\": {\"x\": {}, \" x \": {}}"), "f:1:30: duplicate property \"x\" of class \"/a\""},
      {classes("\"/a\": {\"x\": 1}"), "f:1:26: the declaration of property \"x\" must be an object"},
      {classes("\"/a\": {\"x\": {\"units\": 1}}"), "f:1:27: unknown member \"units\" of property \"x\""},
      {classes("\"/a\": {\"x\": {\"default\": 1, \"default\": 1}}"),
       "f:1:41: duplicate member \"default\" of property \"x\""},
      {classes("\"/a\": {\"x\": {\"type\": 1}}"),
       "f:1:35: the type of property \"x\" must be a string that is not empty"},
      {classes("\"/a\": {\"x\": {\"default\": [1], \"type\": \"PasswordString\"}}"),
       "f:1:38: a PasswordString is an array"},
      {classes("\"/a\": {\"m:x\": {}}"), "f:1:21: property name \"m:x\" has a ':'"},
      {classes("\"/a\": {\"_pending_attrs\": {\"default\": 1}}"),
       "f:1:51: property \"_pending_attrs\" must be a string"},
  };
  for (const auto &[text, message] : rows) EXPECT_EQ(refuse_text(text).message, message) << text;
}

TEST(store_refusal, records) {
  const test::balanced_memory balanced;
  const std::string long_location(16, '9');
  const std::pair<std::string, std::string> rows[] = {
      {"\"/a\": 1", "f:1:20: record \"/a\" must be an object"},
      {"\"/a\": {}, \"/b\": {},\n \"a\": {}", "f:2:2: duplicate record \"/a\""},
      {"\"/a;k=%41\": {}, \"/a;k=A\": {}", "f:1:30: duplicate record \"/a;k=A\""},
      {"\"/a?b\": {}", "f:1:14: URI \"/a?b\" of a record has a query"},
      {"\"/a//b\": {}", "f:1:14: bad URI \"/a//b\": empty segment"},
      {"\"/a;k=1;k=2\": {}", "f:1:14: bad URI \"/a;k=1;k=2\": key given twice"},
      {"\"/a;k=%zz\": {}", "f:1:14: bad URI \"/a;k=%zz\": malformed % in a value"},
      {"\"/a\\u0000\": {}", "f:1:14: a name holds a NUL"},
      {"\"/a;b:k=1\": {}", "f:1:14: property name \"b:k\" has a ':'"},
      {"\"/a;_uri=1\": {}", "f:1:14: property name \"_uri\" is the data store's own"},
      {"\"//locations;loc=" + long_location + "/a\": {}",
       "f:1:14: the location of \"//locations;loc=" + long_location + "/a\" is longer than 15 bytes"},
      {"\"/a\": {\"x\": 1, \"x\": 1}", "f:1:29: duplicate property \"x\""},
      {"\"/a\": {\"x\": 1, \"\\u0078\": 1}", "f:1:29: duplicate property \"x\""},
      {"\"/a\": {\"\": 1}", "f:1:21: a property name is empty"},
      {"\"/a\": {\"m:x\": 1}", "f:1:21: property name \"m:x\" has a ':'"},
      {"\"/a\": {\"_coll_uri\": 1}", "f:1:21: property name \"_coll_uri\" is the data store's own"},
      {"\"/a\": {\"_pending_attrs\": [\"x\"]}", "f:1:21: property \"_pending_attrs\" must be a string"},
      {"\"/a;k=1\": {\"k\": 2}", "f:1:25: property \"k\" contradicts the key \"1\" of the URI"},
      {"\"/a;k=1\": {\"k\": null}", "f:1:25: property \"k\" contradicts the key \"1\" of the URI"},
      {"\"/a;k=1\": {\"k\": [1]}", "f:1:25: property \"k\" contradicts the key \"1\" of the URI"},
      {"\"/a\": {\"x\": {\"PasswordString\": [1]}}", "f:1:45: a PasswordString is an array"},
      {"\"/a\": {\"x\": {}}", "f:1:26: an object as a value must have exactly one member"},
      {"\"/a\": {\"x\": {\"v\": 1, \"w\": 2}}", "f:1:26: an object as a value must have exactly one member"},
      {"\"/a\": {\"x\": {\"\": 1}}", "f:1:27: a typedef name is empty"},
      {"\"/a\": {\"x\": \"a\\u0000\"}", "f:1:26: a string holds a NUL"},
      {"\"/a\": {\"x\": 1e999}", "f:1:26: a number out of range"},
      {"\"/a\": {\"x\": 18446744073709551616}", "f:1:26: a number out of range"},
      {"\"/a\": {\"bad\\nname:\": 1}", "f:1:21: property name \"bad\\x0Aname:\" has a ':'"},
  };
  for (const auto &[inner, message] : rows) EXPECT_EQ(refuse_text(records(inner)).message, message) << inner;
}

TEST(store_refusal, nesting_is_at_most_64_with_the_files_own_three_levels) {
  const test::balanced_memory balanced;
  EXPECT_EQ(refuse_text(nested(62)).message, "f:1:87: nested deeper than 64 levels");
  EXPECT_EQ(refuse_text(nested(100000)).message, "f:1:87: nested deeper than 64 levels");
  zu_do_error *error = nullptr;
  const std::string good = nested(61);
  zu_data_ifc *data = zu_store_load_text("f", good.data(), good.size(), &error);
  ASSERT_NE(data, nullptr) << zu_do_error_get_msg(error);
  data->ops->free(data);
}

TEST(store_refusal, every_cut_of_a_file_is_refused) {
  const test::balanced_memory balanced;
  const std::string whole =
      "{\"classes\": {\"/a\": {\"x\": {\"type\": \"T\", \"default\": [1, {\"v\": null}]}}},\n"
      "\"records\": {\"/a;k=\\u00e9\": {\"x\": \"q\\\"\", \"y\": -1.5e3}}}";
  for (size_t length = 0; length < whole.size(); ++length) {
    const refused result = refuse_text(std::string_view(whole).substr(0, length));
    EXPECT_TRUE(result.message.starts_with("f:1:") || result.message.starts_with("f:2:")) << length;
  }
}

TEST(store_refusal, files_that_cannot_be_read) {
  const test::balanced_memory balanced;
  const std::string folder = testing::TempDir();
  refused result = refuse_file(folder + "no such file");
  EXPECT_EQ(result.message, folder + "no such file: No such file or directory");
  EXPECT_EQ(result.code, ZU_CANNOT_OPEN);
  result = refuse_file(folder);
  EXPECT_EQ(result.message, folder + ": Is a directory");
  EXPECT_EQ(result.code, ZU_CANNOT_OPEN);
}

TEST(store_refusal, a_pipe_is_read_to_its_end) {
  const test::balanced_memory balanced;
  const std::string path = testing::TempDir() + "store_pipe_" + std::to_string(getpid());
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const std::string padding(300000, ' ');
  const std::string text = "{\"records\": {\"/a\": {}}}" + padding + "\n";
  std::thread writer([&] {
    const int pipe = open(path.c_str(), O_WRONLY);
    for (size_t at = 0; at < text.size();) {
      const ssize_t written = write(pipe, text.data() + at, text.size() - at);
      if (written <= 0) break;
      at += static_cast<size_t>(written);
    }
    close(pipe);
  });
  zu_do_error *error = nullptr;
  zu_data_ifc *data = zu_store_load_file(path.c_str(), &error);
  writer.join();
  unlink(path.c_str());
  ASSERT_NE(data, nullptr) << zu_do_error_get_msg(error);
  data->ops->free(data);
}

TEST(store_refusal, no_memory_is_a_clear_error_and_no_leak) {
  const std::string text =
      "{\"classes\": {\"/a\": {\"x\": {\"type\": \"T\", \"default\": [1]}}},\n"
      "\"records\": {\"/a;k=1\": {\"y\": \"a\\tb\"}, \"//locations;loc=1/a;k=1\": {}, \"/b\": {},"
      " \"/a;k=2\": {}}}";
  uint64_t n = 1;
  for (bool failed = true; failed; ++n) {
    const test::balanced_memory balanced;
    zu_do_error *error = nullptr;
    qmalloc_fail_nth(n, false);
    zu_data_ifc *data = zu_store_load_text("f", text.data(), text.size(), &error);
    failed = qmalloc_fail_fired() != 0;
    qmalloc_fail_nth(0, false);
    EXPECT_EQ(data == nullptr, failed) << n;
    if (error != nullptr) {
      EXPECT_STREQ(zu_do_error_get_msg(error), "f: out of memory") << n;
      EXPECT_EQ(zu_do_error_get_code(error), ZU_EXHAUSTED) << n;
    }
    if (data != nullptr) data->ops->free(data);
    zu_do_error_deref(error);
  }
  EXPECT_GT(n, 10u);
}
