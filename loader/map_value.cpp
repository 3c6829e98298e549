// The text to print for a value: its replacement, or its own text, quoted where it must be.
#include <glib.h>

#include <algorithm>
#include <cstring>
#include <string_view>

#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/internal/report.hpp"
#include "zu_tovra/props_map.h"

namespace {

// A text with blanks would read as two words, and one that begins with '!' as a comment.
bool needs_quotes(std::string_view value) noexcept {
  return value.find_first_of(" \t") != value.npos || value.starts_with('!');
}

tvr::text quote(std::string_view value) noexcept {
  const bool quoted = needs_quotes(value);
  const auto inner = static_cast<size_t>(std::count(value.begin(), value.end(), '"'));
  tvr::text made = tvr::make_text(value.size() + inner + (quoted ? 2 : 0));
  if (made == nullptr) return made;
  char *out = made.get();
  if (quoted) *out++ = '"';
  for (const char c : value) {
    if (c == '"') *out++ = '\\';
    *out++ = c;
  }
  if (quoted) *out++ = '"';
  *out = '\0';
  return made;
}

// A value that its table does not name stands as it is, without quotes.
tvr::text replace(GHashTable *value_map, const char *value) noexcept {
  const auto *entry = static_cast<const char *>(g_hash_table_lookup(value_map, value));
  return tvr::copy_text(entry != nullptr ? entry : value);
}

} // namespace

extern "C" bool zu_tvr_props_map_fmt_item_map_value(zu_tvr_fmt_item *item, zu_do_value *value,
                                                    char **text) noexcept {
  *text = nullptr;
  const tvr::string_buffer buffer(zu_do_strbuf_new());
  if (buffer == nullptr) {
    TVR_ERROR("Failed to allocate strbuf");
    return false;
  }
  if (zu_do_value_to_strbuf(value, 0, buffer.get()) != 0) {
    TVR_ERROR("Failed to convert value to strbuf");
    return false;
  }
  const char *shown = zu_do_strbuf_to_string(buffer.get());
  if (shown == nullptr) {
    TVR_ERROR("Failed to convert strbuf to string");
    return false;
  }
  tvr::text made = item->value_map != nullptr ? replace(item->value_map, shown) : quote(shown);
  if (made == nullptr) {
    TVR_ERROR("Failed to allocate string");
    return false;
  }
  *text = made.release();
  return true;
}
