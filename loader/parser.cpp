// The template parser: lines of a text become nodes of a tree.
#include "parser.hpp"

#include <cstring>

#include "keywords.hpp"
#include "zu_tovra/internal/report.hpp"

namespace tvr::loader {

// Blank lines and comments change nothing, not even whether a version line may still come.
static bool take_line(parse_context &parse) noexcept {
  const char *line = skip_blanks(parse.line.chars.get());
  if (*line == '\0' || *line == '#') return true;
  TVR_INFO("loader parsing: %s", line);
  return take_keyword_line(parse, line) && check_version(parse);
}

bool parse_text(zu_tvr_tree *tree, const char *file, const char *source, zu_do_error **error) noexcept {
  parse_context parse{tree, file, error, {}, {}};
  if (!make_buffer(parse.line, first_buffer_size)) return exhausted(error, "Failed to allocate string");
  parse.data = new_parse_data(error);
  if (parse.data == nullptr) return false;
  if (file != nullptr) {
    parse.shared_file = new_file_name(file);
    if (parse.shared_file == nullptr) return exhausted(error, "Failed to allocate string");
  }

  const char *const end = source + std::strlen(source);
  for (const char *line = source; line < end; ++parse.line_number) {
    const void *feed = std::memchr(line, '\n', static_cast<size_t>(end - line));
    const char *line_end = feed != nullptr ? static_cast<const char *>(feed) : end;
    if (!store(parse.line, line, static_cast<size_t>(line_end - line), error)) return false;
    if (!take_line(parse)) {
      TVR_ERROR("Loading terminated at %s:%d", file, parse.line_number);
      return false;
    }
    line = line_end + 1;
  }
  return complete_record(parse);
}

} // namespace tvr::loader
