// The commands' options. Only two files include the parser behind them, as it takes seconds to compile.
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

// An option that was added; all its functions return the option again, so that calls can be chained.
class option {
public:
  explicit option(CLI::Option *of) : of_(of) {}

  option &type(const char *name); // the type of the value, for the help
  option &required();
  option &not_empty();  // the empty text, as from an unset shell variable, is wrong usage
  option &repeatable(); // may be given several times, with a value each time
  option &separated();  // takes several values in one argument, with commas between them
  option &among(const std::vector<std::string> &values);
  template <class Number>
  option &between(Number least, Number most);
  // `fault` returns what is wrong with a value, or the empty text.
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
  // Adds an option with one value or, for a vector, with several. A name without "--" is a positional
  // argument.
  template <class Value>
  option add(const char *name, Value &into, const std::string &help);
  option flag(const char *name, bool &into, const char *help);
  option flag(const char *name, const std::function<void()> &seen, const char *help);
  // Adds a flag that may have a value: NAME=VALUE; "NAME{VALUE}" gives the value that it has without one.
  option flag(const char *name, std::vector<std::string> &into, const char *help);
  // Adds an option whose values are handed to `take`, one by one.
  option each(const char *name, const std::function<void(const std::string &)> &take, const char *help);

private:
  explicit command(CLI::App *of) : of_(of) {}
  CLI::App *of_;
};

// ---- Options that several commands have ----

void add_templates(command &to, options &asked);
void add_data(command &to, options &asked);
// Adds the options for the modules of YANG data, which hold for all data that the process reads.
void add_yang(command &to);
// Adds these too, with the files of classes.
option add_classes(command &to, std::vector<std::string> &files);
// Adds all options that say what is rendered: NODE, templates, data, configurations, arguments, flags. When
// `several` is given, data files are added to it, as many as the user names.
void add_render_options(command &to, options &asked, std::vector<std::string> *several = nullptr);
// Adds only those of these options that do not depend on the data: arguments and flags.
void add_walk_options(command &to, options &asked);
// The command line that asks for the same render, to run it in another process.
std::vector<std::string> render_arguments(const options &asked);
option add_format(command &to, bool &json, const char *help);

} // namespace tovra
