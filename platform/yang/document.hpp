// YANG instance data as the text of a data file, for what reads JSON: containers and entries of lists as
// records, leaves as their properties, what the modules say of them as classes.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zu_yang {

// Thrown for modules that do not load and data that are not valid: a line for each fault.
struct refusal {
  std::string message;
};

struct choice {
  std::vector<std::string> directories;
  std::vector<std::string> modules; // NAME[@REVISION][:FEATURE...]
  std::vector<std::string> secrets; // names of types, and paths of leaves and what is above them
};

// The classes alone, as the text of a file of classes. Throws refusal or std::bad_alloc.
std::string read_classes(const choice &chosen);
// The data file of an instance document (JSON or XML), which messages call `name`.
std::string read_document(const choice &chosen, std::string_view name, std::string_view text);

} // namespace zu_yang
