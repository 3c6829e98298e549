// What messages about a data file show: names from it, lines and columns.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "yaml/document.hpp"

namespace store {

// A name from the file as it is shown in a message: in quotes, control bytes escaped, long ones cut.
std::string in_quotes(std::string_view text);

// A copy that is freed with qfree_named. Throws std::bad_alloc.
char *new_text(std::string_view text);

// "NAME:LINE:COLUMN"
std::string shown_place(const char *name, infra::place at);

// A JSON text that is read, and the YAML document that it was made of, or none.
struct named_text {
  const char *name;
  std::string_view text;
  const zu_yaml::document *yaml;

  std::string place_of(size_t offset) const; // as it is shown
};

} // namespace store
