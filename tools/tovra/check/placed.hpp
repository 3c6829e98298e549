// The properties of a print record, each with its line.
#pragma once

#include "source.hpp"

namespace tovra::check {

struct placed_property {
  const line *from;
  const zu_tvr_uri_item *item;
  int32_t slot;
  int32_t kind;     // TVR_KIND_*
  std::string name; // empty when the map has no property in the slot
};

// The properties map of a print record that loaded whole, or null.
const zu_tvr_props_map *map_of(const record &record);

// In the order of the map.
std::vector<placed_property> placed_properties(const record &record);

} // namespace tovra::check
