// Reads the values of a data file into frozen cells.
#pragma once

#include <simdjson.h>

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "store/memory.hpp"
#include "store/syntax.hpp"
#include "zuapi/layout.hpp"

namespace store {

namespace json = simdjson::ondemand;

// By value: a loop over the parser's own results would run over what is gone.
template <class Value>
json::object members_of(Value &value) {
  return value.get_object();
}
inline json::array elements_of(json::value &value) {
  return value.get_array();
}

// A string of the file, decoded: a slice of the file's text where nothing is escaped in it, otherwise of the
// parser's buffer. Refused when it holds a NUL.
class value_reader {
public:
  value_reader(const char *text, arena &memory) : text_(text), memory_(memory) {}

  [[noreturn]] void refuse(const char *at, std::string message) const {
    throw refusal{static_cast<size_t>(at - text_), std::move(message)};
  }

  // The value as a frozen cell, its texts and lists in the arena. `class_type` (or none) is the typedef name
  // that applies when the value brings none of its own; `depth` counts the containers around the value.
  zu_do_value read(json::value value, const char *class_type, uint32_t depth);

  // A string cell of a text that is in the arena already.
  zu_do_value string_cell(const char *text, size_t length, const char *type);

  std::string_view name(json::field &field);
  std::string_view string(json::value &value);
  // One text in the arena for equal names.
  const char *intern_type(std::string_view name);

  static const char *start_of(json::value &value) { return value.raw_json_token().data(); }
  static const char *start_of(const json::field &field) { return field.key().raw() - 1; }

private:
  struct types {
    const char *own;      // the name that the value brings, or none
    const char *fallback; // the one that applies otherwise, or none
    const char *used() const { return own != nullptr ? own : fallback; }
  };

  zu_do_value read_untyped(json::value &value, types &type, uint32_t depth);
  zu_do_value read_wrapped(json::value &value, types &type, uint32_t depth);
  zu_do_value read_array(json::value &value, const types &type, uint32_t depth);
  zu_do_value read_number(json::value &value);
  zu_do_value with_type(zu_do_value cell, const char *type);

  const char *text_;
  arena &memory_;
  std::map<std::string, const char *, std::less<>> type_names_;
  std::vector<zu_do_value> elements_; // of the arrays that are being read, innermost last
};

} // namespace store
