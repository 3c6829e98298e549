// The commands' options. The parser behind them is included by two files only: it takes seconds to compile.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "commands.hpp"

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace tovra {

// An option as it was added; all functions return it again.
class option {
public:
  explicit option(CLI::Option *of) : of_(of) {}

  option &type(const char *name); // of the value, for the help
  option &required();
  option &not_empty();  // an empty name, as of a shell's variable that is not set, would be none
  option &repeatable(); // a value each time
  option &separated();  // values behind one option, by commas
  option &among(const std::vector<std::string> &values);
  template <class Number>
  option &between(Number least, Number most);
  // `fault` says what is wrong with a value; nothing when it is right.
  option &check(const std::function<std::string(const std::string &)> &fault);
  option &needs(const option &other);
  option &excludes(const option &other);

private:
  CLI::Option *of_;
};

// A command of the program, or a group of its options.
class command {
public:
  command(CLI::App &app, const char *name, const char *help);
  const CLI::App *get() const { return of_; }

  void footer(const char *text);
  command group(const char *name, const char *help); // one of its options must be given
  // An option with a value, or with several; without "--" a value by its place.
  template <class Value>
  option add(const char *name, Value &into, const std::string &help);
  option flag(const char *name, bool &into, const char *help);
  option flag(const char *name, const std::function<void()> &seen, const char *help);
  // A flag that can be told more: NAME=VALUE; "NAME{VALUE}" says what it is without.
  option flag(const char *name, std::vector<std::string> &into, const char *help);
  // Hands out each value.
  option each(const char *name, const std::function<void(const std::string &)> &take, const char *help);

private:
  explicit command(CLI::App *of) : of_(of) {}
  CLI::App *of_;
};

// ---- Options that several commands have ----

void add_templates(command &to, options &asked);
void add_data(command &to, options &asked);
// The modules of YANG data, for all that the process reads.
void add_yang(command &to);
// These too.
option add_classes(command &to, std::vector<std::string> &files);
// What says what is rendered: NODE, templates, data, configurations, arguments, flags.
// With `several`, data files are taken there, as many as are given.
void add_render_options(command &to, options &asked, std::vector<std::string> *several = nullptr);
// Of these what goes for any data: arguments and flags.
void add_walk_options(command &to, options &asked);
// What says the same again, for a process of its own.
std::vector<std::string> render_arguments(const options &asked);
option add_format(command &to, bool &json, const char *help);

} // namespace tovra
