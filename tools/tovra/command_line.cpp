// The commands' options.
#include "command_line.hpp"

#include <CLI/CLI.hpp>

#include "data_file.hpp"

namespace tovra {

option &option::type(const char *name) {
  of_->type_name(name);
  return *this;
}

option &option::required() {
  of_->required();
  return *this;
}

option &option::not_empty() {
  return check([](const std::string &given) -> std::string { return given.empty() ? "it is empty" : ""; });
}

option &option::repeatable() {
  of_->allow_extra_args(false);
  return *this;
}

option &option::separated() {
  of_->delimiter(',');
  return repeatable();
}

option &option::among(const std::vector<std::string> &values) {
  of_->check(CLI::IsMember(values));
  return *this;
}

template <class Number>
option &option::between(Number least, Number most) {
  of_->check(CLI::Range(least, most));
  return *this;
}
template option &option::between(int, int);
template option &option::between(uint64_t, uint64_t);
template option &option::between(double, double);

option &option::check(const std::function<std::string(const std::string &)> &fault) {
  of_->check(fault, "");
  return *this;
}

option &option::needs(const option &other) {
  of_->needs(other.of_);
  return *this;
}

option &option::excludes(const option &other) {
  of_->excludes(other.of_);
  return *this;
}

command::command(CLI::App &app, const char *name, const char *help) : of_(app.add_subcommand(name, help)) {}

void command::footer(const char *text) {
  of_->footer(text);
}

command command::group(const char *name, const char *help) {
  auto *made = of_->add_option_group(name, help);
  made->require_option(1);
  return command(made);
}

template <class Value>
option command::add(const char *name, Value &into, const std::string &help) {
  return option(of_->add_option(name, into, help));
}
template option command::add(const char *, int &, const std::string &);
template option command::add(const char *, unsigned &, const std::string &);
template option command::add(const char *, uint64_t &, const std::string &);
template option command::add(const char *, std::string &, const std::string &);
template option command::add(const char *, std::optional<double> &, const std::string &);
template option command::add(const char *, std::optional<uint32_t> &, const std::string &);
template option command::add(const char *, std::optional<std::string> &, const std::string &);
template option command::add(const char *, std::vector<std::string> &, const std::string &);

option command::flag(const char *name, bool &into, const char *help) {
  return option(of_->add_flag(name, into, help));
}

option command::flag(const char *name, const std::function<void()> &seen, const char *help) {
  return option(of_->add_flag_function(
      name, [seen](int64_t) { seen(); }, help));
}

option command::flag(const char *name, std::vector<std::string> &into, const char *help) {
  return option(of_->add_flag(name, into, help)->take_all());
}

option command::each(const char *name, const std::function<void(const std::string &)> &take,
                     const char *help) {
  return option(of_->add_option_function<std::vector<std::string>>(
                       name,
                       [take](const std::vector<std::string> &given) {
                         for (const auto &text : given) take(text);
                       },
                       help)
                    ->expected(1)
                    ->allow_extra_args(false)
                    ->take_all());
}

namespace {

// Splits NAME=TEXT at its first '='.
void add_named(command &to, const char *flag, std::vector<named_text> &into, const char *help,
               const char *type = "NAME=TEXT") {
  const auto take = [&into, flag, type](const std::string &text) {
    const auto at = text.find('=');
    if (at == std::string::npos || at == 0) {
      throw CLI::ValidationError(flag, "'" + text + "' is not " + type);
    }
    into.emplace_back(text.substr(0, at), text.substr(at + 1));
  };
  to.each(flag, take, help).type(type);
}

} // namespace

void add_templates(command &to, options &asked) {
  to.add("--templates", asked.templates,
         "Template directories, separated by ':' (default: ZU_TVR_DIR, or what the library finds)")
      .type("DIR[:DIR...]")
      .check([](const std::string &given) -> std::string {
        return given.find_first_not_of(':') == given.npos ? "it names no directory" : "";
      });
}

constexpr char data_help[] = "Data file (JSON, YAML), - for standard input, sqlite:FILE?device=NAME, "
                             "redis://HOST?device=NAME, or yang:FILE";

void add_data(command &to, options &asked) {
  to.add("--data", asked.data, data_help).type("FILE").required();
  add_classes(to, asked.classes);
}

void add_yang(command &to) {
  yang_modules &all = yang();
  to.add("--yang-dir", all.directories, "Look for YANG modules there and below; may be repeated")
      .type("DIR")
      .repeatable();
  to.add("--yang-module", all.names, "A module of YANG data, with its features; may be repeated")
      .type("NAME[@REVISION][:FEATURE...]")
      .repeatable();
  to.add("--yang-secret", all.secrets, "Hide YANG values of a type, or at or below a path; may be repeated")
      .type("TYPE|PATH")
      .repeatable();
}

option add_classes(command &to, std::vector<std::string> &files) {
  add_yang(to);
  return to.add("--classes", files, "A file of classes that count beside those of the data; may be repeated")
      .type("FILE")
      .repeatable();
}

void add_render_options(command &to, options &asked, std::vector<std::string> *several) {
  to.add("node", asked.node, "Render the part under this node (default: everything)").type("NODE");
  add_templates(to, asked);
  if (several == nullptr) {
    add_data(to, asked);
  } else {
    add_classes(to, asked.classes);
    to.add("--data", *several, std::string(data_help) + "; may be repeated")
        .type("FILE")
        .required()
        .repeatable();
  }
  add_named(to, "--named", asked.named, "Register a data file as a named configuration", "NAME=FILE");
  to.add("--config", asked.config, "Render the configuration of that name").type("NAME");
  add_walk_options(to, asked);
}

void add_walk_options(command &to, options &asked) {
  add_named(to, "--arg", asked.arguments, "A walk argument, as a text");
  add_named(to, "--arg-json", asked.json_arguments, "A walk argument, as a JSON value");
  to.flag("--defaults", asked.defaults, "Render default values too");
  to.flag("--tag-submodes", asked.tag_submodes, "Mark where submodes begin and end");
  to.flag("--show-tech", asked.show_tech, "Leave passwords out");
  to.add("--fetch-count", asked.fetch_count, "Rows that one fetch brings (0: all)").type("N");
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
  for (auto &each : yang_arguments()) made.push_back(std::move(each));
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

option add_format(command &to, bool &json, const char *help) {
  return to
      .each(
          "--format", [&json](const std::string &format) { json = format == "json"; }, help)
      .type("FORMAT")
      .among({"text", "json"});
}

} // namespace tovra
