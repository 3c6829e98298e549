// What the lines "Props:" and "Location:" share.
#pragma once

#include "record.hpp"

namespace tvr::loader {

// The URI token and the line from the blank after it; the record's map, made by the first line that needs it;
// a URI item for the slots that the rest of the line declares. False or none: the line is refused.
bool read_uri_token(parse_context &parse, const char *value, text *uri, const char **rest) noexcept;
bool need_map(parse_context &parse, const char *value) noexcept;
zu_tvr_uri_item *add_uri_item(parse_context &parse, const char *uri, const char *rest) noexcept;

} // namespace tvr::loader
