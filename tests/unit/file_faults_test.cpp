// Template and data files when the file system fails: each
// call in turn, and files that change under the reader.
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>

#include "store/store.h"
#include "support/objects.hpp"
#include "support/recording_tree.hpp"
#include "zu_tovra/loader.h"

namespace fs = std::filesystem;

// The readers' calls come here on their way to the system.
namespace {
struct {
  int failing = 0; // so many calls from now fails; 0: none
  int number = EIO;
  std::string failed;                              // what failed
  std::function<void(const std::string &)> before; // each call
} calls;

bool fails(const char *call) {
  if (const auto hook = calls.before) hook(call); // a copy: it may take itself away
  if (calls.failing == 0 || --calls.failing > 0) return false;
  calls.failed = call;
  errno = calls.number;
  return true;
}
} // namespace

#define ON_THE_WAY(result, name, parameters, arguments, failure)                         \
  result name parameters {                                                               \
    static const auto real = reinterpret_cast<decltype(&name)>(dlsym(RTLD_NEXT, #name)); \
    return fails(#name) ? (failure) : real arguments;                                    \
  }
#pragma GCC visibility push(default)
extern "C" {
ON_THE_WAY(DIR *, opendir, (const char *path), (path), nullptr)
ON_THE_WAY(dirent *, readdir, (DIR * directory), (directory), nullptr)
ON_THE_WAY(int, open, (const char *path, int flags, ...), (path, flags), -1) // none of them creates a file
ON_THE_WAY(FILE *, fdopen, (int number, const char *mode) noexcept, (number, mode), nullptr)
ON_THE_WAY(int, fseek, (FILE * file, long offset, int whence), (file, offset, whence), -1)
ON_THE_WAY(long, ftell, (FILE * file), (file), -1)
ON_THE_WAY(size_t, fread, (void *into, size_t size, size_t count, FILE *file), (into, size, count, file), 0)
ON_THE_WAY(int, fstat, (int number, struct stat *about) noexcept, (number, about), -1)
ON_THE_WAY(ssize_t, read, (int number, void *into, size_t length), (number, into, length), -1)
}
#pragma GCC visibility pop

namespace {

int lowest_free_descriptor() {
  const int number = dup(STDERR_FILENO);
  close(number);
  return number;
}

std::string told(zu_do_error *error) {
  const test::own_error held(error);
  return error == nullptr ? ""
                          : std::to_string(zu_do_error_get_code(error)) + " " + zu_do_error_get_msg(error);
}

class file_faults : public testing::Test {
protected:
  void SetUp() override {
    char pattern[] = "/tmp/tovra_faults_XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    root = pattern;
  }
  void TearDown() override {
    calls = {};
    fs::remove_all(root);
  }

  void write(const char *name, const std::string &text) const { std::ofstream(root / name) << text; }

  // The result of a load: "loaded", or its error (nothing
  // without an error object); and the nodes that it made.
  std::string load() {
    tree.nodes.clear();
    const int descriptor = lowest_free_descriptor();
    zu_do_error *error = nullptr;
    const bool loaded = zu_tvr_load_directory(tree, root.c_str(), &error);
    const std::string message = told(error);
    EXPECT_EQ(lowest_free_descriptor(), descriptor);
    EXPECT_TRUE(!loaded || message.empty());
    return (loaded ? "loaded" : message) + ", " + tree.nodes;
  }

  // Runs with the first call failed, then the second and so on, and gives what failed and what came of it.
  static std::string fail_each_call(const std::function<std::string()> &run) {
    std::string all;
    for (int n = 1;; ++n) {
      calls.failing = n;
      const std::string result = run();
      if (std::exchange(calls.failing, 0) > 0) return all + result; // it makes no n-th call
      all += calls.failed + ": " + result + "\n";
    }
  }

  fs::path root;
  test::recording_tree tree;
};

TEST_F(file_faults, every_call_of_a_template_load_that_fails_is_told) {
  write("a.tvr", "Cmd: a\n");
  const std::string got = fail_each_call([&] {
    test::trace_log traces;
    const std::string result = load();
    EXPECT_EQ(traces.count("(ERR): Unable to "), result.starts_with("loaded") ? 0 : 1) << traces.text();
    return result;
  });
  EXPECT_EQ(got, "opendir: 10001 Unable to open directory, \n"
                 "readdir: 10001 Unable to read directory, \n" // the file, those of every directory, the end
                 "readdir: 10001 Unable to read directory, \n"
                 "readdir: 10001 Unable to read directory, \n"
                 "readdir: 10001 Unable to read directory, \n"
                 "open: 10001 Unable to open file for reading, \n"
                 "fdopen: 10001 Unable to open file for reading, \n"
                 "fseek: 10001 Unable to seek to end of file, \n"
                 "ftell: , \n"
                 "fseek: , \n"
                 "fread: , \n"
                 "loaded, a < : no_op\n");
}

TEST_F(file_faults, what_changes_under_the_loader_is_told_and_never_waited_for) {
  const std::string path = root / "b.tvr";
  const std::string half = "Cmd: b\n" + std::string(100000, '#'); // more than the stream reads ahead
  const std::string unopened = "10001 Unable to open file for reading, a < : no_op\n";
  const std::string unseekable = "10001 Unable to seek to end of file, a < : no_op\n";
  const std::string unread = ", a < : no_op\n"; // without an error object
  const struct {
    const char *what;
    const char *call; // before this one, for the second file, it changes
    std::function<void()> change;
    std::string wanted;
  } cases[] = {
      {"vanishes", "open", [&] { fs::remove(path); }, unopened},
      {"becomes a pipe", "open", [&] { fs::remove(path), mkfifo(path.c_str(), 0600); }, unseekable},
      {"is cut", "fread", [&] { fs::resize_file(path, 5000); }, unread},
      {"is emptied", "fseek", [&] { fs::resize_file(path, 0); }, unread},
      {"grows: what it had is read", "fread", [&] { std::ofstream(path, std::ios::app) << "\nCmd: c\n"; },
       "loaded, a < : no_op\nb < : no_op\n"},
  };
  write("a.tvr", "Cmd: a\n");
  for (const auto &entry : cases) {
    SCOPED_TRACE(entry.what);
    std::ofstream(path) << half;
    int files = 0;
    calls.before = [&](const std::string &call) {
      files += call == "open" ? 1 : 0;
      if (files == 2 && call == entry.call) std::exchange(calls.before, {}), entry.change();
    };
    EXPECT_EQ(load(), entry.wanted);
    calls.before = {};
    fs::remove_all(path);
  }
}

TEST_F(file_faults, every_call_of_a_data_load_that_fails_is_told) {
  const std::string path = root / "data.json";
  write("data.json", R"({"records": {"/a": {}}})");
  const auto load_data = [&] {
    const int descriptor = lowest_free_descriptor();
    zu_do_error *error = nullptr;
    zu_data_ifc *data = zu_store_load_file(path.c_str(), &error);
    const std::string message = told(error);
    EXPECT_EQ(lowest_free_descriptor(), descriptor);
    if (data != nullptr) data->ops->free(data);
    return data != nullptr ? "loaded" + message : message;
  };
  const std::string failed = "10001 " + path + ": Input/output error\n";
  EXPECT_EQ(fail_each_call(load_data),
            "open: " + failed + "fstat: " + failed + "read: " + failed + "read: " + failed + "loaded");
  calls.number = EINTR; // reading goes on
  const std::string got = fail_each_call(load_data);
  EXPECT_TRUE(got.ends_with("\nread: loaded\nread: loaded\nloaded")) << got;
}

} // namespace
