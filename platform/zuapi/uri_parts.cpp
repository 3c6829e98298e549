// The segments of a URI's path and their keys, made when they are asked for; and its location.
#include "zuapi/objects.hpp"
#include "zuapi/uri_text.hpp"

using namespace zuapi;

struct zu_do_uri_segment {
  const char *name;
  zu_do_nvlist *keys; // null without keys
};

namespace zuapi {

// One block: the segments, then the copies of their names.
struct alignas(zu_do_uri_segment) uri_segments {
  uint32_t count;

  zu_do_uri_segment *items() { return reinterpret_cast<zu_do_uri_segment *>(this + 1); }
};

} // namespace zuapi

namespace {

// The ends of the parts of the segment that begins at `start`.
struct segment_ends {
  size_t name;
  size_t segment;

  segment_ends(std::string_view path, size_t start)
      : name(path.find_first_of(";/", start)), segment(path.find('/', start)) {
    if (segment == path.npos) segment = path.size();
    if (name == path.npos) name = path.size();
  }
};

// The path's text after its leading slashes.
std::string_view path_of(const zu_do_uri *uri) {
  if ((uri->flags & uri_given_location) != 0) return given_location;
  const size_t root = uri->is_absolute() ? 2 : 1;
  return uri->view().substr(root, uri->end - root);
}

// A string value with the decoded text of a value in key form.
zu_do_value *decoded_value(std::string_view encoded) {
  if (encoded.find('%') == encoded.npos) return zu_do_value_new_string_l(encoded.data(), encoded.size());
  char *text = static_cast<char *>(qmalloc_named(ZU_DO_AREA, encoded.size()));
  if (text == nullptr) return nullptr;
  zu_do_value *value = zu_do_value_new_string_l(text, uri_decode_value(encoded, text));
  release(text);
  return value;
}

zu_do_nvlist *make_keys(std::string_view keys) {
  zu_do_nvlist *list = zu_do_nvlist_new();
  if (list == nullptr) return nullptr;
  uint32_t at = 0;
  for (uri_key key; uri_next_key(keys, at, key);) {
    zu_do_value *value = decoded_value(key.value);
    const int code = value == nullptr ? ZU_EXHAUSTED : nvlist_add(list, key.name, value);
    zu_do_value_deref(value);
    if (code != ZU_OK) {
      zu_do_nvlist_deref(list);
      return nullptr;
    }
  }
  return list;
}

uri_segments *make_segments(const zu_do_uri *uri) {
  const std::string_view path = path_of(uri);
  const size_t size = uri->segment_count * sizeof(zu_do_uri_segment);
  // Each name needs one byte more than in the text (its
  // NUL); the slashes between the segments give all but one.
  auto *made =
      static_cast<uri_segments *>(qmalloc_named(ZU_DO_AREA, sizeof(uri_segments) + size + path.size() + 1));
  if (made == nullptr) return nullptr;
  char *names = reinterpret_cast<char *>(made->items() + uri->segment_count);
  size_t start = 0;
  for (made->count = 0; made->count < uri->segment_count; ++made->count) {
    const segment_ends ends(path, start);
    zu_do_uri_segment &segment = made->items()[made->count];
    segment = {names, nullptr};
    names = put_text(names, path.substr(start, ends.name - start));
    if (ends.name != ends.segment) {
      segment.keys = make_keys(path.substr(ends.name, ends.segment - ends.name));
      if (segment.keys == nullptr) {
        uri_segments_free(made);
        return nullptr;
      }
    }
    start = ends.segment + 1;
  }
  return made;
}

uri_segments *segments_of(zu_do_uri *uri) {
  uri_segments *segments = uri->made_segments.load(std::memory_order_acquire);
  if (segments != nullptr) return segments;
  uri_segments *made = make_segments(uri);
  if (made == nullptr) return nullptr;
  if (uri->made_segments.compare_exchange_strong(segments, made, std::memory_order_acq_rel)) return made;
  uri_segments_free(made);
  return segments;
}

} // namespace

namespace zuapi {

void uri_segments_free(uri_segments *segments) {
  if (segments == nullptr) return;
  for (uint32_t i = 0; i < segments->count; ++i) {
    zu_do_nvlist_deref(segments->items()[i].keys);
  }
  release(segments);
}

} // namespace zuapi

size_t zu_do_uri_get_segment_count(zu_do_uri *uri) {
  return uri == nullptr ? 0 : uri->segment_count;
}

zu_do_uri_segment *zu_do_uri_get_segment(zu_do_uri *uri, size_t index) {
  if (index >= zu_do_uri_get_segment_count(uri)) return nullptr;
  uri_segments *segments = segments_of(uri);
  return segments == nullptr ? nullptr : &segments->items()[index];
}

zu_do_uri_segment *zu_do_uri_get_segment_last(zu_do_uri *uri) {
  return zu_do_uri_get_segment(uri, zu_do_uri_get_segment_count(uri) - 1);
}

const char *zu_do_uri_segment_get_name(zu_do_uri_segment *segment) {
  return segment == nullptr ? nullptr : segment->name;
}

zu_do_nvlist *zu_do_uri_segment_get_keys(zu_do_uri_segment *segment) {
  return segment == nullptr ? nullptr : segment->keys;
}

int zu_do_uri_get_location_str(zu_do_uri *uri, char *buffer, size_t size) {
  if (uri == nullptr || buffer == nullptr || size == 0) return ZU_FAILED;
  std::string_view value = "0";
  if (uri->is_absolute()) {
    const std::string_view path = path_of(uri);
    auto at = static_cast<uint32_t>(segment_ends(path, 0).name);
    uri_key key;
    if (!uri_next_key(path, at, key)) return ZU_FAILED;
    value = key.value;
  }
  size_t length = 0;
  for (size_t i = 0; i < value.size(); ++length) i += value[i] == '%' ? 3 : 1;
  if (length >= size) return ZU_FAILED;
  uri_decode_value(value, buffer);
  buffer[length] = '\0';
  return ZU_OK;
}
