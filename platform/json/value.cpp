// Values from JSON: read into frozen cells like those of a data file, then copied into counted values.
#include "json/reader.hpp"

using namespace zu_json;

namespace {

// A counted value with copies of all that is in the cell's arena; null when memory is exhausted.
zu_do_value *counted(zu_do_value &cell) {
  zu_do_vlist *elements = zu_do_value_get_array(&cell, nullptr);
  const char *typedef_name = zu_do_value_get_typedef_name(&cell);
  if (elements == nullptr) return zu_do_value_new_as(&cell, typedef_name, false);
  zu_do_vlist *list = zu_do_vlist_new();
  bool whole = list != nullptr;
  for (size_t i = 0; whole && i < zu_do_vlist_get_len(elements); ++i) {
    zu_do_value *element = counted(*zu_do_vlist_get_value(elements, i));
    whole = zu_do_vlist_add(list, element) == ZU_OK;
    zu_do_value_deref(element);
  }
  zu_do_value *array = whole ? zu_do_value_new_array(list) : nullptr;
  zu_do_value *value =
      typedef_name == nullptr ? zu_do_value_ref(array) : zu_do_value_new_as(array, typedef_name, false);
  zu_do_value_deref(array);
  zu_do_vlist_deref(list);
  return value;
}

// The only value of a document. It is read as the only element of the text in brackets, because the
// parser walks only into containers.
zu_do_value *read_only_element(std::string_view bracketed) {
  json::parser parser;
  json::document document =
      parser.iterate(bracketed.data(), bracketed.size(), bracketed.size() + simdjson::SIMDJSON_PADDING);
  arena memory;
  value_reader reader(bracketed.data() + 1, memory, true);
  zu_do_value cell = zuapi::cell_none();
  size_t count = 0;
  for (json::value value : json::array(document.get_array())) {
    cell = reader.read(value, nullptr, 0);
    ++count;
  }
  const bool closed_early = document.current_location().error() == simdjson::SUCCESS;
  if (count != 1 || closed_early)
    throw refusal{bracketed.size() - 2, "not one value"}; // the text is not JSON
  return counted(cell);
}

zu_do_value *read_value(std::string_view text) {
  infra::string bracketed;
  bracketed.reserve(text.size() + 2 + simdjson::SIMDJSON_PADDING);
  bracketed.append(1, '[').append(text).append(1, ']');
  zu_do_value *value = nullptr;
  read_json(text, [&] { value = read_only_element(padded(bracketed)); });
  return value;
}

} // namespace

zu_do_value *zu_do_value_from_json(const char *text, size_t length, zu_do_error **error) {
  int32_t code = ZU_EXHAUSTED;
  char message[128] = "memory exhausted";
  if (error != nullptr) *error = nullptr;
  try {
    zu_do_value *value = read_value(text == nullptr ? std::string_view() : std::string_view(text, length));
    if (value != nullptr) return value;
  } catch (const refusal &found) {
    code = ZU_FAILED;
    snprintf(message, sizeof message, "%s at byte %zu", found.message.c_str(), found.offset);
  } catch (...) {
    // The parser's memory, or the text is longer than any memory.
  }
  if (error != nullptr) *error = zu_do_error_new(code, message);
  return nullptr;
}
