// The keyword lines of a template text.
#include "keywords.hpp"

#include <cstring>

#include "zu_tovra/internal/cause.hpp"
#include "zu_tovra/internal/keywords.hpp"
#include "zu_tovra/internal/uri_program.hpp"

namespace tvr::loader {

namespace {

constexpr int32_t most_format_slots = 10000;

// Stores a value without the blanks around it. A value of blanks only becomes the keyword's default; a value
// that is missing becomes the empty text.
bool store_trimmed(growable &field, const char *value, word keyword, zu_do_error **error) noexcept {
  const char *start = skip_blanks(value);
  if (*start == '\0' && start != value) {
    const std::string_view otherwise = keyword_of(keyword).when_blank;
    return store(field, otherwise.data(), otherwise.size(), error);
  }
  size_t length = std::strlen(start);
  while (length > 0 && is_blank(start[length - 1])) --length;
  return store(field, start, length, error);
}

bool take_cmd(parse_context &parse, const char *value) noexcept {
  if (!complete_record(parse)) return false;
  parse.data->cmd_line = parse.line_number;
  return store_trimmed(parse.data->cmd_id, value, word::cmd, parse.error);
}

bool take_parent_cmd(parse_context &parse, const char *value) noexcept {
  return store_trimmed(parse.data->parent_cmd_id, value, word::parent, parse.error);
}

bool take_op(parse_context &parse, const char *value) noexcept {
  parse.data->op_line = parse.line_number;
  return store_trimmed(parse.data->op, value, word::op, parse.error);
}

bool take_uri(parse_context &parse, const char *value) noexcept {
  const char *uri = skip_blanks(value);
  if (*uri == '\0') uri = nullptr;
  parse.data->uri.reset(uri_new_shared(uri, parse.tree->programs));
  if (parse.data->uri != nullptr) return true;
  TVR_ERROR("Error creating the URI from %s", uri);
  return exhausted(parse.error, "Failed to allocate URI");
}

bool take_query(parse_context &parse, const char *value) noexcept {
  const char *start = skip_blanks(value);
  const char *equals = std::strchr(start, '=');
  const bool only_blanks = *start == '\0' && start != value;
  if (only_blanks || (equals != nullptr && equals[1] == '\0')) {
    return refuse(parse.error, "Malformed query: ", value);
  }
  text name;
  if (!copy_range(&name, start, equals, parse.error)) {
    if (equals != nullptr && equals != start) return false; // memory is exhausted: the copy has reported it
    return refuse(parse.error, "Failed to parse query: ", value);
  }
  const auto wanted = ref<zu_do_value>::adopt(zu_do_value_new_string(equals + 1));
  if (wanted == nullptr) return exhausted(parse.error, "Failed to allocate value");
  ref<zu_do_nvlist> &query = parse.data->query;
  if (query == nullptr) query = ref<zu_do_nvlist>::adopt(zu_do_nvlist_new());
  if (query == nullptr || zu_do_nvlist_add(query.get(), name.get(), wanted.get()) != ZU_OK) {
    return exhausted(parse.error, "Failed to allocate nvlist");
  }
  return true;
}

int32_t count_format_slots(const char *format) noexcept {
  int32_t slots = 0;
  while ((format = std::strstr(format, "%s")) != nullptr && slots <= most_format_slots) {
    ++slots;
    format += 2;
  }
  return slots;
}

bool take_fmt(parse_context &parse, const char *value) noexcept {
  growable &format = parse.data->format;
  if (!store_trimmed(format, value, word::fmt, parse.error)) return false;
  const int32_t slots = count_format_slots(format.chars.get());
  if (slots > most_format_slots) {
    return refuse(parse.error, "Too many slots in format: ", parse.data->cmd_id.chars.get());
  }
  parse.data->format_slots = slots;
  return true;
}

bool take_dest(parse_context &parse, const char *value) noexcept {
  return store_trimmed(parse.data->format, value, word::dest, parse.error);
}

bool take_newline(parse_context &parse, const char *) noexcept {
  parse.data->newline = 1;
  return true;
}

bool take_group(parse_context &parse, const char *) noexcept {
  parse.data->group = 1;
  return true;
}

bool take_orderby(parse_context &parse, const char *value) noexcept {
  ref<zu_do_nlist> &orderby = parse.data->orderby;
  if (orderby == nullptr) orderby = ref<zu_do_nlist>::adopt(zu_do_nlist_new());
  const char *name = skip_blanks(value);
  const bool taken =
      orderby != nullptr && (*name == '\0' || zu_do_nlist_add_string(orderby.get(), name) == ZU_OK);
  return or_error(taken, "Failed to allocate orderby clause");
}

bool take_location_scheme(parse_context &parse, const char *value) noexcept {
  parse.data->location_scheme = copy_text(value);
  return parse.data->location_scheme != nullptr || exhausted(parse.error, "Failed to allocate string");
}

using taker = bool (*)(parse_context &, const char *value) noexcept;

constexpr taker takers[] = {
    take_cmd,     take_parent_cmd, take_op,      take_uri,      take_query,
    take_fmt,     take_dest,       take_props,   take_location, take_newline,
    take_cond,    take_value_map,  take_orderby, take_group,    take_location_scheme,
    take_version,
};
static_assert(std::size(takers) == std::size(keywords));

} // namespace

bool take_keyword_line(parse_context &parse, const char *line) noexcept {
  const word found = find_keyword(line);
  if (found == word::none) return true;
  return takers[static_cast<size_t>(found)](parse, line + keyword_of(found).text.size());
}

} // namespace tvr::loader
