// What a value shows as in a line: its display text, mapped or quoted.
#include <glib.h>

#include <string_view>

#include "print_job.hpp"
#include "zu_tovra/internal/report.hpp"

namespace tvr {
namespace {

// Appends the text as a line shows it: quotes around one that a CLI would not read back as one word, a
// backslash before its quotes. The length appended.
size_t append_quoted(std::string_view shown, zu_do_strbuf *line) noexcept {
  bool enclose = shown.starts_with('!');
  size_t quotes = 0;
  for (const char c : shown) {
    enclose |= c == ' ' || c == '\t';
    quotes += c == '"';
  }
  if (enclose) zu_do_strbuf_add_char(line, '"');
  size_t done = 0;
  for (size_t i = 0; quotes > 0 && i < shown.size(); ++i) {
    if (shown[i] != '"') continue;
    zu_do_strbuf_add_bytes(line, shown.data() + done, i - done);
    zu_do_strbuf_add_char(line, '\\');
    done = i;
  }
  zu_do_strbuf_add_bytes(line, shown.data() + done, shown.size() - done);
  if (enclose) zu_do_strbuf_add_char(line, '"');
  return shown.size() + quotes + (enclose ? 2 : 0);
}

size_t append_mapped(zu_tvr_hash_table *map, const char *shown, zu_do_strbuf *line) noexcept {
  const auto *entry = static_cast<const char *>(g_hash_table_lookup(map, shown));
  const std::string_view mapped = entry != nullptr ? entry : shown;
  zu_do_strbuf_add_bytes(line, mapped.data(), mapped.size());
  return mapped.size();
}

} // namespace

bool append_value(zu_tvr_fmt_item *item, zu_do_value *value, zu_do_strbuf *line, size_t &length) noexcept {
  char room[ZU_DO_VALUE_ROOM];
  const char *shown = debugging() ? nullptr : zu_do_value_display(value, room, &length);
  if (shown != nullptr) {
    length = item->value_map != nullptr ? append_mapped(item->value_map, shown, line)
                                        : append_quoted({shown, length}, line);
    return true;
  }
  char *mapped = nullptr;
  if (!zu_tvr_props_map_fmt_item_map_value(item, value, &mapped)) return false;
  const text holder(mapped);
  length = std::string_view(mapped).size();
  zu_do_strbuf_add_bytes(line, mapped, length);
  return true;
}

} // namespace tvr
