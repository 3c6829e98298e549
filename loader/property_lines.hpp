// The common parts of "Props:" and "Location:" lines.
#pragma once

#include "record.hpp"

namespace tvr::loader {

// Read the URI token, and set `rest` to the blank after it; make the record's map if there is none yet; add a
// URI item with room for the slots that the rest of the line declares. False or null: the line is refused.
bool read_uri_token(parse_context &parse, const char *value, text *uri, const char **rest) noexcept;
bool need_map(parse_context &parse, const char *value) noexcept;
zu_tvr_uri_item *add_uri_item(parse_context &parse, const char *uri, const char *rest) noexcept;

} // namespace tvr::loader
