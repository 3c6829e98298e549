// "ValueMap:" lines: replacement texts for the values of one format slot.
#include <glib.h>

#include "keywords.hpp"

namespace tvr::loader {

namespace {

void free_entry_text(void *entry) noexcept {
  const text freed(static_cast<char *>(entry));
}

using value_map = unique<GHashTable, g_hash_table_destroy>;

// Reads the rest of the line: keys and values alternate. For a key that appears twice the last value counts.
bool read_pairs(parse_context &parse, const char *value, const char *at, GHashTable *table) noexcept {
  text key;
  while (*at != '\0') {
    const char *token = skip_blanks(at);
    if (*token == '\0') return refuse(parse.error, "Error parsing value map in: ", value);
    at = find_blank(token);
    if (key == nullptr) {
      if (copy_range(&key, token, at, parse.error)) continue;
      return refuse(parse.error, "Error processing value map in: ", value);
    }
    text replacement;
    if (!copy_range(&replacement, token, at, parse.error)) break;
    g_hash_table_insert(table, key.release(), replacement.release());
  }
  return key == nullptr || refuse(parse.error, "Error processing value map in :", value);
}

} // namespace

bool take_value_map(parse_context &parse, const char *value) noexcept {
  const char *start = skip_blanks(value);
  if (*start == '\0' && start != value) {
    return refuse(parse.error, "Unexpected line termination parsing value map on: ", value);
  }
  const char *rest = find_blank(start);
  int32_t slot = 0;
  if (!to_int32(start, *rest != '\0' ? rest : nullptr, &slot, parse.error)) {
    return refuse(parse.error, "Error parsing value map in: ", value);
  }
  zu_tvr_props_map *map = parse.data->props_map.get();
  if (map == nullptr) {
    return refuse(parse.error, "Error parsing value map: properties map not yet instantiated");
  }
  value_map table(g_hash_table_new_full(g_str_hash, g_str_equal, free_entry_text, free_entry_text));
  if (table == nullptr) return refuse(parse.error, "Failed to create hash table");
  if (!read_pairs(parse, value, rest, table.get())) return false;
  if (!map->add_value_map(map, slot, table.get())) {
    return refuse(parse.error, "Error adding value map to properties map");
  }
  (void)table.release();
  return true;
}

} // namespace tvr::loader
