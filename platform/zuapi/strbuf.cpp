// Growable string buffers, and formatted texts.
#include <charconv>
#include <cstdarg>

#include "zuapi/objects.hpp"

using namespace zuapi;

// A buffer that could not grow has no room (capacity and length are 0) and a code, so that the fast path of
// an append needs no test of its own.
struct zu_do_strbuf {
  char *data; // `first`, or a block; capacity + 1 bytes
  size_t length;
  size_t capacity;
  size_t room; // the capacity of `data`, also while the buffer is failed
  int code;
  char first[212];
};

namespace {

constexpr size_t first_room = sizeof(zu_do_strbuf::first) - 1;

int fail(zu_do_strbuf *buffer) {
  buffer->length = buffer->capacity = 0;
  return buffer->code = ZU_EXHAUSTED;
}

// Makes room for `more` bytes: the buffer's code.
[[gnu::noinline]] int make_room(zu_do_strbuf *buffer, size_t more) {
  if (buffer->code != ZU_OK) return buffer->code;
  if (more > static_cast<size_t>(PTRDIFF_MAX) - buffer->length - 1) return fail(buffer);
  size_t room = buffer->capacity * 2;
  if (room < buffer->length + more) room = buffer->length + more;
  const bool owned = buffer->data != buffer->first;
  void *block = qrealloc_named(ZU_DO_AREA, owned ? buffer->data : nullptr, room + 1);
  if (block == nullptr) return fail(buffer);
  if (!owned) memcpy(block, buffer->first, buffer->length);
  buffer->data = static_cast<char *>(block);
  buffer->capacity = buffer->room = room;
  return ZU_OK;
}

// Where `count` more bytes go, or none.
inline char *extend(zu_do_strbuf *buffer, size_t count) {
  if (count > buffer->capacity - buffer->length && make_room(buffer, count) != ZU_OK) return nullptr;
  char *at = buffer->data + buffer->length;
  buffer->length += count;
  return at;
}

} // namespace

zu_do_strbuf *zu_do_strbuf_new(void) {
  auto *buffer = allocate<zu_do_strbuf>();
  if (buffer == nullptr) return nullptr;
  buffer->data = buffer->first;
  buffer->length = 0;
  buffer->capacity = buffer->room = first_room;
  buffer->code = ZU_OK;
  return buffer;
}

void zu_do_strbuf_deref(zu_do_strbuf *buffer) {
  if (buffer == nullptr) return;
  if (buffer->data != buffer->first) release(buffer->data);
  release(buffer);
}

int zu_do_strbuf_add_string(zu_do_strbuf *buffer, const char *text) {
  if (buffer == nullptr) return ZU_FAILED;
  return text == nullptr ? buffer->code : zu_do_strbuf_add_bytes(buffer, text, strlen(text));
}

int zu_do_strbuf_add_bytes(zu_do_strbuf *buffer, const char *bytes, size_t length) {
  if (buffer == nullptr) return ZU_FAILED;
  if (length == 0) return buffer->code;
  char *at = extend(buffer, length);
  if (at == nullptr) return ZU_EXHAUSTED;
  memcpy(at, bytes, length);
  return ZU_OK;
}

int zu_do_strbuf_add_char(zu_do_strbuf *buffer, char character) {
  if (buffer == nullptr) return ZU_FAILED;
  char *at = extend(buffer, 1);
  if (at == nullptr) return ZU_EXHAUSTED;
  *at = character;
  return ZU_OK;
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
  if (buffer == nullptr) return ZU_FAILED;
  if (count == 0) return buffer->code;
  char *at = extend(buffer, count);
  if (at == nullptr) return ZU_EXHAUSTED;
  memset(at, character, count);
  return ZU_OK;
}

const char *zu_do_strbuf_to_string(zu_do_strbuf *buffer) {
  if (buffer == nullptr || buffer->code != ZU_OK) return nullptr;
  buffer->data[buffer->length] = '\0';
  return buffer->data;
}

size_t zu_do_strbuf_get_len(zu_do_strbuf *buffer) {
  return buffer == nullptr ? 0 : buffer->length;
}

void zu_do_strbuf_clear(zu_do_strbuf *buffer) {
  if (buffer == nullptr) return;
  buffer->length = 0;
  buffer->capacity = buffer->room;
  buffer->code = ZU_OK;
}

void zu_do_strbuf_print_fp(zu_do_strbuf *buffer, FILE *stream) {
  if (buffer != nullptr && buffer->length > 0) fwrite(buffer->data, 1, buffer->length, stream);
}

int __tessel_asprintf(char **text, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int length = infra::print_new(text, format, arguments);
  va_end(arguments);
  return length;
}
