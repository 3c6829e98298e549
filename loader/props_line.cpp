// "Props:" lines: the properties of one URI. Each token is a name with one or two pieces, `NAME:SLOT[...]`.
#include <cstring>

#include "keywords.hpp"
#include "property_lines.hpp"
#include "zu_tovra/internal/cause.hpp"

namespace tvr::loader {

namespace {

using name_ref = ref<zu_do_name>;

// A property token while its pieces are read.
struct property {
  zu_tvr_uri_item *uri_item;
  zu_do_name *name;
  uint8_t multiline; // set by the first piece, for both
};

struct piece {
  int32_t kind = TVR_KIND_PLAIN; // index for a second piece
  int32_t slot = 0;
  int32_t partner = -1;
  text prefix;
  uint8_t independent = 1;
  const char *second = nullptr; // where the token's second piece begins, or null
};

bool begins_with(const char *at, const char *word) noexcept {
  return std::strncmp(at, word, std::strlen(word)) == 0;
}

// From the colon after the slot, over the prefix field (which may be absent or empty), to where the colon
// before the flag should be. Null: refused.
const char *skip_prefix(const char *colon, piece *piece, zu_do_error **error) noexcept {
  const char *field = colon + 1;
  if (*field == ':') return field;
  if (*field != '"') return colon;
  const char *start = field + 1;
  const char *end = std::strchr(start, '"');
  if (end == nullptr) {
    refuse(error, "Invalid prefix format in: ", start);
    return nullptr;
  }
  if (!copy_range(&piece->prefix, start, end, error)) return nullptr;
  return find_outside_quotes(field, " :");
}

bool read_piece(const char *start, property *property, piece *piece, zu_do_error **error) noexcept {
  const bool first = piece->kind == TVR_KIND_PLAIN;
  if (*start == '\0') return refuse(error, "Could not find position in: ", start);
  const char *stop = find_outside_quotes(start, " :");
  if (!to_int32(start, stop, &piece->slot, error)) return false;
  if (*stop != ':') return true;

  if (first) piece->kind = TVR_KIND_ARRAY_ELEMENT;
  const char *colon = skip_prefix(stop, piece, error);
  if (colon == nullptr) return false;
  if (*colon != ':' || colon[1] == '\0') return true;

  const char *flag = colon + 1;
  if (!first) {
    piece->independent = begins_with(flag, "independent") ? 1 : 0;
    return true;
  }
  if (begins_with(flag, "multiline")) property->multiline = 1;
  const char *next = find_outside_quotes(flag, " :");
  if (*next == ':' && next[1] != '\0') piece->second = next + 1;
  return true;
}

bool add_piece(parse_context &parse, const property &property, const piece &piece) noexcept {
  zu_tvr_props_map *map = parse.data->props_map.get();
  if (map->add_prop(map, property.uri_item, property.name, piece.kind, piece.slot, piece.prefix.get(),
                    property.multiline, piece.independent, nullptr, nullptr, piece.partner)) {
    return true;
  }
  return refuse(parse.error, "Failed to add property to map: ", zu_do_name_get_strname(property.name));
}

bool take_pieces(parse_context &parse, property *property, const char *start) noexcept {
  piece first;
  if (!read_piece(start, property, &first, parse.error) || !add_piece(parse, *property, first)) return false;
  if (first.second == nullptr) return true;

  piece second;
  second.kind = TVR_KIND_ARRAY_INDEX;
  second.partner = first.slot;
  second.independent = 0;
  return read_piece(first.second, property, &second, parse.error) && add_piece(parse, *property, second);
}

bool take_token(parse_context &parse, zu_tvr_uri_item *item, const char *token) noexcept {
  const char *colon = std::strchr(token, ':');
  text name_text;
  if (!copy_range(&name_text, token, colon, parse.error)) return false;
  const auto name = name_ref::adopt(zu_do_name_new(name_text.get()));
  if (name == nullptr) return exhausted(parse.error, "Failed to allocate property name");
  property property{item, name.get(), 0};
  return take_pieces(parse, &property, colon + 1);
}

} // namespace

bool take_props(parse_context &parse, const char *value) noexcept {
  text uri;
  const char *rest = nullptr;
  if (!read_uri_token(parse, value, &uri, &rest) || !need_map(parse, value)) return false;
  zu_tvr_uri_item *item = add_uri_item(parse, uri.get(), rest);
  if (item == nullptr) return false;

  bool found = false;
  for (const char *token = skip_blanks(rest); *token != '\0'; token = skip_blanks(token)) {
    if (!take_token(parse, item, token)) {
      TVR_EXPLAIN("Failed to part prop at %s", token);
      return false;
    }
    found = true;
    token = find_outside_quotes(token, " ");
  }
  return found || refuse(parse.error, "Could not find prop in: ", value);
}

} // namespace tvr::loader
