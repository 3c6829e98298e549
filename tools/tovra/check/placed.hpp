// The properties of a print record, each with the line that it stands on.
#pragma once

#include "source.hpp"

namespace tovra::check {

struct placed_property {
  const line *from;
  const zu_tvr_uri_item *item;
  int32_t slot;
  int32_t kind;     // TVR_KIND_*
  std::string name; // empty when the map has none there
};

// The properties map of a sound print record, or none.
const zu_tvr_props_map *map_of(const record &record);

// In the order in which the map reads them.
std::vector<placed_property> placed_properties(const record &record);

} // namespace tovra::check
