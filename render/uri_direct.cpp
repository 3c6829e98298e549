// Finds out, once per template, which resolved texts are those of their URIs: what a look-up needs to work on
// texts alone. A key value is always written in key form, so that one sample value speaks for all.
#include "uri_text.hpp"

namespace tvr {
namespace {

constexpr char sample_value[] = "x";

// True when the URI of `given` has the text `expected`.
bool is_text_of_uri(const char *given, std::string_view expected) noexcept {
  const auto uri = ref<zu_do_uri>::adopt(zu_do_uri_new(given));
  const char *written = zu_do_uri_get_uri_str(uri.get());
  return written != nullptr && expected == written;
}

bool has_dynamic_parent(const zu_tvr_dyn_uri *segment) noexcept {
  return segment->parent != nullptr && segment->parent->is_dynamic != 0;
}

// Learns whether the look-up is direct; one that is, behind a static parent, is always the same text. Groups
// are not searched by text.
void prepare_look_up(zu_tvr_dyn_uri *segment, bool relative, zu_do_strbuf *buffer) noexcept {
  const look_up wanted = write_look_up(segment, relative, buffer);
  const char *written = zu_do_strbuf_to_string(buffer);
  if (wanted.possible && written != nullptr &&
      is_text_of_uri(written + wanted.shown, written + wanted.start)) {
    segment->direct = 1;
    const bool is_fixed = segment->sep_type != DYN_KEY_GROUP && !has_dynamic_parent(segment);
    if (is_fixed) segment->look_up = copy_text(written + wanted.start).release();
    segment->look_up_shown = static_cast<uint32_t>(wanted.shown - wanted.start);
    segment->look_up_length = static_cast<uint32_t>(zu_do_strbuf_get_len(buffer) - wanted.start);
  }
  zu_do_strbuf_truncate(buffer, wanted.kept);
}

// Keeps what was written for the segment up to its key's value.
void prepare_head(zu_tvr_dyn_uri *segment, size_t start, zu_do_strbuf *buffer) noexcept {
  const char *written = zu_do_strbuf_to_string(buffer);
  if (written == nullptr || zu_do_nlist_get_len(segment->keys) != 1) return;
  segment->head = copy_text(written + start).release();
  segment->head_length = static_cast<uint32_t>(zu_do_strbuf_get_len(buffer) - start);
}

// Writes what the template resolves to with sample values, and marks its segments.
void write_sample(zu_tvr_uri *uri, bool relative, zu_do_strbuf *buffer) noexcept {
  if (uri->is_dynamic == 0) {
    zu_do_strbuf_add_string(buffer, zu_do_uri_get_uri_str(uri->data.uri));
    return;
  }
  zu_tvr_dyn_uri *segment = uri->data.dyn;
  bool root = false;
  if (segment->parent != nullptr) {
    write_sample(segment->parent, relative, buffer);
    const char *before = zu_do_strbuf_to_string(buffer);
    root = segment->parent->is_dynamic == 0 && before != nullptr && is_root(before);
  }
  prepare_look_up(segment, relative, buffer);
  const size_t head = has_dynamic_parent(segment) ? zu_do_strbuf_get_len(buffer) : 0;

  if (!root) zu_do_strbuf_add_char(buffer, '/');
  zu_do_strbuf_add_string(buffer, zu_do_name_get_strname(segment->ref_name));
  zu_do_iter it = {};
  zu_do_nlist_iter(segment->keys, &it);
  while (zu_do_nlist_has_next(segment->keys, &it)) {
    zu_do_strbuf_add_char(buffer, ';');
    zu_do_strbuf_add_string(buffer, zu_do_name_get_strname(zu_do_nlist_get_next(segment->keys, &it)));
    zu_do_strbuf_add_char(buffer, '=');
    prepare_head(segment, head, buffer);
    zu_do_strbuf_add_string(buffer, sample_value);
  }
  zu_do_strbuf_add_string(buffer, segment->tail);
}

} // namespace

void prepare_direct(zu_tvr_uri *uri) noexcept {
  if (uri->is_dynamic == 0) return;
  const string_buffer buffer(zu_do_strbuf_new());
  if (!buffer) return; // the plain steps need nothing prepared
  write_sample(uri, uri->relative != 0, buffer.get());
  const char *written = zu_do_strbuf_to_string(buffer.get());
  uri->direct = written != nullptr && is_text_of_uri(written, written) ? 1 : 0;
}

} // namespace tvr
