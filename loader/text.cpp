// Text functions of the loader: blanks, growable buffers, substring copies, numbers, and reporting a refusal.
#include "text.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <safe_str_lib.h>

#include "zu_tovra/internal/cause.hpp"

namespace tvr::loader {

const char *skip_blanks(const char *at) noexcept {
  while (is_blank(*at)) ++at;
  return at;
}

const char *find_blank(const char *at) noexcept {
  while (*at != '\0' && !is_blank(*at)) ++at;
  return at;
}

const char *find_outside_quotes(const char *at, const char *stops) noexcept {
  bool quoted = false;
  for (; *at != '\0'; ++at) {
    if (*at == '"') quoted = !quoted;
    if (!quoted && std::strchr(stops, *at) != nullptr) break;
  }
  return at;
}

bool set_error(zu_do_error **error, int32_t code, const char *message) noexcept {
  zu_do_error_deref(*error);
  *error = zu_do_error_new(code, message);
  return false;
}

bool refuse(zu_do_error **error, const char *message, const char *detail, int32_t code) noexcept {
  TVR_ASSERT_NAMED(message, "desc");
  char joined[256];
  if (detail != nullptr) {
    std::snprintf(joined, sizeof joined, "%s%s", message, detail);
    message = joined;
  }
  TVR_ERROR("%s", message);
  return set_error(error, code, message);
}

bool make_buffer(growable &buffer, size_t size) noexcept {
  buffer.chars = make_text(size - 1);
  buffer.size = buffer.chars != nullptr ? size : 0;
  return buffer.chars != nullptr;
}

bool grow(growable &buffer, size_t needed, zu_do_error **error) noexcept {
  TVR_ASSERT_NAMED(buffer.chars, "*cur_buf");
  TVR_ASSERT_NAMED(buffer.size, "*cur_size");
  if (buffer.size >= needed) return true;

  if (!resize(buffer.chars, 2 * needed)) return exhausted(error, "Failed to reallocate buffer");
  buffer.size = 2 * needed;
  return true;
}

bool store(growable &buffer, const char *source, size_t length, zu_do_error **error) noexcept {
  if (!grow(buffer, length + 1, error)) return false;
  std::memcpy(buffer.chars.get(), source, length);
  buffer.chars.get()[length] = '\0';
  return true;
}

// The bounded copy refuses more than RSIZE_MAX_STR bytes at once, its NUL included.
static bool copy_bounded(char *target, const char *source, size_t length) noexcept {
  while (length > 0) {
    const size_t piece = std::min<size_t>(length, RSIZE_MAX_STR - 1);
    if (strncpy_s(target, piece + 1, source, piece) != 0) return false;
    target += piece;
    source += piece;
    length -= piece;
  }
  *target = '\0';
  return true;
}

bool copy_range(text *copy, const char *start, const char *end, zu_do_error **error) noexcept {
  if (end == nullptr || end <= start) {
    TVR_EXPLAIN("Ambiguous end of string in %s", start);
    return set_error(error, ZU_FAILED, "Ambiguous end of string");
  }
  const size_t length = static_cast<size_t>(end - start);
  text made = make_room<char>(length + 1);
  if (made == nullptr) return exhausted(error, "Failed to allocate string");
  if (!copy_bounded(made.get(), start, length)) return refuse(error, "Failed to copy string");
  *copy = std::move(made);
  return true;
}

bool to_int32(const char *start, const char *end, int32_t *number, zu_do_error **error) noexcept {
  text digits;
  if (end != nullptr) {
    if (!copy_range(&digits, start, end, error)) return false;
    start = digits.get();
  }
  errno = 0;
  *number = static_cast<int32_t>(std::strtol(start, nullptr, 10));
  if (errno != 0) {
    TVR_EXPLAIN("Failed to convert %s to long", start);
    return set_error(error, ZU_FAILED, "Failed to convert string to long");
  }
  return true;
}

} // namespace tvr::loader
