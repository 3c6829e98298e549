// Options that several commands have.
#pragma once

#include <CLI/CLI.hpp>

#include "commands.hpp"

namespace tovra {

void add_templates(CLI::App *command, options &asked);
void add_data(CLI::App *command, options &asked);
CLI::Option *add_classes(CLI::App *command, std::vector<std::string> &files);
// What says what is rendered: NODE, templates, data, configurations, arguments, flags.
// With `several`, data files are taken there, as many as are given.
void add_render_options(CLI::App *command, options &asked, std::vector<std::string> *several = nullptr);
// What says the same again, for a process of its own.
std::vector<std::string> render_arguments(const options &asked);
CLI::Option *add_format(CLI::App *command, bool &json, const char *help);

} // namespace tovra
