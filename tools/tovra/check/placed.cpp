// Takes the properties out of a properties map: its URI items are in the order of the lines.
#include "placed.hpp"

#include <map>

#include "zuapi/zuapi.h"

namespace tovra::check {

namespace {

struct filling {
  zu_do_name *name = nullptr;
  int32_t kind = 0;
};

std::map<int32_t, filling> beyond_format(const zu_tvr_props_map &map) {
  std::map<int32_t, filling> slots;
  for (const zu_tvr_extra_prop *extra = map.extra_props; extra != nullptr; extra = extra->next) {
    slots.emplace(extra->slot, filling{extra->name, extra->kind}); // the first one in a slot counts
  }
  return slots;
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
  const auto beyond = beyond_format(*map);
  const auto filling_of = [&](int32_t slot) {
    if (slot < map->num_items) {
      const zu_tvr_fmt_item *in = map->fmt_items[slot];
      return in != nullptr ? filling{in->name, in->kind} : filling{};
    }
    const auto found = beyond.find(slot);
    return found != beyond.end() ? found->second : filling{};
  };
  const auto lines = record.property_lines();
  const zu_tvr_uri_item *item = map->uri_items;
  for (size_t i = 0; item != nullptr && i < lines.size(); item = item->next, ++i) {
    for (int32_t at = 0; at < item->num_props; ++at) {
      const int32_t slot = item->indices[at];
      if (slot < 0) continue;
      const auto [name, kind] = filling_of(slot);
      const char *text = name != nullptr ? zu_do_name_get_strname(name) : "";
      placed.push_back({lines[i], item, slot, kind, text});
    }
  }
  return placed;
}

} // namespace tovra::check
