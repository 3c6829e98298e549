// Options that several commands have.
#include "command_line.hpp"

namespace tovra {

namespace {

// Splits NAME=TEXT at its first '='.
void add_named(CLI::App *command, const char *flag, std::vector<named_text> &into, const char *help) {
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

} // namespace

void add_templates(CLI::App *command, options &asked) {
  command
      ->add_option("--templates", asked.templates,
                   "Template directories, separated by ':' (default: ZU_TVR_DIR, or what the library finds)")
      ->type_name("DIR[:DIR...]")
      ->check([](const std::string &given) {
        return given.find_first_not_of(':') == given.npos ? "it names no directory" : "";
      });
}

constexpr char data_help[] = "Data file (JSON, YAML), - for standard input, or sqlite:FILE?device=NAME";

void add_data(CLI::App *command, options &asked) {
  command->add_option("--data", asked.data, data_help)->type_name("FILE")->required();
  add_classes(command, asked.classes);
}

CLI::Option *add_classes(CLI::App *command, std::vector<std::string> &files) {
  return command
      ->add_option("--classes", files,
                   "A file of classes that count beside those of the data; may be repeated")
      ->type_name("FILE")
      ->allow_extra_args(false);
}

void add_render_options(CLI::App *command, options &asked, std::vector<std::string> *several) {
  command->add_option("node", asked.node, "Render the part under this node (default: everything)")
      ->type_name("NODE");
  add_templates(command, asked);
  if (several == nullptr) {
    add_data(command, asked);
  } else {
    add_classes(command, asked.classes);
    command->add_option("--data", *several, std::string(data_help) + "; may be repeated")
        ->type_name("FILE")
        ->required()
        ->expected(1)
        ->take_all();
  }
  add_named(command, "--named", asked.named, "Register a data file as a named configuration");
  command->add_option("--config", asked.config, "Render the configuration of that name")->type_name("NAME");
  add_named(command, "--arg", asked.arguments, "A walk argument, as a text");
  add_named(command, "--arg-json", asked.json_arguments, "A walk argument, as a JSON value");
  command->add_flag("--defaults", asked.defaults, "Render default values too");
  command->add_flag("--tag-submodes", asked.tag_submodes, "Mark where submodes begin and end");
  command->add_flag("--show-tech", asked.show_tech, "Leave passwords out");
  command->add_option("--fetch-count", asked.fetch_count, "Rows a fetch (0: all)")->type_name("N");
}

std::vector<std::string> render_arguments(const options &asked) {
  std::vector<std::string> made;
  if (!asked.node.empty()) made.push_back(asked.node);
  const auto give = [&](const char *option, const std::string &value) {
    made.push_back(std::string(option) + "=" + value);
  };
  if (asked.templates) give("--templates", *asked.templates);
  give("--data", asked.data);
  for (const auto &file : asked.classes) give("--classes", file);
  for (const auto &[name, file] : asked.named) give("--named", name + "=" + file);
  if (asked.config) give("--config", *asked.config);
  for (const auto &[name, text] : asked.arguments) give("--arg", name + "=" + text);
  for (const auto &[name, text] : asked.json_arguments) give("--arg-json", name + "=" + text);
  if (asked.fetch_count) give("--fetch-count", std::to_string(*asked.fetch_count));
  if (asked.defaults) made.emplace_back("--defaults");
  if (asked.tag_submodes) made.emplace_back("--tag-submodes");
  if (asked.show_tech) made.emplace_back("--show-tech");
  return made;
}

CLI::Option *add_format(CLI::App *command, bool &json, const char *help) {
  return command
      ->add_option_function<std::string>(
          "--format", [&json](const std::string &format) { json = format == "json"; }, help)
      ->type_name("FORMAT")
      ->check(CLI::IsMember({"text", "json"}));
}

} // namespace tovra
