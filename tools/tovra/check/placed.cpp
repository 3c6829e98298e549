// Reading a properties map back: its URI items stand in the order of the lines.
#include "placed.hpp"

#include <map>

#include "zuapi/zuapi.h"

namespace tovra::check {

namespace {

std::map<int32_t, zu_do_name *> names_beyond_format(const zu_tvr_props_map &map) {
  std::map<int32_t, zu_do_name *> names;
  for (const zu_tvr_extra_prop *extra = map.extra_props; extra != nullptr; extra = extra->next) {
    names.emplace(extra->slot, extra->name); // the first of a slot counts
  }
  return names;
}

std::string text_of(zu_do_name *name) {
  return name != nullptr ? zu_do_name_get_strname(name) : "";
}

} // namespace

const zu_tvr_props_map *map_of(const record &record) {
  if (!record.sound || record.node == nullptr || record.node->type != TVR_NODE_PRINT) return nullptr;
  return static_cast<const zu_tvr_print_data *>(record.node->data)->props_map;
}

std::vector<placed_property> placed_properties(const record &record) {
  std::vector<placed_property> placed;
  const zu_tvr_props_map *map = map_of(record);
  if (map == nullptr) return placed;
  const auto beyond = names_beyond_format(*map);
  const auto name_in = [&](int32_t slot) {
    if (slot < map->num_items)
      return text_of(map->fmt_items[slot] != nullptr ? map->fmt_items[slot]->name : nullptr);
    const auto found = beyond.find(slot);
    return text_of(found != beyond.end() ? found->second : nullptr);
  };
  const auto lines = record.property_lines();
  const zu_tvr_uri_item *item = map->uri_items;
  for (size_t i = 0; item != nullptr && i < lines.size(); item = item->next, ++i) {
    for (int32_t at = 0; at < item->num_props; ++at) {
      const int32_t slot = item->indices[at];
      if (slot >= 0) placed.push_back({lines[i], item, slot, name_in(slot)});
    }
  }
  return placed;
}

} // namespace tovra::check
