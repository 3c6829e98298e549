// `tovra fmt`: writes template files in one style.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <set>

#include "../check/read_file.hpp"
#include "../commands.hpp"
#include "../output.hpp"
#include "../output_file.hpp"
#include "../templates.hpp"
#include "../tools.hpp"
#include "nodes.hpp"

namespace tovra {

namespace {

namespace fs = std::filesystem;

struct fmt_options {
  std::vector<std::string> paths;
  bool check = false;
};

// The formatted text; nullopt when the text does not load, which has been reported.
std::optional<std::string> format(const std::string &name, const std::string &text) {
  std::string refusal;
  auto made = fmt::formatted_alike(text, refusal);
  if (!made) say(name + refusal);
  return made;
}

// The files to format, by name: the given paths, and all templates in given folders, at any depth.
std::set<fs::path> find_files(const std::vector<std::string> &paths) {
  std::set<fs::path> found;
  for (const fs::path path : paths) {
    if (!fs::is_directory(path)) {
      found.insert(path);
      continue;
    }
    for (const auto &entry : fs::recursive_directory_iterator(path)) {
      std::error_code none; // a link to nothing is not a file
      if (entry.path().extension() == ".tvr" && entry.is_regular_file(none)) found.insert(entry.path());
    }
  }
  return found;
}

enum class outcome { as_it_was, changed, failed };

outcome format_file(const fs::path &path, bool check_only) {
  std::string text;
  if (fs::exists(path) && !fs::is_regular_file(path)) {
    say(path.string() + ": not a regular file");
    return outcome::failed;
  }
  if (const int error = check::read_file(path, text); error != 0) {
    throw fs::filesystem_error("read", path, std::error_code(error, std::generic_category()));
  }
  const auto made = format(path, text);
  if (!made) return outcome::failed;
  if (*made == text) return outcome::as_it_was;
  if (check_only) return outcome::changed;
  const std::string why = write_file(path, *made);
  if (!why.empty()) say(why);
  return why.empty() ? outcome::changed : outcome::failed;
}

int format_input() {
  std::string text;
  if (check::read_file("/dev/stdin", text) != 0) {
    say("tovra: standard input cannot be read");
    return failed;
  }
  const auto made = format("standard input", text);
  if (!made) return failed;
  output out;
  return out.write(*made) && out.flush() ? done : failed;
}

int run_fmt(const fmt_options &asked) {
  if (!start_library()) return failed;
  if (asked.paths.empty()) {
    if (!asked.check) return format_input();
    say("tovra: --check needs a FILE or DIR");
    say("Run with --help for more information.");
    return wrong_usage;
  }
  int status = done;
  output out;
  const auto guarded = [&status](const auto &step) {
    try {
      step();
    } catch (const fs::filesystem_error &wrong) {
      say(wrong.path1().string() + ": " + wrong.code().message());
      status = failed;
    }
  };
  std::set<fs::path> files;
  guarded([&] { files = find_files(asked.paths); });
  for (const fs::path &file : files) {
    guarded([&] {
      const outcome got = format_file(file, asked.check);
      if (got == outcome::changed) {
        out.write(visible(file.string()) + (asked.check ? ": not formatted\n" : ": formatted\n"));
        out.flush(); // flushed so that messages about the next file come after it
      }
      if (got == outcome::failed || (got == outcome::changed && asked.check)) status = failed;
    });
  }
  return out.flush() ? status : failed;
}

} // namespace

tool add_fmt(CLI::App &app) {
  const auto asked = std::make_shared<fmt_options>();
  command made(app, "fmt", "Format template files");
  made.footer(
      "Changes files in place, and names them; of a folder all templates, also those in folders below.\n"
      "Without a file or folder it formats standard input to standard output. A file that does not load\n"
      "is reported and not changed, and the exit status is 1. docs/tools.md says what is changed.");
  made.add("path", asked->paths, "Template files, and folders of them").type("FILE|DIR");
  made.flag("--check", asked->check, "Change nothing: name what is not formatted, with exit status 1");
  return {made.get(), [asked] { return run_fmt(*asked); }};
}

} // namespace tovra
