// `tovra schema`: makes a first file of classes from the data files of some devices.
#include <memory>

#include "../commands.hpp"
#include "../output.hpp"
#include "../tools.hpp"
#include "draft.hpp"

namespace tovra {

namespace {

int draw_schema(const std::vector<std::string> &files) {
  schema::draft made;
  for (const std::string &file : files) {
    const auto data = check::read_data(file);
    if (!data) return failed;
    made.add(*data);
  }
  output out;
  return out.write(made.text()) && out.flush() ? done : failed;
}

} // namespace

tool add_schema(CLI::App &app) {
  const auto files = std::make_shared<std::vector<std::string>>();
  command made(app, "schema", "Draft a file of classes, for --classes");
  made.footer(
      "Writes the paths and properties of all data files, with the kind of their values where all have\n"
      "one, and what the classes of all that have a path say alike. None of the files is refused with it.");
  made.add("data", *files, "Data files, - for standard input").type("DATA").required().not_empty();
  return {made.get(), [files] { return draw_schema(*files); }};
}

} // namespace tovra
