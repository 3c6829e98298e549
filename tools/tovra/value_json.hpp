// A value as JSON.
#pragma once

#include <nlohmann/json.hpp>

#include "zuapi/zuapi.h"

namespace tovra {

// The value as in a data file, without typedefs. A password becomes "<removed>".
nlohmann::ordered_json value_json(zu_do_value *value);

// The text of a value, with a line end: on one line, or indented by that many blanks. Bytes that are not
// UTF-8 are replaced. Control characters of Latin-1, which JSON allows, become \u00HH, since they could
// control a terminal.
std::string json_text(const nlohmann::ordered_json &value, int indentation = -1);

// For dump(): bytes that are not UTF-8 are replaced instead of failing it.
inline constexpr auto replace_bad_utf8 = nlohmann::ordered_json::error_handler_t::replace;

} // namespace tovra
