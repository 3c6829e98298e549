// Paths: the names of a URI's segments, without keys and location.
#include "store/path.hpp"

#include <cstring>

namespace store {

namespace {

// The end of the run of bytes from `at` that are neither of the two.
size_t end_of(std::string_view text, size_t at, char a, char b) {
  while (at < text.size() && text[at] != a && text[at] != b) ++at;
  return at;
}

// Goes through the segments of two texts of one path side by side.
class segment {
public:
  explicit segment(std::string_view text) : text_(text) {}

  // False at the end of the text; otherwise `at_` is after the name.
  bool next() {
    at_ = static_cast<uint32_t>(end_of(text_, at_, '/', '/'));
    if (at_ == text_.size()) return false;
    const size_t start = ++at_;
    at_ = static_cast<uint32_t>(end_of(text_, at_, ';', '/'));
    name_ = text_.substr(start, at_ - start);
    return true;
  }
  std::string_view name() const { return name_; }
  bool next_key(zuapi::uri_key &key) { return zuapi::uri_next_key(text_, at_, key); }
  // Looks through all keys of the segment without moving on.
  bool has_key(const zuapi::uri_key &wanted) const {
    zuapi::uri_key key;
    for (uint32_t at = at_; zuapi::uri_next_key(text_, at, key);) {
      if (key.name == wanted.name) return key.value == wanted.value;
    }
    return false;
  }

private:
  std::string_view text_;
  std::string_view name_;
  uint32_t at_ = 0;
};

} // namespace

location_split split_location(std::string_view text) {
  const size_t end = end_of(text, 2, '/', '/');
  return {text.substr(1, end - 1), text.substr(end)};
}

size_t path_of(std::string_view text, bool absolute, char *out) {
  const char *const start = out;
  size_t at = 0;
  if (absolute) {
    const location_split split = split_location(text);
    if (split.rest.empty()) {
      *out++ = '/';
      at = 1;
    } else {
      at = text.size() - split.rest.size();
    }
  }
  while (at < text.size()) {
    const size_t name_end = end_of(text, at + 1, ';', '/');
    std::memcpy(out, text.data() + at, name_end - at);
    out += name_end - at;
    at = end_of(text, name_end, '/', '/');
  }
  return static_cast<size_t>(out - start);
}

std::string path_text(std::string_view text, bool absolute) {
  std::string path(text.size(), '\0');
  path.resize(path_of(text, absolute, path.data()));
  return path;
}

bool keys_match(std::string_view asked, std::string_view stored) {
  segment a(asked), b(stored);
  while (a.next()) {
    if (!b.next() || a.name() != b.name()) return false;
    const segment keys = b;
    zuapi::uri_key key;
    while (a.next_key(key)) {
      if (!keys.has_key(key)) return false;
    }
  }
  return true;
}

bool same_key_names(std::string_view a_text, std::string_view b_text) {
  segment a(a_text), b(b_text);
  while (a.next()) {
    if (!b.next()) return false;
    zuapi::uri_key a_key, b_key;
    while (a.next_key(a_key)) {
      if (!b.next_key(b_key) || a_key.name != b_key.name) return false;
    }
    if (b.next_key(b_key)) return false;
  }
  return true;
}

} // namespace store
