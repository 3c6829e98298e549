// The commands of a template team, each with its own command line.
#pragma once

#include <functional>
#include <vector>

#include "command_line.hpp"

namespace tovra {

struct tool {
  const CLI::App *command;
  std::function<int()> run; // called after parsing; returns the exit status
};

tool add_diff(CLI::App &app);
tool add_explain(CLI::App &app);
tool add_test(CLI::App &app);
tool add_fmt(CLI::App &app);
tool add_coverage(CLI::App &app);
tool add_import(CLI::App &app);
tool add_export(CLI::App &app);
tool add_lsp(CLI::App &app);
tool add_schema(CLI::App &app);
tool add_fleet(CLI::App &app);

inline std::vector<tool> add_tools(CLI::App &app) {
  return {add_diff(app),   add_explain(app), add_test(app), add_fmt(app),    add_coverage(app),
          add_import(app), add_export(app),  add_lsp(app),  add_schema(app), add_fleet(app)};
}

} // namespace tovra
