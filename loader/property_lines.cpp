// The common parts of "Props:" and "Location:" lines: the URI, the map and the URI item.
#include "property_lines.hpp"

#include "zu_tovra/internal/report.hpp"

namespace tvr::loader {

bool read_uri_token(parse_context &parse, const char *value, text *uri, const char **rest) noexcept {
  const char *start = skip_blanks(value);
  const char *end = *rest = find_blank(start);
  if (*start == '\0' || end[0] == '\0' || end[1] == '\0') {
    return refuse(parse.error, "Unexpected line termination parsing props on: ", value);
  }
  return copy_range(uri, start, end, parse.error) ||
         refuse(parse.error, "Error processing props in: ", value);
}

bool need_map(parse_context &parse, const char *value) noexcept {
  tvr_parse_data &data = *parse.data;
  if (data.props_map != nullptr) return true;
  TVR_INFO("loader starting property map of size %d with %s", data.format_slots, value);
  data.props_map.reset(zu_tvr_props_map_new(data.format_slots));
  if (data.props_map == nullptr) return refuse(parse.error, "Failed to create props map");
  data.props_map->programs = parse.tree->programs;
  return true;
}

// Counts the slots that the tokens declare. Tokens are separated by blanks outside double quotes. A token
// with four or more colons outside quotes has a second piece, so it declares two slots.
static int32_t count_slots(const char *rest) noexcept {
  int32_t slots = 0;
  for (const char *at = skip_blanks(rest); *at != '\0'; at = skip_blanks(at)) {
    bool quoted = false;
    int colons = 0;
    for (; *at != '\0' && (quoted || !is_blank(*at)); ++at) {
      if (*at == '"') quoted = !quoted;
      if (*at == ':' && !quoted && colons < 4) ++colons;
    }
    slots += colons == 4 ? 2 : 1;
  }
  return slots;
}

zu_tvr_uri_item *add_uri_item(parse_context &parse, const char *uri, const char *rest) noexcept {
  zu_tvr_props_map *map = parse.data->props_map.get();
  zu_tvr_uri_item *item = map->add_uri(map, uri, count_slots(rest));
  if (item == nullptr) refuse(parse.error, "Failed to add uri to props map: ", uri);
  return item;
}

} // namespace tvr::loader
