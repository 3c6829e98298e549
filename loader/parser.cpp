// The template parser: lines of a text become nodes of a tree.
#include <cstring>

#include "keywords.hpp"
#include "zu_tovra/internal/cause.hpp"

namespace tvr::loader {

// Blank lines and comments change nothing, not even whether a version line may still come.
static bool take_line(parse_context &parse) noexcept {
  const char *line = skip_blanks(parse.line.chars.get());
  if (*line == '\0' || *line == '#') return true;
  TVR_INFO("loader parsing: %s", line);
  return take_keyword_line(parse, line) && check_version(parse);
}

// Continues the record without a refused line. A properties
// map that this line began is incomplete, and dropped.
static bool go_on_without_line(parse_context &parse, bool had_map) noexcept {
  parse.data->lost_line = true;
  if (!had_map) parse.data->props_map.reset();
  const char *line = parse.line.chars.get();
  zu_tvr_diagnostic fault{};
  fault.kind = ZU_TVR_FAULT_LINE;
  fault.file = parse.file;
  fault.line = parse.line_number;
  fault.column = static_cast<uint32_t>(skip_blanks(line) - line) + 1;
  if (*parse.data->cmd_id.chars.get() != '\0') fault.node_id = parse.data->cmd_id.chars.get();
  return tell_fault(parse.load, fault);
}

static bool parse_lines(parse_context &parse, const char *source) noexcept {
  const char *const end = source + std::strlen(source);
  for (const char *line = source; line < end; ++parse.line_number) {
    const void *feed = std::memchr(line, '\n', static_cast<size_t>(end - line));
    const char *line_end = feed != nullptr ? static_cast<const char *>(feed) : end;
    if (!store(parse.line, line, static_cast<size_t>(line_end - line), parse.error)) return false;
    const bool had_map = parse.data->props_map != nullptr;
    forget_cause();
    if (!take_line(parse) && !go_on_without_line(parse, had_map)) {
      TVR_ERROR("Loading terminated at %s:%d", parse.file, parse.line_number);
      return false;
    }
    line = line_end + 1;
  }
  forget_cause();
  return complete_record(parse);
}

static bool start(parse_context &parse) noexcept {
  if (!make_buffer(parse.line, first_buffer_size)) {
    return exhausted(parse.error, "Failed to allocate string");
  }
  parse.data = new_parse_data(parse.error);
  if (parse.data == nullptr) return false;
  if (parse.file == nullptr) return true;
  parse.shared_file = new_file_name(parse.file);
  return parse.shared_file != nullptr || exhausted(parse.error, "Failed to allocate string");
}

bool parse_text(load_context &load, const char *file, const char *source) noexcept {
  parse_context parse{load, load.tree, file, load.error};
  if (start(parse) && parse_lines(parse, source)) return true;
  zu_tvr_diagnostic fault{};
  fault.kind = ZU_TVR_FAULT_FILE;
  fault.file = file;
  return *load.error != nullptr && tell_fault(load, fault);
}

} // namespace tvr::loader
