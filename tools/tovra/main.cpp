// The host program: its command line.
#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <glib.h>
#include <new>
#include <set>
#include <unistd.h>

#include "check/nearest.hpp"
#include "command_line.hpp"
#include "output.hpp"
#include "output_file.hpp"
#include "tools.hpp"
#include "zu_tovra/version.h"

namespace {

using tovra::options;

void add_color(CLI::App *command) {
  static const std::map<std::string, tovra::color> ways = {
      {"auto", tovra::color::automatic}, {"always", tovra::color::always}, {"never", tovra::color::never}};
  command
      ->add_option_function<std::string>(
          "--color", [](const std::string &when) { tovra::set_color(ways.at(when)); },
          "Colours: auto (on terminals, unless NO_COLOR is set; default), always, never")
      ->type_name("WHEN")
      ->check(CLI::IsMember({"auto", "always", "never"}));
}

const CLI::App *add_render(CLI::App &app, options &asked) {
  tovra::command made(app, "render", "Render the configuration as CLI text");
  tovra::add_render_options(made, asked);
  made.add("--trace", asked.trace,
           "Trace to standard error: 3 errors, 4 warnings, 6 information, 7 debugging; levels 6 and 7 show "
           "configuration text")
      .type("LEVEL")
      .between(0, 7);
  const tovra::option stats = made.flag("--stats", asked.stats, "Say at the end what the render took");
  made.add("--output", asked.output, "Write to a file, whole or not at all: after an error it is as it was")
      .type("FILE");
  made.flag("--watch", asked.watch,
            "Render again when templates or data change, and show what changes in the text")
      .excludes(stats);
  return made.get();
}

void add_tree(CLI::App &app, options &asked) {
  tovra::command made(app, "tree", "Show the template tree: id, op, and destination, URI or format");
  tovra::add_templates(made, asked);
  made.flag("--raw", asked.raw, "Show the library's own dump");
}

const CLI::App *add_check(CLI::App &app, options &asked) {
  tovra::command made(app, "check", "Find what is wrong with the templates, FILE:LINE");
  made.footer(
      "Finds what the loader refuses, in all files at once, and what would go wrong at a render: each\n"
      "finding is a line `FILE:LINE: error|warning [ID]: MESSAGE` on standard output. The exit status\n"
      "is 1 when there is an error, else 0. docs/check.md tells each ID.");
  tovra::add_templates(made, asked);
  made.add("--data", asked.data, "Compare with the paths and properties of this data file too")
      .type("FILE")
      .not_empty();
  tovra::add_classes(made, asked.classes);
  made.flag("--strict", asked.strict, "Let warnings count as errors for the exit status");
  tovra::add_format(made, asked.json, "text (default), one line for each finding, or json, one array");
  return made.get();
}

const CLI::App *add_get(CLI::App &app, options &asked) {
  tovra::command made(app, "get", "Show the records that a URI names, as JSON lines");
  tovra::add_data(made, asked);
  made.add("uri", asked.uri, "Record or collection URI (default: show what paths there are)").type("URI");
  return made.get();
}

int print(const std::string &text) {
  tovra::output out;
  return out.write(text) && out.flush() ? tovra::done : tovra::failed;
}

int misused(const std::string &why) {
  tovra::say("tovra: " + why);
  tovra::say("Run with --help for more information.");
  return tovra::wrong_usage;
}

// The message for a first word that is not a command; empty when it is one, or when there is none.
std::string unknown_command(const CLI::App &app, int argc, char **argv) {
  if (argc < 2 || argv[1][0] == '-') return "";
  const std::string word = argv[1];
  std::set<std::string> names;
  for (const auto *command : app.get_subcommands({})) names.insert(command->get_name());
  if (names.contains(word)) return "";
  return "there is no command '" + word + "'" + tovra::check::did_you_mean(word, names);
}

// The message for the first option that the command does not have; empty when there is none.
std::string unknown_option(const CLI::App &app) {
  const auto commands = app.get_subcommands();
  const CLI::App &command = commands.empty() ? app : *commands.front();
  std::set<std::string> names;
  for (const CLI::Option *option : command.get_options()) {
    for (const std::string &name : option->get_lnames()) names.insert("--" + name);
  }
  for (const std::string &word : command.remaining(true)) {
    const std::string name = word.substr(0, word.find('='));
    if (name.starts_with("--"))
      return "there is no option '" + name + "'" + tovra::check::did_you_mean(name, names);
  }
  return "";
}

// The program cannot go on when memory ends. It ends at once, even in the middle of a call from the library,
// because no exception may pass through the library.
void end_without_memory() {
  constexpr std::string_view message = "tovra: out of memory\n";
  tovra::drop_output_files();
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, message.data(), message.size());
  _exit(tovra::failed);
}

// GLib ends the process when its memory ends; this reports it in our own words first.
void end_with_glib(const char *domain, GLogLevelFlags level, const char *message, void *) {
  const std::string_view told = message != nullptr ? message : "";
  if (told.find("failed to allocate") != told.npos) end_without_memory();
  g_log_default_handler(domain, level, message, nullptr);
}

// A file that the program opens gets the lowest free number, which is that of a standard stream if the caller
// has closed it: then messages would be written into the file. So each closed stream gets a descriptor on
// which reading or writing fails, as it does on a closed one.
void keep_standard_streams_apart() {
  for (const int file : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(file, F_GETFD) < 0) open("/dev/null", file == STDIN_FILENO ? O_WRONLY : O_RDONLY);
  }
}

int run(int argc, char **argv) {
  CLI::App app("Renders a network device's configuration records as CLI text.", "tovra");
  app.require_subcommand(1);
  app.set_version_flag("--version", std::string("tovra ") + zu_tvr_version(), "Show the version");
  options asked;
  const auto *render = add_render(app, asked);
  add_tree(app, asked);
  const auto *check = add_check(app, asked);
  const auto *get = add_get(app, asked);
  const std::vector<tovra::tool> tools = tovra::add_tools(app);
  for (auto *command : app.get_subcommands({})) add_color(command);
  std::string topic;
  auto *help = app.add_subcommand("help", "Show the commands, or the options of one");
  help->add_option("command", topic, "The command")->type_name("COMMAND");
  const std::string overview = app.help();
  std::signal(SIGPIPE, SIG_IGN); // a closed pipe is an error of writing, and an exit status
  if (const auto why = unknown_command(app, argc, argv); !why.empty()) return misused(why);
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp &) {
    return print(app.help());
  } catch (const CLI::CallForVersion &version) {
    return print(std::string(version.what()) + "\n");
  } catch (const CLI::ParseError &wrong) {
    // A required option may be missing because it was misspelled: a misspelled one is reported first.
    const std::string why = unknown_option(app);
    return misused(why.empty() ? wrong.what() : why);
  }
  if (help->parsed()) {
    char *words[] = {argv[0], topic.data()};
    if (topic.empty()) return print(overview);
    if (const auto why = unknown_command(app, 2, words); !why.empty()) return misused(why);
    return print(app.get_subcommand(topic)->help("tovra"));
  }
  if (render->parsed()) return asked.watch ? tovra::render_watched(asked) : tovra::render(asked);
  if (check->parsed()) return tovra::check_templates(asked);
  for (const tovra::tool &tool : tools) {
    if (tool.command->parsed()) return tool.run();
  }
  return get->parsed() ? tovra::get(asked) : tovra::show_tree(asked);
}

} // namespace

int main(int argc, char **argv) {
  keep_standard_streams_apart();
  std::set_new_handler(end_without_memory);
  g_log_set_default_handler(end_with_glib, nullptr);
  try {
    return run(argc, argv);
  } catch (const std::exception &unforeseen) {
    dprintf(STDERR_FILENO, "tovra: %s\n", unforeseen.what());
  }
  return tovra::failed;
}
