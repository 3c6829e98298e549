// The commands of the host program, and their options.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tovra {

// Exit statuses.
inline constexpr int done = 0;
inline constexpr int failed = 1;
inline constexpr int wrong_usage = 2;

using named_text = std::pair<std::string, std::string>; // NAME=TEXT, split

struct options {
  std::optional<std::string> templates; // directories; nullopt: where the library itself looks
  std::string data;                     // "-" and "yaml:-": standard input
  std::vector<std::string> classes;     // files of classes for all data
  // render
  std::string node;
  std::optional<std::string> config;
  std::vector<named_text> named;     // configurations: name, data file
  std::vector<named_text> arguments; // walk arguments: name, text
  std::vector<named_text> json_arguments;
  bool defaults = false;
  bool tag_submodes = false;
  bool show_tech = false;
  std::optional<uint32_t> fetch_count;
  int trace = 0;
  bool stats = false;
  std::optional<std::string> output; // a file; nullopt: standard output
  bool watch = false;
  // tree
  bool raw = false;
  // get
  std::string uri; // empty: the paths of the data are listed
  // check; `data` is empty when the templates are checked alone
  bool strict = false;
  bool json = false;
};

// Each returns the exit status. Text goes to standard output, everything else to standard error.
int render(const options &asked);
int render_watched(const options &asked);
int show_tree(const options &asked);
int get(const options &asked);
int check_templates(const options &asked);

} // namespace tovra
