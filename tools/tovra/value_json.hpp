// A value as JSON.
#pragma once

#include <nlohmann/json.hpp>

#include "zuapi/zuapi.h"

namespace tovra {

// As in a data file, without typedefs; a password is "<removed>".
nlohmann::ordered_json value_json(zu_do_value *value);

// As it is written, with the end of its line; on one line, or indented by so many blanks. Bytes that are no
// UTF-8 are replaced, and control characters of Latin-1, which JSON leaves as they are, become \u00HH.
std::string json_text(const nlohmann::ordered_json &value, int indentation = -1);

// For writing: bytes that are no UTF-8 do not fail it.
inline constexpr auto replace_bad_utf8 = nlohmann::ordered_json::error_handler_t::replace;

} // namespace tovra
