// The language version of a template text.
#include "keywords.hpp"

#include <cstring>

#include "zu_tovra/internal/report.hpp"

namespace tvr::loader {

// 0 stands for a text without a version line.
static constexpr uint32_t oldest_version = 0;
static constexpr uint32_t newest_version = 1;

// Takes a freshly formatted message, or none when it could not be formatted. Unlike other refusals it names
// a whole line and a file, and is not cut.
static bool refuse_formatted(char *message, zu_do_error **error) noexcept {
  const text owned(message);
  if (message == nullptr) return refuse("Failed to allocate string", nullptr, ZU_EXHAUSTED, error);
  return refuse(message, nullptr, ZU_FAILED, error);
}

bool take_version(parse_context &parse, const char *value) noexcept {
  const char *line = parse.line.chars.get();
  char *message = nullptr;
  if (!parse.data->first_line) {
    (void)__tessel_asprintf(&message,
                            "TVR language version '%s' in file %s must be specified prior to other TVR data",
                            line, parse.file);
    return refuse_formatted(message, parse.error);
  }
  int32_t version = 0;
  if (!to_int32(value, value + std::strlen(value), &version, parse.error)) return false;
  if (version <= 0) {
    (void)__tessel_asprintf(&message,
                            "TVR language version in line '%s' in file %s must be an integer greater than 0",
                            line, parse.file);
    return refuse_formatted(message, parse.error);
  }
  parse.data->lang_version = version;
  return true;
}

bool check_version(parse_context &parse) noexcept {
  tvr_parse_data &data = *parse.data;
  if (!data.first_line) return true;
  data.first_line = false;
  if (static_cast<uint32_t>(data.lang_version) <= newest_version) return true;

  char *message = nullptr;
  (void)__tessel_asprintf(
      &message, "TVR language version %d in file %s is outside of supported range: %d..%d", data.lang_version,
      parse.file, static_cast<int>(oldest_version), static_cast<int>(newest_version));
  return refuse_formatted(message, parse.error);
}

} // namespace tvr::loader
