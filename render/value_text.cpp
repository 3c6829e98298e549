// The text of a value in a line: its display text, its replacement from a value map, quoted where needed.
#include "value_text.hpp"

#include <glib.h>

#include "zu_tovra/internal/report.hpp"

namespace tvr {

// A value that is not in the table is written unchanged, without quotes.
void append_mapped(const zu_tvr_fmt_item *item, std::string_view shown, text_buffer *line) noexcept {
  const auto *entry = static_cast<const char *>(g_hash_table_lookup(item->value_map, shown.data()));
  line->add(entry != nullptr ? std::string_view(entry) : shown);
}

// Puts quotes around a text that the CLI would not read back as one word, or would take for a comment, and a
// backslash before each of its quotes.
void append_quoted(std::string_view shown, text_buffer *line) noexcept {
  bool enclose = shown.starts_with('!');
  bool has_quotes = false;
  for (const char c : shown) {
    if (c > '"') continue;
    enclose |= c == ' ' || c == '\t';
    has_quotes |= c == '"';
  }
  if (!enclose && !has_quotes) return line->add(shown);
  if (enclose) line->add('"');
  while (has_quotes) {
    const size_t quote = shown.find('"');
    line->add(shown.substr(0, quote));
    has_quotes = quote != shown.npos;
    if (has_quotes) line->add("\\\"");
    shown.remove_prefix(has_quotes ? quote + 1 : shown.size());
  }
  line->add(shown);
  if (enclose) line->add('"');
}

// For values whose text only the platform's buffer can give (arrays, for example).
bool append_through_buffer(const zu_tvr_fmt_item *item, zu_do_value *value, int32_t type,
                           text_buffer *line) noexcept {
  const string_buffer buffer(zu_do_strbuf_new());
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
  append_shown(item, type, {shown, zu_do_strbuf_get_len(buffer.get())}, line);
  return true;
}

} // namespace tvr

extern "C" bool zu_tvr_props_map_fmt_item_map_value(zu_tvr_fmt_item *item, zu_do_value *value,
                                                    char **text) noexcept {
  TVR_ASSERT(item);
  TVR_ASSERT(text);
  *text = nullptr;
  tvr::text_buffer made;
  if (!tvr::append_value(item, value, zu_do_value_get_type(value), &made)) return false;
  *text = made.release().release();
  if (*text == nullptr) TVR_ERROR("Failed to allocate string");
  return *text != nullptr;
}
