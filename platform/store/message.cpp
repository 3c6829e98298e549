// The parts of messages about a data file: names from it, lines and columns.
#include "store/message.hpp"

#include <algorithm>
#include <cstdint>
#include <new>

#include "qmalloc/qmalloc.h"

namespace store {

std::string in_quotes(std::string_view text) {
  constexpr size_t longest = 200;
  const std::string_view start = infra::start_of(text, longest);
  std::string shown = "\"";
  for (char c : start) {
    char escape[4];
    shown += infra::is_control(c) ? std::string_view(escape, infra::put_escaped(escape, c))
                                  : std::string_view(&c, 1);
  }
  return shown + (start.size() < text.size() ? "...\"" : "\"");
}

void check_spelling(std::string_view uri, std::string_view canonical) {
  if (uri == canonical) return;
  throw source_failure{ZU_FAILED,
                       "record " + in_quotes(uri) + ": its URI is written as " + in_quotes(canonical)};
}

char *new_text(std::string_view text) {
  auto *made = static_cast<char *>(qmalloc_named(ZU_DO_AREA, text.size() + 1));
  if (made == nullptr) throw std::bad_alloc();
  *std::copy(text.begin(), text.end(), made) = '\0';
  return made;
}

std::string shown_place(const char *name, infra::place at) {
  return std::string(name) + ":" + std::to_string(at.line) + ":" + std::to_string(at.column);
}

std::string named_text::place_of(size_t offset) const {
  if (yaml != nullptr) return shown_place(name, yaml->place_of(offset));
  const std::string_view before = text.substr(0, std::min(offset, text.size()));
  const auto breaks = static_cast<size_t>(std::count(before.begin(), before.end(), '\n'));
  return shown_place(name, {1 + breaks, before.size() - before.rfind('\n')}); // npos + 1 is 0
}

} // namespace store
