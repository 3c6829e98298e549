// The text of a value in a line.
#pragma once

#include <cstring>

#include "zu_tovra/internal/shortcuts.hpp"
#include "zu_tovra/internal/text_buffer.hpp"
#include "zu_tovra/props_map.h"

namespace tvr {

// True when the text has a byte up to the double quote (0x22), among them blanks and quotes. Most texts have
// none, and this test of a word at a time saves them the search for quotes.
inline bool has_low_byte(std::string_view shown) noexcept {
  const auto in_word = [](const char *at, auto word) {
    constexpr auto ones = static_cast<decltype(word)>(0x0101010101010101u);
    std::memcpy(&word, at, sizeof word);
    return ((word - ones * ('"' + 1)) & ~word & (ones << 7)) != 0;
  };
  const char *at = shown.data(), *const end = at + shown.size();
  if (shown.size() >= 8) {
    for (; end - at > 8; at += 8) {
      if (in_word(at, uint64_t{})) return true;
    }
    return in_word(end - 8, uint64_t{});
  }
  if (shown.size() >= 4) return in_word(at, uint32_t{}) || in_word(end - 4, uint32_t{});
  while (at != end && static_cast<unsigned char>(*at) > '"') ++at;
  return at != end;
}

// False for numbers and truth values: their texts have nothing that needs quotes.
inline bool may_need_quotes(int32_t type) noexcept {
  return type < ZU_DO_TYPE_BOOL || type > ZU_DO_TYPE_DOUBLE;
}

void append_mapped(const zu_tvr_fmt_item *item, std::string_view shown, text_buffer *line) noexcept;
void append_quoted(std::string_view shown, text_buffer *line) noexcept;
bool append_through_buffer(const zu_tvr_fmt_item *item, zu_do_value *value, int32_t type,
                           text_buffer *line) noexcept;

// The text is NUL-terminated.
[[gnu::always_inline]] inline void append_shown(const zu_tvr_fmt_item *item, int32_t type,
                                                std::string_view shown, text_buffer *line) noexcept {
  if (item->value_map != nullptr) return append_mapped(item, shown, line);
  if (may_need_quotes(type) && has_low_byte(shown)) return append_quoted(shown, line);
  line->add(shown);
}

// Appends the text of a value, mapped or quoted. False on failure (traced).
[[gnu::always_inline]] inline bool append_value(const zu_tvr_fmt_item *item, zu_do_value *value, int32_t type,
                                                text_buffer *line) noexcept {
  char room[ZU_DO_VALUE_ROOM];
  size_t length = 0;
  const char *shown = shortcuts.display(value, room, &length);
  if (shown == nullptr) return append_through_buffer(item, value, type, line);
  append_shown(item, type, {shown, length}, line);
  return true;
}

} // namespace tvr
