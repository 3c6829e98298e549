// What a value shows as: its display text, replaced by its table, or quoted where it must be.
#include <glib.h>

#include <string_view>

#include "print_job.hpp"
#include "zu_tovra/internal/report.hpp"
#include "zu_tovra/internal/shortcuts.hpp"

namespace tvr {
namespace {

// The display text of a value while it lives.
class shown_value {
public:
  // False when it cannot be made (traced).
  bool take(zu_do_value *value) noexcept {
    size_t length = 0;
    const char *shown = shortcuts.display != nullptr ? shortcuts.display(value, room_, &length) : nullptr;
    if (shown != nullptr) {
      text_ = {shown, length};
      return true;
    }
    buffer_.reset(zu_do_strbuf_new());
    if (buffer_ == nullptr) {
      TVR_ERROR("Failed to allocate strbuf");
      return false;
    }
    if (zu_do_value_to_strbuf(value, 0, buffer_.get()) != 0) {
      TVR_ERROR("Failed to convert value to strbuf");
      return false;
    }
    shown = zu_do_strbuf_to_string(buffer_.get());
    if (shown == nullptr) {
      TVR_ERROR("Failed to convert strbuf to string");
      return false;
    }
    text_ = {shown, zu_do_strbuf_get_len(buffer_.get())};
    return true;
  }
  std::string_view text() const noexcept { return text_; } // NUL-terminated

private:
  char room_[ZU_DO_VALUE_ROOM];
  string_buffer buffer_;
  std::string_view text_;
};

// Quotes around a text that a CLI would not read back as one word, or would take for a comment; a backslash
// before its quotes.
void append_quoted(std::string_view shown, text_buffer *out) noexcept {
  bool enclose = shown.starts_with('!');
  bool has_quotes = false;
  for (const char c : shown) {
    if (c > '"') continue;
    enclose |= c == ' ' || c == '\t';
    has_quotes |= c == '"';
  }
  if (!enclose && !has_quotes) return out->add(shown);
  if (enclose) out->add('"');
  while (has_quotes) {
    const size_t quote = shown.find('"');
    out->add(shown.substr(0, quote));
    has_quotes = quote != shown.npos;
    if (has_quotes) out->add("\\\"");
    shown.remove_prefix(has_quotes ? quote + 1 : shown.size());
  }
  out->add(shown);
  if (enclose) out->add('"');
}

// Numbers and truth values hold nothing that is quoted.
bool may_need_quotes(int32_t type) noexcept {
  return type < ZU_DO_TYPE_BOOL || type > ZU_DO_TYPE_DOUBLE;
}

} // namespace

// A value that its table does not name stands as it is, without quotes.
bool append_value(const zu_tvr_fmt_item *item, zu_do_value *value, int32_t type, text_buffer *line,
                  size_t *length) noexcept {
  shown_value shown;
  if (!shown.take(value)) return false;
  const size_t before = line->size();
  if (item->value_map == nullptr && may_need_quotes(type)) {
    append_quoted(shown.text(), line);
  } else if (item->value_map == nullptr) {
    line->add(shown.text());
  } else {
    const auto *entry = static_cast<const char *>(g_hash_table_lookup(item->value_map, shown.text().data()));
    line->add(entry != nullptr ? std::string_view(entry) : shown.text());
  }
  *length = line->size() - before;
  return true;
}

} // namespace tvr

extern "C" bool zu_tvr_props_map_fmt_item_map_value(zu_tvr_fmt_item *item, zu_do_value *value,
                                                    char **text) noexcept {
  TVR_ASSERT(item);
  TVR_ASSERT(text);
  *text = nullptr;
  tvr::text_buffer made;
  size_t length = 0;
  if (!tvr::append_value(item, value, zu_do_value_get_type(value), &made, &length)) return false;
  *text = made.release().release();
  if (*text == nullptr) TVR_ERROR("Failed to allocate string");
  return *text != nullptr;
}
