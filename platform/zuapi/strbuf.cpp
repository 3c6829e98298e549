// Growable string buffers, and formatted texts.
#include <charconv>
#include <cstdarg>
#include <exception>

#include "infra/memory.hpp"
#include "zuapi/objects.hpp"

using namespace zuapi;

struct zu_do_strbuf {
  infra::string text; // empty in a failed buffer
  int code = ZU_OK;
};

namespace {

// Appends as the step does; a text that finds no room fails the buffer.
template <class Step>
int append(zu_do_strbuf *buffer, Step &&step) {
  if (buffer == nullptr) return ZU_FAILED;
  if (buffer->code != ZU_OK) return buffer->code;
  try {
    step(buffer->text);
    return ZU_OK;
  } catch (const std::exception &) { // memory, or a length beyond any
    buffer->text.clear();
    return buffer->code = ZU_EXHAUSTED;
  }
}

} // namespace

zu_do_strbuf *zu_do_strbuf_new(void) {
  return allocate<zu_do_strbuf>();
}

void zu_do_strbuf_deref(zu_do_strbuf *buffer) {
  if (buffer == nullptr) return;
  buffer->~zu_do_strbuf();
  release(buffer);
}

int zu_do_strbuf_add_string(zu_do_strbuf *buffer, const char *text) {
  return zu_do_strbuf_add_bytes(buffer, text, text == nullptr ? 0 : strlen(text));
}

int zu_do_strbuf_add_bytes(zu_do_strbuf *buffer, const char *bytes, size_t length) {
  return append(buffer, [=](infra::string &text) { text.append(bytes, length); });
}

int zu_do_strbuf_add_char(zu_do_strbuf *buffer, char character) {
  return zu_do_strbuf_add_fill(buffer, character, 1);
}

int zu_do_strbuf_add_long(zu_do_strbuf *buffer, int64_t number) {
  char digits[24];
  const auto result = std::to_chars(digits, digits + sizeof digits, number);
  return zu_do_strbuf_add_bytes(buffer, digits, static_cast<size_t>(result.ptr - digits));
}

int zu_do_strbuf_add_tab(zu_do_strbuf *buffer, uint32_t count) {
  return zu_do_strbuf_add_fill(buffer, '\t', count);
}

int zu_do_strbuf_add_fill(zu_do_strbuf *buffer, char character, size_t count) {
  return append(buffer, [=](infra::string &text) { text.append(count, character); });
}

const char *zu_do_strbuf_to_string(zu_do_strbuf *buffer) {
  return buffer == nullptr || buffer->code != ZU_OK ? nullptr : buffer->text.c_str();
}

size_t zu_do_strbuf_get_len(zu_do_strbuf *buffer) {
  return buffer == nullptr ? 0 : buffer->text.size();
}

void zu_do_strbuf_clear(zu_do_strbuf *buffer) {
  if (buffer == nullptr) return;
  buffer->text.clear();
  buffer->code = ZU_OK;
}

void zu_do_strbuf_print_fp(zu_do_strbuf *buffer, FILE *stream) {
  if (buffer != nullptr) fwrite(buffer->text.data(), 1, buffer->text.size(), stream);
}

int __tessel_asprintf(char **text, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int length = infra::print_new(text, format, arguments);
  va_end(arguments);
  return length;
}
