// Reads values from a JSON text that the parser walks, into frozen cells.
#pragma once

#include <simdjson.h>

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "infra/memory.hpp"
#include "zuapi/frozen.hpp"
#include "json/fault.hpp"

namespace zu_json {

namespace json = simdjson::ondemand;
using zuapi::arena;

// Takes the parser's result by value: a loop over a reference would use a temporary that no longer exists.
template <class Value>
json::object members_of(Value &value) {
  return value.get_object();
}
inline json::array elements_of(json::value &value) {
  return value.get_array();
}

// The text, extended by the padding that the parser reads behind the end.
inline std::string_view padded(infra::string &text) {
  const size_t length = text.size();
  text.append(simdjson::SIMDJSON_PADDING, '\0');
  return {text.data(), length};
}

// Runs `read`, in which the parser reads that text. Throws a refusal for the first fault in the text, or
// std::bad_alloc.
template <class Read>
void read_json(std::string_view text, Read read) {
  try {
    read();
  } catch (const refusal &found) {
    throw first_fault(text, found);
  } catch (const simdjson::simdjson_error &fault) {
    if (fault.error() == simdjson::MEMALLOC) throw std::bad_alloc();
    throw first_fault(text, {text.size(), fault.what()});
  }
}

// Reads the values of one text. Throws refusal, simdjson::simdjson_error or std::bad_alloc.
class value_reader {
public:
  // Offsets count from `text`. `open_secrets`: a PasswordString may be an array, and stand in one.
  value_reader(const char *text, arena &memory, bool open_secrets)
      : text_(text), memory_(memory), open_secrets_(open_secrets) {}
  void start(const char *text) { text_ = text; }

  [[noreturn]] void refuse(const char *at, std::string message) const {
    throw refusal{static_cast<size_t>(at - text_), std::move(message)};
  }

  // The value as a frozen cell, its texts and lists in the arena. `class_type` (or null) is the typedef name
  // of a value that has none of its own; `depth` is the number of containers around the value.
  zu_do_value read(json::value value, const char *class_type, uint32_t depth);

  // A cell with that typedef name, or null; a string cell of a text that is in the arena already.
  zu_do_value with_type(zu_do_value cell, const char *type);
  zu_do_value string_cell(const char *text, size_t length, const char *type);

  // A decoded text of the document: a part of the document if it has no escapes, else of the parser's buffer.
  // A text with a NUL is refused.
  std::string_view name(json::field &field);
  std::string_view string(json::value &value);
  // The text of a name in the arena; equal names share one.
  const char *intern_type(std::string_view name);

  static const char *start_of(json::value &value) { return value.raw_json_token().data(); }
  static const char *start_of(const json::field &field) { return field.key().raw() - 1; }

private:
  struct types {
    const char *own;      // the name that the value gives itself, or null
    const char *fallback; // the name that applies otherwise, or null
    const char *used() const { return own != nullptr ? own : fallback; }
  };

  zu_do_value read_untyped(json::value &value, types &type, uint32_t depth);
  zu_do_value read_wrapped(json::value &value, types &type, uint32_t depth);
  zu_do_value read_array(json::value &value, const types &type, uint32_t depth);
  zu_do_value read_number(json::value &value);

  const char *text_;
  arena &memory_;
  bool open_secrets_;
  uint32_t arrays_ = 0; // around the value that is being read
  std::map<std::string, const char *, std::less<>> type_names_;
  std::vector<zu_do_value> elements_; // of the arrays that are being read, innermost last
};

// Values of this type are hidden in show-tech output, in traces and by `tovra get`. So they must not be part
// of an array or a key, which are shown.
inline bool is_secret_type(const char *type) {
  return type != nullptr && std::string_view(type) == "PasswordString";
}

} // namespace zu_json
