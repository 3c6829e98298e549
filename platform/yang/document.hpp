// Converts YANG instance data to the text of a data file in JSON: containers and entries of lists become
// records, leaves their properties, and the definitions in the modules become classes.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zu_yang {

// Thrown for modules that do not load and for data that are not valid; the message has a line for each fault.
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
