// Parses URI templates into static URIs and chains of dynamic segments.
#include <cstring>
#include <string_view>

#include "uri_resolve.hpp"
#include "zu_tovra/internal/report.hpp"

namespace tvr {
namespace {

using uri_template = unique<zu_tvr_uri, zu_tvr_uri_delete>;

constexpr char incorrect[] = "partial/incorrect URI detected ";

// The parts of a template's last dynamic segment, as offsets into the text.
struct segment_layout {
  size_t separator; // 0: the template is static
  size_t delimiter; // before the key: ';', or what ends the scan for it
  size_t name;      // of the segment
  size_t name_end;
};

uri_template parse(std::string_view source, int depth) noexcept;

bool is_separator(char c) noexcept {
  return c == '!' || c == '#' || c == '$';
}

// The last separator, or 0 when there is none; the first character never counts as one. A '?' after it makes
// the template that of a collection.
size_t find_separator(std::string_view source, uint32_t &kind) noexcept {
  for (size_t at = source.size(); at-- > 1;) {
    if (is_separator(source[at])) return at;
    if (source[at] == '?') kind = URI_KIND_COLLECTION;
  }
  return 0;
}

// Finds the delimiter before the key. False for forms that are not supported: more than one separator behind
// the delimiter, a key directly after a '/', no '=' before the separator, an empty key.
bool find_key(std::string_view source, segment_layout &at) noexcept {
  size_t separators = 0;
  size_t scan = at.separator;
  for (; scan > 0 && source[scan] != ';' && source[scan] != '/'; --scan)
    separators += is_separator(source[scan]);
  at.delimiter = scan;
  if (separators != 1 || (scan > 0 && source[scan] == '/')) return false;
  return source[at.separator - 1] == '=' && at.separator > scan + 2;
}

// Finds the segment's name, which ends where its first key starts; false when there is none.
bool find_name(std::string_view source, segment_layout &at) noexcept {
  if (at.delimiter == 0 || source[at.delimiter - 1] == '/') return false;
  const size_t slash = source.substr(0, at.delimiter).rfind('/');
  at.name = slash == std::string_view::npos ? 0 : slash + 1;
  at.name_end = source.find(';', at.name);
  return at.name_end > at.name;
}

ref<zu_do_name> make_name(const char *start, size_t length) noexcept {
  auto name = ref<zu_do_name>::adopt(zu_do_name_new_l(start, length));
  if (!name) TVR_ERROR("Failed to allocate name from %s (len=%u)", start, static_cast<unsigned>(length));
  return name;
}

// The tail: the text after the key, unless it is a single character without a meaning.
bool parse_tail(zu_tvr_dyn_uri *segment, std::string_view source, size_t separator) noexcept {
  const size_t start = source.find_first_of("/;?", separator);
  if (start == std::string_view::npos || start + 1 == source.size()) return true;
  segment->tail = copy_text(source.data() + start).release();
  if (segment->tail == nullptr) {
    TVR_ERROR("Failed to allocate URI tail %s", source.data() + start);
    return false;
  }
  TVR_DEBUG("dynamic uri tail: %s", segment->tail);
  return true;
}

bool parse_keys(zu_tvr_dyn_uri *segment, std::string_view source, const segment_layout &at) noexcept {
  segment->keys = zu_do_nlist_new();
  if (segment->keys == nullptr) {
    TVR_ERROR("Failed to allocate key names");
    return false;
  }
  const size_t start = at.delimiter + 1;
  const auto key = make_name(source.data() + start, at.separator - 1 - start);
  if (!key) return false;
  TVR_DEBUG("dynamic uri key: %s", zu_do_name_get_strname(key.get()));
  if (zu_do_nlist_add(segment->keys, key.get()) != 0) {
    TVR_ERROR("Failed to allocate key names");
    return false;
  }
  return true;
}

// The text of the parent template: the text before the segment without the slash between them. Directly after
// the root it is "/", or "//" if the segment names a location.
std::string_view parent_text(std::string_view source, const zu_tvr_dyn_uri *segment, size_t before) noexcept {
  if (before == 1) return "/";
  if (before == 2 && source.front() == '/') {
    return zu_do_name_equals_w_strname(segment->ref_name, "locations") != 0 ? "//" : "/";
  }
  return source.substr(0, before - 1);
}

bool parse_parent(zu_tvr_dyn_uri *segment, std::string_view source, size_t before, int depth) noexcept {
  if (before == 0) return true;
  const std::string_view wanted = parent_text(source, segment, before);
  const auto copy = make_text(wanted.size());
  if (!copy) {
    TVR_ERROR("Failed to allocate parent URI string (len=%zu)", wanted.size() + 1);
    return false;
  }
  std::memcpy(copy.get(), wanted.data(), wanted.size());
  TVR_DEBUG("dynamic uri parent: %s", copy.get());
  segment->parent = parse({copy.get(), wanted.size()}, depth + 1).release();
  if (segment->parent == nullptr) TVR_ERROR("Failed to allocate parent URI");
  return segment->parent != nullptr;
}

bool parse_segment(zu_tvr_uri *uri, std::string_view source, size_t separator, int depth) noexcept {
  auto *segment = make_zeroed<zu_tvr_dyn_uri>().release();
  uri->data.dyn = segment;
  if (segment == nullptr) {
    TVR_ERROR("Failed to allocate dynamic URI structure");
    return false;
  }
  const char sign = source[separator];
  segment->sep_type = sign == '$' ? DYN_KEY_QUERY : sign == '!' ? DYN_KEY_PATH : DYN_KEY_GROUP;
  segment->resolve_keys = resolve_uri_keys;

  segment_layout at = {separator, 0, 0, 0};
  if (!parse_tail(segment, source, separator)) return false;
  if (!find_key(source, at) || depth > most_dynamic_segments) {
    TVR_ERROR("%s", incorrect);
    return false;
  }
  if (!parse_keys(segment, source, at)) return false;
  if (!find_name(source, at)) {
    TVR_ERROR("%s", incorrect);
    return false;
  }
  segment->ref_name = make_name(source.data() + at.name, at.name_end - at.name).release();
  if (segment->ref_name == nullptr) return false;
  TVR_DEBUG("dynamic uri ref name: %s", zu_do_name_get_strname(segment->ref_name));
  return parse_parent(segment, source, at.name, depth);
}

// `source` ends with a NUL; `depth` counts the dynamic segments from the end.
uri_template parse(std::string_view source, int depth) noexcept {
  TVR_DEBUG("uri new: %s", source.data());
  uri_template uri(make_zeroed<zu_tvr_uri>().release());
  if (!uri) {
    TVR_ERROR("Failed to allocate URI internals");
    return {};
  }
  uri->resolve = resolve_uri;
  uri->relative = source.empty() || source.front() != '/';
  uri->kind = URI_KIND_OBJECT;

  const size_t separator = find_separator(source, uri->kind);
  if (separator == 0) {
    TVR_DEBUG("static uri: %s", source.data());
    uri->data.uri = zu_do_uri_new(source.data());
    if (uri->data.uri != nullptr) return uri;
    TVR_ERROR("Failed to allocate do_uri from %s", source.data());
    return {};
  }
  uri->is_dynamic = 1;
  if (parse_segment(uri.get(), source, separator, depth)) return uri;
  uri.reset();
  TVR_ERROR("Failed to allocate dynamic URI %s (dynamic: %s)", source.data(), source.data() + separator);
  return {};
}

void delete_segment(zu_tvr_dyn_uri *segment) noexcept {
  const block<zu_tvr_dyn_uri> owner(segment);
  if (!owner) return;
  zu_tvr_uri_delete(segment->parent);
  drop_field(segment->ref_name);
  drop_field(segment->keys);
  const text tail(segment->tail);
}

} // namespace

zu_tvr_uri *uri_new_shared(const char *source, zu_tvr_uri_programs *programs) noexcept {
  if (source == nullptr) {
    TVR_ERROR("Missing URI in call to zu_tvr_uri constructor");
    return nullptr;
  }
  auto uri = parse(source, 1);
  if (uri && !compile_uri(uri.get(), source, programs)) {
    TVR_ERROR("Failed to allocate URI internals");
    uri.reset();
  }
  return uri.release();
}

} // namespace tvr

zu_tvr_uri *zu_tvr_uri_new(const char *text) noexcept {
  return tvr::uri_new_shared(text, nullptr);
}

void zu_tvr_uri_delete(zu_tvr_uri *uri) noexcept {
  const tvr::block<zu_tvr_uri> owner(uri);
  if (!owner) return;
  tvr::drop_uri_program(uri->program);
  if (uri->is_dynamic != 0) {
    tvr::delete_segment(uri->data.dyn);
  } else {
    tvr::drop_field(uri->data.uri);
  }
}
