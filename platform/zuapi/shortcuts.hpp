// The shortcuts that this platform also uses itself.
#pragma once

#include <new>

#include "zuapi/frozen.hpp"

#pragma GCC visibility push(hidden)

namespace zuapi {

// As zu_do_shortcuts::display; an empty text when the value is null.
const char *value_display(zu_do_value *value, char *room, size_t *length);
// As zu_do_shortcuts::key_form.
const char *value_key_form(zu_do_value *value, char *room, size_t size, size_t *length);
// As zu_do_shortcuts::uri_parts; all members are zero when the URI is null.
void uri_parts_of(zu_do_uri *uri, zu_do_uri_parts *parts);
// As zu_do_shortcuts::new_from_row.
zu_do_properties *record_new_from_row(zu_do_uri *coll_uri, zu_do_ntlist *columns, zu_do_vlist *row);
// As zu_do_shortcuts::renew.
bool record_renew(zu_do_properties *record, zu_do_uri *coll_uri, zu_do_ntlist *columns, zu_do_vlist *row);

// Display texts, one at a time; needs memory only for values without a shortcut.
class shown_text {
public:
  shown_text() = default;
  ~shown_text() { zu_do_strbuf_deref(buffer_); }
  shown_text(const shown_text &) = delete;
  shown_text &operator=(const shown_text &) = delete;

  // Valid until the next call. Throws std::bad_alloc.
  std::string_view of(zu_do_value *value) {
    size_t length = 0;
    const char *text = value_display(value, room_, &length);
    if (text != nullptr) return {text, length};
    if (buffer_ == nullptr) buffer_ = zu_do_strbuf_new();
    zu_do_strbuf_clear(buffer_);
    if (zu_do_value_to_strbuf(value, 0, buffer_) != ZU_OK) throw std::bad_alloc();
    return {zu_do_strbuf_to_string(buffer_), zu_do_strbuf_get_len(buffer_)};
  }

private:
  char room_[ZU_DO_VALUE_ROOM];
  zu_do_strbuf *buffer_ = nullptr;
};

} // namespace zuapi

#pragma GCC visibility pop
