// The language version of a template text.
#include "keywords.hpp"

#include <cstring>

#include "zu_tovra/internal/report.hpp"

namespace tvr::loader {

// A text without a version line has version 0.
static constexpr uint32_t oldest_version = 0;
static constexpr uint32_t newest_version = 1;

// Refuses with a formatted message. Unlike those of other refusals it is not cut to 255 characters: it
// contains a whole line and a file name.
template <class... Details>
static bool refuse_formatted(zu_do_error **error, const char *format, Details... details) noexcept {
  char *message = nullptr;
  (void)__tessel_asprintf(&message, format, details...);
  const text owned(message);
  return message != nullptr ? refuse(error, message) : exhausted(error, "Failed to allocate string");
}

bool take_version(parse_context &parse, const char *value) noexcept {
  const char *line = parse.line.chars.get();
  if (!parse.data->first_line) {
    return refuse_formatted(parse.error,
                            "TVR language version '%s' in file %s must be specified prior to other TVR data",
                            line, parse.file);
  }
  int32_t version = 0;
  if (!to_int32(value, value + std::strlen(value), &version, parse.error)) return false;
  if (version <= 0) {
    return refuse_formatted(parse.error,
                            "TVR language version in line '%s' in file %s must be an integer greater than 0",
                            line, parse.file);
  }
  parse.data->lang_version = version;
  return true;
}

bool check_version(parse_context &parse) noexcept {
  tvr_parse_data &data = *parse.data;
  if (!data.first_line) return true;
  data.first_line = false;
  if (static_cast<uint32_t>(data.lang_version) <= newest_version) return true;
  return refuse_formatted(parse.error,
                          "TVR language version %d in file %s is outside of supported range: %d..%d",
                          data.lang_version, parse.file, oldest_version, newest_version);
}

} // namespace tvr::loader
