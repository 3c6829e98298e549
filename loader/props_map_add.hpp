// Adding to a properties map.
#pragma once

#include "zu_tovra/props_map.h"

namespace tvr::loader {

// The map's three operations, which the public header describes.
zu_tvr_uri_item *add_uri(zu_tvr_props_map *map, const char *uri, int32_t num_props) noexcept;
bool add_prop(zu_tvr_props_map *map, zu_tvr_uri_item *uri_item, zu_do_name *name, int32_t kind, int32_t slot,
              const char *prefix, uint8_t multiline, uint8_t independent, const char *location_scheme,
              const char *location_field, int32_t partner) noexcept;
bool add_value_map(zu_tvr_props_map *map, int32_t slot, zu_tvr_hash_table *value_map) noexcept;

void free_uri_item(zu_tvr_uri_item *item) noexcept;

} // namespace tvr::loader
