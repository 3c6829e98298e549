// Messages about data: names and places in a file, and making an error object of a failure.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "store/source.hpp"
#include "yaml/document.hpp"
#include "zuapi/zuapi.h"

namespace store {

// A name from the file as it is shown in a message: in quotes, control bytes escaped, long ones cut.
std::string in_quotes(std::string_view text);

// Refuses a record of a source whose URI is not written as in requests, which do not find it.
void check_spelling(std::string_view uri, std::string_view canonical);

// A copy that is freed with qfree_named. Throws std::bad_alloc.
char *new_text(std::string_view text);

// "NAME:LINE:COLUMN"
std::string shown_place(const char *name, infra::place at);

// Runs a step; false after a failure, which is stored as an error object.
template <class Step>
bool reported(zu_do_error **error, Step &&step) noexcept {
  if (error != nullptr) *error = nullptr;
  try {
    step();
    return true;
  } catch (const source_failure &failure) {
    if (error != nullptr) *error = zu_do_error_new(failure.code, failure.message.c_str());
  } catch (...) {
    if (error != nullptr) *error = zu_do_error_new(ZU_EXHAUSTED, "out of memory");
  }
  return false;
}

// A JSON text that is being read, and the YAML document from which it was made, or null.
struct named_text {
  const char *name;
  std::string_view text;
  const zu_yaml::document *yaml;

  std::string place_of(size_t offset) const; // as it is shown
};

} // namespace store
