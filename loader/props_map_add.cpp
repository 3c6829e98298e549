// Adding to a properties map: URI items, properties and value maps.
#include "props_map_add.hpp"

#include <algorithm>

#include "zu_tovra/internal/cause.hpp"
#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/internal/uri_program.hpp"

namespace tvr::loader {

void free_uri_item(zu_tvr_uri_item *item) noexcept {
  const block<zu_tvr_uri_item> owner(item);
  const block<int32_t> indices(item->indices);
  zu_tvr_uri_delete(item->uri);
}

namespace {

// The item's array data, or null when there is no such item or it holds something else.
zu_tvr_array_data *find_array_data(const zu_tvr_props_map &map, int32_t slot) noexcept {
  if (slot < 0 || slot >= map.num_items) return nullptr;
  const zu_tvr_fmt_item *item = map.fmt_items[slot];
  if (item == nullptr || item->data_kind != TVR_KIND_ARRAY_ELEMENT) return nullptr;
  return static_cast<zu_tvr_array_data *>(item->data);
}

struct array_options {
  const char *prefix;
  uint8_t multiline;
  uint8_t independent;
  int32_t partner;
};

bool add_array_data(zu_tvr_props_map &map, int32_t slot, const array_options &options) noexcept {
  zu_tvr_fmt_item &item = *map.fmt_items[slot];
  if (item.data != nullptr) {
    TVR_EXPLAIN("Data for array at position %d already present", slot);
    return false;
  }
  auto data = or_error(make_zeroed<zu_tvr_array_data>(), "Failed to allocate array data item");
  if (data == nullptr) return false;
  if (options.prefix != nullptr) {
    data->prefix = or_error(copy_text(options.prefix), "Failed to allocate property prefix").release();
    if (data->prefix == nullptr) return false;
  }
  data->multiline = options.multiline;
  data->independent = options.independent;
  data->partner = options.partner < 0 ? -1 : options.partner;
  item.data = data.release();
  item.data_kind = TVR_KIND_ARRAY_ELEMENT;

  // Both items of a linked pair have the options of the second piece.
  if (zu_tvr_array_data *partner = find_array_data(map, options.partner)) {
    partner->multiline = options.multiline;
    partner->independent = options.independent;
    partner->partner = slot;
  }
  return true;
}

bool add_location_data(zu_tvr_fmt_item &item, int32_t slot, const char *location_scheme, const char *field,
                       zu_tvr_uri_item &uri_item) noexcept {
  if (item.data != nullptr) {
    TVR_EXPLAIN("Data for location at position %d already present", slot);
    return false;
  }
  auto data = or_error(make_zeroed<zu_tvr_location_data>(), "Failed to allocate location data item");
  if (data == nullptr) return false;
  TVR_ASSERT(location_scheme);
  if (zu_exec_str_to_location_scheme(location_scheme, &data->scheme) != 0) {
    data->scheme = 0;
    TVR_WARN("Failed to resolve loc scheme %s from metadata. Falling back to DEFAULT loc scheme",
             location_scheme);
  }
  if (field != nullptr) {
    TVR_DEBUG("props map: location field %s", field);
    data->field = or_error(copy_text(field), "strdup failure").release();
    if (data->field == nullptr) return false;
    uri_item.has_location_field = 1;
  }
  item.data = data.release();
  item.data_kind = TVR_KIND_LOCATION;
  return true;
}

bool add_extra_prop(zu_tvr_props_map &map, zu_do_name *name, int32_t kind, int32_t slot) noexcept {
  auto property = or_error(make_zeroed<zu_tvr_extra_prop>(), "Failed to allocate props map prop");
  if (property == nullptr) return false;
  property->name = share_into_field(name);
  property->kind = kind;
  property->slot = slot;
  zu_tvr_extra_prop *&end = map.last_extra_prop != nullptr ? map.last_extra_prop->next : map.extra_props;
  map.last_extra_prop = end = property.release();
  return true;
}

zu_tvr_fmt_item *need_fmt_item(zu_tvr_props_map &map, int32_t slot) noexcept {
  zu_tvr_fmt_item *&item = map.fmt_items[slot];
  if (item == nullptr) item = make_zeroed<zu_tvr_fmt_item>().release();
  return or_error(item, "Failed to allocate format item");
}

// Filled indices come first, so the next free place is found by binary search.
void record_slot(zu_tvr_uri_item &item, zu_do_name *name, int32_t kind, int32_t slot) noexcept {
  int32_t *const end = item.indices + item.num_props;
  int32_t *free = std::partition_point(item.indices, end, [](int32_t index) { return index != -1; });
  if (free == end) return;
  *free = slot;
  TVR_DEBUG("props map: added %s (type %d): local pos=%d, global pos=%d", zu_do_name_get_strname(name), kind,
            static_cast<int>(free - item.indices), slot);
}

} // namespace

zu_tvr_uri_item *add_uri(zu_tvr_props_map *map, const char *uri, int32_t num_props) noexcept {
  TVR_ASSERT(map);
  TVR_ASSERT(uri);
  if (num_props < 1) {
    TVR_EXPLAIN("Invalid number of properties (%d) for URI %s", num_props, uri);
    return nullptr;
  }
  using owned_item = unique<zu_tvr_uri_item, free_uri_item>;
  owned_item item(make_zeroed<zu_tvr_uri_item>().release());
  if (!or_error(item != nullptr, "Failed to allocate item in the map of print props")) return nullptr;
  const size_t count = static_cast<size_t>(num_props);
  item->indices = make_room<int32_t>(count).release();
  if (!or_error(item->indices != nullptr, "Failed to allocate indices in item in the map of print props")) {
    return nullptr;
  }
  item->uri = uri_new_shared(uri, map->programs);
  if (!or_error(item->uri != nullptr, "Failed to allocate uri in item in the map of print props")) {
    return nullptr;
  }
  std::fill_n(item->indices, count, -1);
  item->num_props = num_props;
  TVR_DEBUG("props map: generated item for %s (length=%d)", uri, num_props);
  zu_tvr_uri_item *&end = map->last_uri_item != nullptr ? map->last_uri_item->next : map->uri_items;
  map->last_uri_item = end = item.release();
  return map->last_uri_item;
}

bool add_prop(zu_tvr_props_map *map, zu_tvr_uri_item *uri_item, zu_do_name *name, int32_t kind, int32_t slot,
              const char *prefix, uint8_t multiline, uint8_t independent, const char *location_scheme,
              const char *location_field, int32_t partner) noexcept {
  TVR_ASSERT(map);
  TVR_ASSERT(uri_item);
  TVR_ASSERT(name);
  if (slot < 0) {
    TVR_EXPLAIN("Invalid property index (%d) for %s", slot, zu_do_name_get_strname(name));
    return false;
  }
  if (slot >= map->num_items) {
    if (!add_extra_prop(*map, name, kind, slot)) return false;
    record_slot(*uri_item, name, kind, slot);
    return true;
  }
  zu_tvr_fmt_item *item = need_fmt_item(*map, slot);
  if (item == nullptr) return false;
  zu_do_name *shared = share_into_field(name);
  drop_field(item->name);
  item->name = shared;
  item->kind = kind;

  bool added = true;
  switch (kind) {
  case TVR_KIND_PLAIN:
    map->type_flags[0] |= TVR_MAP_HAS_PLAIN;
    break;
  case TVR_KIND_ARRAY_ELEMENT:
    map->type_flags[0] |= TVR_MAP_HAS_ELEMENT;
    added = add_array_data(*map, slot, {prefix, multiline, independent, partner});
    break;
  case TVR_KIND_ARRAY_INDEX:
    map->type_flags[1] |= TVR_MAP_HAS_INDEX;
    added = add_array_data(*map, slot, {prefix, multiline, independent, partner});
    break;
  case TVR_KIND_LOCATION:
    map->type_flags[1] |= TVR_MAP_HAS_LOCATION;
    added = add_location_data(*item, slot, location_scheme, location_field, *uri_item);
    break;
  default:
    TVR_EXPLAIN("unknown value type %d", kind);
    added = false;
  }
  if (!added) {
    drop_field(item->name);
    return false;
  }
  record_slot(*uri_item, name, kind, slot);
  return true;
}

bool add_value_map(zu_tvr_props_map *map, int32_t slot, zu_tvr_hash_table *value_map) noexcept {
  TVR_ASSERT(map);
  // A slot without an item has no property whose values could be replaced.
  if (slot < 0 || slot >= map->num_items || map->fmt_items[slot] == nullptr) {
    TVR_EXPLAIN("Invalid property index (%d)", slot);
    return false;
  }
  zu_tvr_fmt_item &item = *map->fmt_items[slot];
  if (item.value_map != nullptr) {
    TVR_EXPLAIN("Value map already exists");
    return false;
  }
  item.value_map = value_map;
  return true;
}

} // namespace tvr::loader
