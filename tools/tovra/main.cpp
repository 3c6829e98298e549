// The host program: its command line.
#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <new>
#include <unistd.h>

#include "commands.hpp"
#include "output.hpp"
#include "tools.hpp"

namespace {

using tovra::options;

// Splits NAME=TEXT at its first '='.
void add_named(CLI::App *command, const char *flag, std::vector<tovra::named_text> &into, const char *help) {
  command
      ->add_option_function<std::vector<std::string>>(
          flag,
          [&into, flag](const std::vector<std::string> &given) {
            for (const auto &text : given) {
              const auto at = text.find('=');
              if (at == std::string::npos || at == 0) {
                throw CLI::ValidationError(flag, "'" + text + "' is not NAME=TEXT");
              }
              into.emplace_back(text.substr(0, at), text.substr(at + 1));
            }
          },
          help)
      ->type_name("NAME=TEXT")
      ->expected(1)
      ->take_all();
}

void add_templates(CLI::App *command, options &asked) {
  command
      ->add_option("--templates", asked.templates,
                   "Template directories, separated by ':' (default: ZU_TVR_DIR, or what the library finds)")
      ->type_name("DIR[:DIR...]");
}

void add_data(CLI::App *command, options &asked) {
  command->add_option("--data", asked.data, "Data file")->type_name("FILE")->required();
}

CLI::App *add_render(CLI::App &app, options &asked) {
  auto *command = app.add_subcommand("render", "Render the configuration as CLI text");
  command->add_option("node", asked.node, "Render the part under this node (default: everything)")
      ->type_name("NODE");
  add_templates(command, asked);
  add_data(command, asked);
  add_named(command, "--named", asked.named, "Register a data file as a named configuration");
  command->add_option("--config", asked.config, "Render the configuration of that name")->type_name("NAME");
  add_named(command, "--arg", asked.arguments, "A walk argument, as a text");
  add_named(command, "--arg-json", asked.json_arguments, "A walk argument, as a JSON value");
  command->add_flag("--defaults", asked.defaults, "Render default values too");
  command->add_flag("--tag-submodes", asked.tag_submodes, "Mark where submodes begin and end");
  command->add_flag("--show-tech", asked.show_tech, "Leave passwords out");
  command->add_option("--fetch-count", asked.fetch_count, "Rows a fetch (0: all)")->type_name("N");
  command
      ->add_option(
          "--trace", asked.trace,
          "Trace to standard error: 3 errors, 4 warnings, 6 information, 7 debugging; levels 6 and 7 show "
          "configuration text")
      ->type_name("LEVEL")
      ->check(CLI::Range(0, 7));
  command->add_flag("--stats", asked.stats, "Say at the end what the render took");
  return command;
}

CLI::App *add_check(CLI::App &app, options &asked) {
  auto *command = app.add_subcommand("check", "Find what is wrong with the templates, FILE:LINE");
  command->footer(
      "Finds what the loader refuses, in all files at once, and what would go wrong at a render: each\n"
      "finding is a line `FILE:LINE: error|warning [ID]: MESSAGE` on standard output. The exit status\n"
      "is 1 when there is an error, else 0. docs/check.md tells each ID.");
  add_templates(command, asked);
  command->add_option("--data", asked.data, "Compare with the paths and properties of this data file too")
      ->type_name("FILE");
  command->add_flag("--strict", asked.strict, "Let warnings count as errors for the exit status");
  command
      ->add_option_function<std::string>(
          "--format", [&asked](const std::string &format) { asked.json = format == "json"; },
          "text, a line each (default), or json, one array")
      ->type_name("FORMAT")
      ->check(CLI::IsMember({"text", "json"}));
  return command;
}

int run(int argc, char **argv) {
  CLI::App app("Renders a network device's configuration records as CLI text.", "tovra");
  app.require_subcommand(1);
  options asked;
  const auto *render = add_render(app, asked);
  auto *tree = app.add_subcommand("tree", "Show the template tree: id, op, and destination, URI or format");
  add_templates(tree, asked);
  tree->add_flag("--raw", asked.raw, "Show the library's own dump");
  const auto *check = add_check(app, asked);
  auto *get = app.add_subcommand("get", "Show the records that a URI names, as JSON lines");
  add_data(get, asked);
  get->add_option("uri", asked.uri, "Record or collection URI")->type_name("URI")->required();
  const std::vector<tovra::tool> tools = tovra::add_tools(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success &asked_for_text) { // --help
    return app.exit(asked_for_text);
  } catch (const CLI::ParseError &wrong) {
    tovra::say(std::string("tovra: ") + wrong.what());
    tovra::say("Run with --help for more information.");
    return tovra::wrong_usage;
  }
  std::signal(SIGPIPE, SIG_IGN); // a closed pipe is an error of writing, and an exit status
  if (render->parsed()) return tovra::render(asked);
  if (check->parsed()) return tovra::check_templates(asked);
  for (const tovra::tool &tool : tools) {
    if (tool.command->parsed()) return tool.run();
  }
  return tovra::finish_printing(tree->parsed() ? tovra::show_tree(asked) : tovra::get(asked));
}

} // namespace

int main(int argc, char **argv) {
  try {
    return run(argc, argv);
  } catch (const std::bad_alloc &) {
    dprintf(STDERR_FILENO, "tovra: out of memory\n");
  } catch (const std::exception &unforeseen) {
    dprintf(STDERR_FILENO, "tovra: %s\n", unforeseen.what());
  }
  return tovra::failed;
}
