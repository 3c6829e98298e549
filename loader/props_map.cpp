// Making, freeing and dumping a properties map.
#include "zu_tovra/props_map.h"

#include <glib.h>

#include "props_map_add.hpp"
#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/internal/report.hpp"
#include "zu_tovra/uri.h"

namespace {

using namespace tvr;

// The data is freed by its own tag (data_kind). The item's kind is no guide: it is that of the last property
// that was added, even if this one was refused.
void free_fmt_item(zu_tvr_fmt_item *item) noexcept {
  if (item == nullptr) return;
  const block<zu_tvr_fmt_item> owner(item);
  drop_field(item->name);
  if (item->value_map != nullptr) g_hash_table_destroy(item->value_map);
  if (item->data_kind == TVR_KIND_ARRAY_ELEMENT) {
    const block<zu_tvr_array_data> data(static_cast<zu_tvr_array_data *>(item->data));
    const text prefix(data->prefix);
  } else if (item->data_kind == TVR_KIND_LOCATION) {
    const block<zu_tvr_location_data> data(static_cast<zu_tvr_location_data *>(item->data));
    const text field(data->field);
  }
}

void free_extra_props(zu_tvr_extra_prop *property) noexcept {
  while (property != nullptr) {
    const block<zu_tvr_extra_prop> owner(property);
    drop_field(property->name);
    property = property->next;
  }
}

// Prints "-" for a slot without an item, and for an item without a name (after a failed add).
void print_names(zu_do_strbuf *buffer, const zu_tvr_props_map &map) noexcept {
  zu_do_strbuf_add_string(buffer, "Prop Names:");
  for (int32_t i = 0; i < map.num_items; ++i) {
    const zu_tvr_fmt_item *item = map.fmt_items[i];
    const bool named = item != nullptr && item->name != nullptr;
    zu_do_strbuf_add_char(buffer, ' ');
    zu_do_strbuf_add_string(buffer, named ? zu_do_name_get_strname(item->name) : "-");
  }
}

void print_indices(zu_do_strbuf *buffer, uint32_t indentation, const zu_tvr_uri_item &item) noexcept {
  zu_do_strbuf_add_char(buffer, '\n');
  zu_do_strbuf_add_tab(buffer, indentation);
  zu_do_strbuf_add_char(buffer, '\n');
  zu_do_strbuf_add_tab(buffer, indentation + 1);
  zu_do_strbuf_add_string(buffer, "Props indices:");
  for (int32_t i = 0; i < item.num_props; ++i) {
    zu_do_strbuf_add_char(buffer, ' ');
    zu_do_strbuf_add_long(buffer, item.indices[i]);
  }
}

} // namespace

zu_tvr_props_map *zu_tvr_props_map_new(int32_t num_items) noexcept {
  if (num_items < 0) return nullptr;
  auto map = or_error(make_zeroed<zu_tvr_props_map>(), "Failed to allocate props map for print node");
  if (map == nullptr) return nullptr;
  if (num_items > 0) {
    auto items = make_zeroed_array<zu_tvr_fmt_item *>(static_cast<size_t>(num_items));
    map->fmt_items = or_error(std::move(items), "Failed to allocate format items").release();
    if (map->fmt_items == nullptr) return nullptr;
  }
  map->num_items = num_items;
  map->add_uri = loader::add_uri;
  map->add_prop = loader::add_prop;
  map->add_value_map = loader::add_value_map;
  return map.release();
}

void zu_tvr_props_map_delete(zu_tvr_props_map *map) noexcept {
  if (map == nullptr) return;
  const block<zu_tvr_props_map> owner(map);
  const block<zu_tvr_fmt_item *> items(map->fmt_items);
  for (int32_t i = 0; i < map->num_items; ++i) free_fmt_item(map->fmt_items[i]);
  free_extra_props(map->extra_props);
  for (zu_tvr_uri_item *item = map->uri_items; item != nullptr;) {
    loader::free_uri_item(std::exchange(item, item->next));
  }
}

void zu_tvr_props_map_print(FILE *stream, uint32_t indentation, zu_tvr_props_map *map) noexcept {
  if (map == nullptr) return;
  TVR_ASSERT(stream);
  const auto buffer = or_error(string_buffer(zu_do_strbuf_new()), "Failed to allocate buffer");
  if (buffer == nullptr) return;
  zu_do_strbuf_add_tab(buffer.get(), indentation);
  print_names(buffer.get(), *map);
  for (const zu_tvr_uri_item *item = map->uri_items; item != nullptr; item = item->next) {
    print_indices(buffer.get(), indentation, *item);
  }
  zu_do_strbuf_print_fp(buffer.get(), stream);
}
