// What messages about a data file show: names from it, lines and columns.
#include "store/message.hpp"

#include <algorithm>
#include <cstdint>
#include <new>

#include "qmalloc/qmalloc.h"
#include "zuapi/zuapi.h"

namespace store {

std::string in_quotes(std::string_view text) {
  constexpr size_t longest = 200;
  size_t length = std::min(text.size(), longest);
  while (length < text.size() && length > 0 && (static_cast<uint8_t>(text[length]) & 0xc0) == 0x80) --length;
  std::string shown = "\"";
  for (char c : text.substr(0, length)) {
    char escape[4];
    shown += infra::is_control(c) ? std::string_view(escape, infra::put_escaped(escape, c))
                                  : std::string_view(&c, 1);
  }
  return shown + (length < text.size() ? "...\"" : "\"");
}

char *new_text(std::string_view text) {
  auto *made = static_cast<char *>(qmalloc_named(ZU_DO_AREA, text.size() + 1));
  if (made == nullptr) throw std::bad_alloc();
  *std::copy(text.begin(), text.end(), made) = '\0';
  return made;
}

infra::place place_of(std::string_view text, size_t offset) {
  const std::string_view before = text.substr(0, std::min(offset, text.size()));
  const size_t line_start = before.rfind('\n') + 1; // 0 when there is none
  return {1 + static_cast<size_t>(std::count(before.begin(), before.end(), '\n')),
          before.size() - line_start + 1};
}

} // namespace store
