// "Location:" lines: a property whose value is a location, rendered field by field.
#include <cstring>

#include "keywords.hpp"
#include "property_lines.hpp"
#include "zu_tovra/internal/report.hpp"

namespace tvr::loader {

namespace {

using name_ref = ref<zu_do_name>;

// The first tokens of a line, which apply to all its field tokens.
struct location {
  text uri;
  name_ref name;
  text scheme;
  zu_tvr_uri_item *uri_item = nullptr;
};

// `at` moves to the text after the name's colon.
bool read_name(parse_context &parse, const char *value, const char **at, location *location) noexcept {
  const char *start = skip_blanks(*at);
  const char *colon = std::strchr(start, ':');
  if (colon == nullptr || colon[1] == '\0') {
    return refuse(parse.error, "Unexpected line termination parsing prop name on: ", value);
  }
  text name;
  const bool copied = copy_range(&name, start, colon, parse.error);
  if (copied) location->name = name_ref::adopt(zu_do_name_new(name.get()));
  if (location->name == nullptr) {
    return refuse(parse.error, "Error processing prop name in: ", value, copied ? ZU_EXHAUSTED : ZU_FAILED);
  }
  *at = colon + 1;
  return true;
}

// `at` moves to the blank after the scheme.
bool read_scheme(parse_context &parse, const char *value, const char **at, location *location) noexcept {
  const char *blank = find_blank(*at);
  if (blank[0] == '\0' || blank[1] == '\0') {
    return refuse(parse.error, "Unexpected line termination parsing scheme on: ", value);
  }
  if (!copy_range(&location->scheme, *at, blank, parse.error)) {
    return refuse(parse.error, "Error processing scheme in: ", value);
  }
  *at = blank;
  return true;
}

// `[FIELD]:SLOT`
bool take_field(parse_context &parse, const char *value, const location &location, const char *token,
                const char *token_end) noexcept {
  const size_t length = static_cast<size_t>(token_end - token);
  const auto *colon = static_cast<const char *>(std::memchr(token, ':', length));
  if (colon == nullptr) {
    return refuse(parse.error, "Failed to find prop position in props map: ", location.uri.get());
  }
  text field;
  if (colon > token) {
    if (!copy_range(&field, token, colon, parse.error)) return false;
    TVR_INFO("loader: detected location var %s", field.get());
  }
  int32_t slot = 0;
  if (!to_int32(colon + 1, token_end, &slot, parse.error)) return false;
  zu_tvr_props_map *map = parse.data->props_map.get();
  return map->add_prop(map, location.uri_item, location.name.get(), TVR_KIND_LOCATION, slot, nullptr, 0, 0,
                       location.scheme.get(), field.get(), 0) ||
         refuse(parse.error, "Error processing adding the prop in: ", value);
}

} // namespace

bool take_location(parse_context &parse, const char *value) noexcept {
  location location;
  const char *at = nullptr;
  if (!read_uri_token(parse, value, &location.uri, &at) || !need_map(parse, value) ||
      !read_name(parse, value, &at, &location) || !read_scheme(parse, value, &at, &location)) {
    return false;
  }
  location.uri_item = add_uri_item(parse, location.uri.get(), at);
  if (location.uri_item == nullptr) return false;

  bool found = false;
  for (const char *token = skip_blanks(at); *token != '\0'; token = skip_blanks(token)) {
    const char *end = find_blank(token);
    if (!take_field(parse, value, location, token, end)) return false;
    found = true;
    token = end;
  }
  return found || refuse(parse.error, "Could not find prop in: ", value);
}

} // namespace tvr::loader
