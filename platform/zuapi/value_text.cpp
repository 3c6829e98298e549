// Values as text: display, debug text and key form.
#include <charconv>

#include "zuapi/objects.hpp"
#include "zuapi/shortcuts.hpp"
#include "zuapi/uri_text.hpp"

using namespace zuapi;

namespace {

constexpr uint64_t every_byte(uint8_t byte) {
  return 0x0101010101010101u * byte;
}

// False only when none of the eight bytes is a control byte.
bool may_hold_control(uint64_t word) {
  const uint64_t below_space = (word - every_byte(0x20)) & ~word;
  const uint64_t delete_bytes = word ^ every_byte(0x7f);
  const uint64_t is_delete = (delete_bytes - every_byte(1)) & ~delete_bytes;
  return ((below_space | is_delete) & every_byte(0x80)) != 0;
}

bool is_escaped(char c, bool keep_lines) {
  return byte_is(c, byte_control) && c != '\t' && !(c == '\n' && keep_lines);
}

int add_escaped(zu_do_strbuf *buffer, std::string_view text, bool keep_lines) {
  int code = ZU_OK;
  for (size_t at = 0; code == ZU_OK && at < text.size();) {
    size_t stop = at;
    while (stop < text.size() && !is_escaped(text[stop], keep_lines)) ++stop;
    code = zu_do_strbuf_add_bytes(buffer, text.data() + at, stop - at);
    if (code == ZU_OK && stop < text.size()) {
      char escape[4];
      infra::put_escaped(escape, text[stop++]);
      code = zu_do_strbuf_add_bytes(buffer, escape, sizeof escape);
    }
    at = stop;
  }
  return code;
}

bool has_typedef(const zu_do_value *value, const char *name) {
  const char *own = typedef_name_of(value);
  return own != nullptr && strcmp(own, name) == 0;
}

int add_display(zu_do_value *value, bool hide_secrets, zu_do_strbuf *buffer);

int add_elements(const zu_do_vlist *list, bool hide_secrets, zu_do_strbuf *buffer) {
  int code = ZU_OK;
  for (uint32_t i = 0; code == ZU_OK && i < list->length; ++i) {
    if (i > 0) code = zu_do_strbuf_add_char(buffer, ',');
    if (code == ZU_OK) code = add_display(list->at(i), hide_secrets, buffer);
  }
  return code;
}

int add_display(zu_do_value *value, bool hide_secrets, zu_do_strbuf *buffer) {
  if (value == nullptr) return ZU_OK;
  if (hide_secrets && has_typedef(value, "PasswordString")) {
    return zu_do_strbuf_add_string(buffer, "<removed>");
  }
  char room[ZU_DO_VALUE_ROOM];
  size_t length = 0;
  if (const char *text = value_display(value, room, &length)) {
    return zu_do_strbuf_add_bytes(buffer, text, length);
  }
  if (value->type == ZU_DO_TYPE_ARRAY) return add_elements(value->content().list, hide_secrets, buffer);
  return add_escaped(buffer, value->text(), has_typedef(value, "Text"));
}

template <class Number>
const char *print(Number number, char *room, size_t *length) {
  const auto result = std::to_chars(room, room + ZU_DO_VALUE_ROOM - 1, number);
  *result.ptr = '\0';
  *length = static_cast<size_t>(result.ptr - room);
  return room;
}

// The number of bytes at the front that are not escaped in key form.
size_t plain_bytes(std::string_view raw) {
  size_t count = 0;
  while (count < raw.size() && byte_is(raw[count], byte_plain)) ++count;
  return count;
}

const char *give(std::string_view text, size_t *length) {
  *length = text.size();
  return text.data();
}

// The display text of a value that is no string.
[[gnu::noinline]] const char *display_other(zu_do_value *value, char *room, size_t *length) {
  if (value == nullptr) return give("", length);
  switch (value->type) {
  case ZU_DO_TYPE_INT:
    return print(value->content().integer, room, length);
  case ZU_DO_TYPE_BOOL:
    return value->content().boolean ? give("true", length) : give("false", length);
  case ZU_DO_TYPE_UINT:
    return print(value->content().whole, room, length);
  case ZU_DO_TYPE_DOUBLE:
    return print(value->content().number, room, length);
  case ZU_DO_TYPE_MR_URI:
  case ZU_DO_TYPE_COLL_URI:
    return give(value->content().uri->view(), length);
  case ZU_DO_TYPE_ARRAY:
    return nullptr;
  default:
    return give("", length);
  }
}

} // namespace

namespace zuapi {

bool text_is_clean(const char *text, size_t length, bool keep_lines) {
  const char *const end = text + length;
  for (; end - text >= 8; text += 8) {
    uint64_t word;
    memcpy(&word, text, 8);
    if (!may_hold_control(word)) continue;
    for (int i = 0; i < 8; ++i) {
      if (is_escaped(text[i], keep_lines)) return false;
    }
  }
  for (; text < end; ++text) {
    if (is_escaped(*text, keep_lines)) return false;
  }
  return true;
}

int value_to_debug_text(zu_do_value *value, zu_do_strbuf *buffer) {
  return add_display(value, true, buffer);
}

std::string_view raw_text(zu_do_value *value, char *room) {
  if (value == nullptr || zu_do_value_is_null(value) || value->type == ZU_DO_TYPE_ARRAY) return {};
  if (value->type == ZU_DO_TYPE_STRING) return value->text();
  size_t length = 0;
  const char *text = value_display(value, room, &length);
  return {text, length};
}

} // namespace zuapi

// Most values are strings.
const char *zuapi::value_display(zu_do_value *value, char *room, size_t *length) {
  if (value == nullptr || value->type != ZU_DO_TYPE_STRING) return display_other(value, room, length);
  return (value->flags & value_clean) != 0 ? give(value->text(), length) : nullptr;
}

int zu_do_value_to_strbuf(zu_do_value *value, int mode, zu_do_strbuf *buffer) {
  (void)mode;
  return buffer == nullptr ? ZU_FAILED : add_display(value, false, buffer);
}

const char *zuapi::value_key_form(zu_do_value *value, char *room, size_t size, size_t *length) {
  char shown[ZU_DO_VALUE_ROOM];
  const bool is_string = value != nullptr && value->type == ZU_DO_TYPE_STRING;
  const std::string_view raw = raw_text(value, is_string ? shown : room);
  if (raw.data() == nullptr) return nullptr;
  const size_t plain = plain_bytes(raw);
  if (plain == raw.size()) return give(raw, length);
  if (!is_string || raw.size() > size / 3) return nullptr;
  memcpy(room, raw.data(), plain);
  char *at = room + plain;
  for (const char c : raw.substr(plain)) at = put_key_byte(at, c);
  *length = static_cast<size_t>(at - room);
  return room;
}

int zu_do_uri_value_to_keystr(zu_do_value *value, zu_do_strbuf *buffer) {
  char room[ZU_DO_VALUE_ROOM];
  const std::string_view raw = raw_text(value, room);
  if (buffer == nullptr || raw.data() == nullptr) return ZU_FAILED;
  const size_t plain = plain_bytes(raw);
  int code = zu_do_strbuf_add_bytes(buffer, raw.data(), plain);
  for (size_t i = plain; code == ZU_OK && i < raw.size(); ++i) {
    char form[3];
    code = zu_do_strbuf_add_bytes(buffer, form, static_cast<size_t>(put_key_byte(form, raw[i]) - form));
  }
  return code;
}
