// `tovra check`: what is wrong with the templates, and where.
#include <cstdio>

#include "../commands.hpp"
#include "../data_file.hpp"
#include "../output.hpp"
#include "inspect.hpp"

namespace tovra {

int check_templates(const options &asked) {
  if (!start_library()) return failed;
  const auto directories = template_directories(asked.templates);
  if (!directories) return failed;
  std::optional<check::data_set> data;
  if (!asked.data.empty() || !asked.classes.empty() || !yang().names.empty()) {
    data = check::read_data(asked.data, asked.classes);
    if (!data) return failed;
  }

  const check::inspection made = check::inspect(*directories, data ? &*data : nullptr);
  const check::findings &found = made.found;
  const std::string text = asked.json ? found.as_json() : found.as_text();
  output out;
  if (!out.write(text) || !out.flush()) return failed;
  const bool bad = asked.strict ? found.any() : found.any_error();
  return bad ? failed : done;
}

} // namespace tovra
