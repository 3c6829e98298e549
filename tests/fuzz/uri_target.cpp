// URI text: its canonical text parses back to itself, and its parts agree with one another.
#include "fuzz.hpp"

namespace {

std::string text_of(zu_do_uri *uri) {
  return fuzz::or_none(zu_do_uri_get_uri_str(uri));
}

// The text put together again from segments and keys, without its query.
std::string rebuilt(zu_do_uri *uri) {
  std::string text = zu_do_uri_is_absolute(uri) ? "//" : "/";
  for (size_t i = 0; i < zu_do_uri_get_segment_count(uri); ++i) {
    zu_do_uri_segment *segment = zu_do_uri_get_segment(uri, i);
    text += (i > 0 ? "/" : "") + std::string(zu_do_uri_segment_get_name(segment));
    zu_do_nvlist *keys = zu_do_uri_segment_get_keys(segment);
    zu_do_iter at = {};
    zu_do_nvlist_iter(keys, &at);
    while (zu_do_nvlist_has_next(keys, &at)) {
      zu_do_nvpair *key = zu_do_nvlist_get_next(keys, &at);
      const fuzz::own_buffer value(zu_do_strbuf_new());
      fuzz::check(zu_do_uri_value_to_keystr(zu_do_nvpair_get_value(key), value.get()) == 0,
                  "a key has a text");
      text += ";" + std::string(zu_do_nvpair_get_name(key)) + "=" + zu_do_strbuf_to_string(value.get());
    }
  }
  return text;
}

void check_parts(zu_do_uri *uri, const std::string &text) {
  zu_do_uri_parts parts;
  zu_do_get_shortcuts()->uri_parts(uri, &parts);
  fuzz::same("text of the parts", text, std::string(parts.text, parts.length));
  const std::string path = text.substr(0, parts.end);
  fuzz::same("path and segments", path, rebuilt(uri));
  fuzz::check(zu_do_uri_is_coll_uri(uri) == (parts.end < parts.length), "a collection has a query", text);
  fuzz::check(parts.has_segment == (zu_do_uri_get_segment_count(uri) > 0), "segments are counted", text);
  zu_do_uri *parent = zu_do_uri_get_parent_uri(uri);
  if (parts.end < parts.length) {
    fuzz::same("a query's parent", path, text_of(parent));
  } else {
    fuzz::same("the parent", parts.has_segment ? text.substr(0, parts.parent) : "(none)", text_of(parent));
  }
  if (parts.has_segment) {
    fuzz::same("the name", zu_do_uri_segment_get_name(zu_do_uri_get_segment_last(uri)),
               text.substr(parts.name, parts.name_end - parts.name));
  }
  const fuzz::own_uri relative(zu_do_uri_new_relative(text.c_str()));
  if (parts.relative_ok)
    fuzz::same("the relative form", text.substr(parts.relative), text_of(relative.get()));
  if (zu_do_uri_get_coll_type(uri) == 1 && parent != nullptr) {
    const fuzz::own_uri again(zu_do_uri_new_coll(parent, text.c_str() + parts.end + 1));
    fuzz::same("the collection under its parent", text, text_of(again.get()));
  }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const fuzz::balanced_memory balanced;
  const std::string given(reinterpret_cast<const char *>(data), size);
  const char *reason = nullptr;
  const fuzz::own_uri uri(zu_do_uri_parse(given.data(), given.size(), &reason));
  fuzz::check(!uri == (reason != nullptr), "a refusal has a reason", given);
  if (!uri) return 0;
  const std::string text = text_of(uri.get());
  fuzz::check(text.size() == zu_do_uri_get_len(uri.get()), "the length is that of the text", text);
  const fuzz::own_uri again(zu_do_uri_new(text.c_str()));
  fuzz::same("the canonical text, parsed", text, text_of(again.get()));
  fuzz::check(zu_do_uri_equals(uri.get(), again.get()), "a URI equals its canonical text's", text);
  check_parts(uri.get(), text);
  const fuzz::own_uri root(zu_do_uri_new_absolute_root_from_uri(uri.get()));
  char location[16];
  zu_do_uri_get_location_str(uri.get(), location, sizeof location);
  const size_t end = text.starts_with("//") ? text.find_first_of("/?", 2) : 0;
  if (root) fuzz::same("the root", text.substr(0, end) + "/", text_of(root.get()));
  return 0;
}
