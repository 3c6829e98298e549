// Checks a URI's text against the grammar and writes its canonical form.
#include <algorithm>

#include "zuapi/objects.hpp"
#include "zuapi/uri_text.hpp"

using namespace zuapi;

namespace {

constexpr bool among(uint8_t byte, std::string_view set) {
  return set.find(static_cast<char>(byte)) != set.npos;
}

constexpr byte_class_table make_classes() {
  byte_class_table table{};
  for (int i = 0; i < 256; ++i) {
    const auto byte = static_cast<uint8_t>(i);
    const bool letter = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z');
    const bool digit = byte >= '0' && byte <= '9';
    const bool control = byte < 0x20 || byte == 0x7f;
    uint8_t classes = 0;
    if (control) classes |= byte_control;
    if (letter || digit || among(byte, "-._~:@+,*()[]|")) classes |= byte_plain;
    if (among(byte, "/;?")) classes |= byte_ends_value;
    if (!control && byte != ' ' && !among(byte, "/;?=%$!#\"")) classes |= byte_in_name;
    table.of[i] = classes;
  }
  return table;
}

int hex_value(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

// True when a key of a segment is given twice; `keys` is a segment's text from its first ';' on.
[[gnu::noinline]] bool some_key_repeats(std::string_view keys) {
  constexpr size_t most_keys = longest_uri / 3 + 1; // ";k=" is the shortest
  uint16_t starts[most_keys];
  uint16_t *end = starts;
  for (size_t at = 0; at != keys.npos; at = keys.find(';', at + 1)) *end++ = static_cast<uint16_t>(at + 1);
  const auto name = [keys](uint16_t start) { return keys.substr(start, keys.find('=', start) - start); };
  std::sort(starts, end, [&name](uint16_t a, uint16_t b) { return name(a) < name(b); });
  return std::adjacent_find(starts, end, [&name](uint16_t a, uint16_t b) { return name(a) == name(b); }) !=
         end;
}

// Goes through the source once: each take_ function moves
// over a part and counts its bytes in the canonical text.
class scanner {
public:
  scanner(const char *at, const char *end, uint32_t out) : at_(at), end_(end), out_(out) {}

  bool done() const { return at_ == end_; }
  bool next_is(char c) const { return at_ < end_ && *at_ == c; }
  void skip() { ++at_, ++out_; }
  uint32_t out() const { return out_; }
  bool verbatim() const { return verbatim_; }
  const char *at() const { return at_; }

  bool take_name() { return skip_bytes(byte_in_name) > 0; }

  // Null, or why the value is refused.
  const char *take_value() {
    for (;; ++at_) {
      skip_bytes(byte_plain);
      if (at_ == end_ || byte_is(*at_, byte_ends_value)) return nullptr;
      if (byte_is(*at_, byte_control)) return "control byte in a value";
      if (*at_ != '%') {
        take_encoded();
      } else if (const char *reason = take_escape()) {
        return reason;
      }
    }
  }

  // Null, or why the segment is refused; where its name ends in the canonical text.
  const char *take_segment(uint32_t &name_end) {
    if (!take_name()) return done() || next_is('/') || next_is('?') ? "empty segment" : "bad segment name";
    name_end = out_;
    const char *const keys = at_;
    uint32_t count = 0;
    while (next_is(';')) {
      skip();
      if (!take_name()) return "bad key name";
      if (!next_is('=')) return "key without a value";
      ++count;
      skip();
      if (const char *reason = take_value()) return reason;
    }
    if (count > 1 && some_key_repeats({keys, static_cast<size_t>(at_ - keys)})) return "key given twice";
    return done() || next_is('/') || next_is('?') ? nullptr : "bad byte in a segment";
  }

private:
  uint32_t skip_bytes(byte_class wanted) {
    const char *at = at_, *const end = end_;
    while (at < end && byte_is(*at, wanted)) ++at;
    const auto count = static_cast<uint32_t>(at - at_);
    at_ = at;
    out_ += count;
    return count;
  }

  void take_encoded() {
    out_ += 3;
    verbatim_ = false;
  }

  const char *take_escape() {
    const int high = end_ - at_ > 2 ? hex_value(at_[1]) : -1;
    const int low = end_ - at_ > 2 ? hex_value(at_[2]) : -1;
    if (high < 0 || low < 0) return "malformed % in a value";
    const auto byte = static_cast<char>(high * 16 + low);
    if (byte == '\0') return "%00 in a value";
    const bool plain = byte_is(byte, byte_plain);
    if (plain || at_[1] != hex_digits[high] || at_[2] != hex_digits[low]) verbatim_ = false;
    out_ += plain ? 1 : 3;
    at_ += 2;
    return nullptr;
  }

  const char *at_;
  const char *end_;
  uint32_t out_;
  bool verbatim_ = true;
};

const char *scan_path(scanner &text, uri_scan &scan) {
  uint32_t count = 0;
  while (!text.done() && !text.next_is('?')) {
    if (count > 0) text.skip(); // the '/' that ended the segment before
    scan.parent = count == 0 ? text.out() : text.out() - 1;
    scan.name = text.out();
    if (const char *reason = text.take_segment(scan.name_end)) return reason;
    const uint32_t first_in_path = (scan.flags & uri_absolute) != 0 ? 1 : 0;
    if (count > first_in_path && text.out() > scan.name_end) scan.flags |= uri_keyed_below_first;
    if (count++ == 0) scan.first_end = text.out();
  }
  scan.segment_count = static_cast<uint16_t>(count);
  scan.end = text.out();
  return nullptr;
}

const char *scan_query(scanner &text, uri_scan &scan) {
  if (text.done()) return nullptr;
  text.skip();
  if (!text.take_name()) return "query without a name";
  scan.coll_type = 1;
  scan.parent = scan.end;
  if (text.next_is('=')) {
    scan.coll_type = 2;
    text.skip();
    if (const char *reason = text.take_value()) return reason;
  }
  return text.done() ? nullptr : "bad byte in a query";
}

// Where the relative form starts, when it is a slice of the text.
void find_relative(uri_scan &scan) {
  if ((scan.flags & uri_absolute) == 0) {
    scan.flags |= uri_relative_ok;
  } else if (scan.segment_count == 0) {
    scan.relative = 1;
    if (scan.coll_type != 0) scan.flags |= uri_relative_ok;
  } else if (scan.segment_count > 1) {
    scan.relative = scan.first_end;
    scan.flags |= uri_relative_ok;
  }
}

} // namespace

namespace zuapi {

constinit const byte_class_table byte_classes = make_classes();

const char *uri_scan_text(const char *text, size_t length, uri_scan *scan) {
  if (text == nullptr) return "no text";
  const std::string_view source = trimmed({text, length});
  if (source.size() > longest_uri) return "longer than 64 KiB";
  *scan = {};
  scan->source = source;
  scan->add_slash = !source.starts_with('/');
  const uint32_t slashes = source.starts_with("//") ? 2 : scan->add_slash ? 0 : 1;
  if (slashes == 2) scan->flags |= uri_absolute;
  const uint32_t root = slashes == 2 ? 2 : 1;
  scanner walk(source.data() + slashes, source.data() + source.size(), root);
  if (const char *reason = scan_path(walk, *scan)) return reason;
  if (const char *reason = scan_query(walk, *scan)) return reason;
  scan->length = walk.out();
  scan->verbatim = walk.verbatim();
  if (scan->length > longest_uri) return "longer than 64 KiB";
  find_relative(*scan);
  return nullptr;
}

void uri_write_text(char *at, const uri_scan &scan) {
  if (scan.add_slash) *at++ = '/';
  if (scan.verbatim) {
    put_text(at, scan.source);
    return;
  }
  const char *const end = scan.source.data() + scan.source.size();
  bool in_value = false;
  for (const char *from = scan.source.data(); from < end; ++from) {
    char byte = *from;
    if (byte_is(byte, byte_ends_value)) in_value = false;
    if (!in_value || byte_is(byte, byte_plain)) {
      *at++ = byte;
      if (byte == '=') in_value = true;
      continue;
    }
    if (byte == '%') {
      byte = static_cast<char>(hex_value(from[1]) * 16 + hex_value(from[2]));
      from += 2;
    }
    at = put_key_byte(at, byte);
  }
  *at = '\0';
}

bool uri_next_key(std::string_view text, uint32_t &at, uri_key &key) {
  if (at >= text.size() || text[at] != ';') return false;
  const size_t equals = text.find('=', at);
  size_t end = equals + 1;
  while (end < text.size() && !byte_is(text[end], byte_ends_value)) ++end;
  key.name = text.substr(at + size_t{1}, equals - at - 1);
  key.value = text.substr(equals + 1, end - equals - 1);
  at = static_cast<uint32_t>(end);
  return true;
}

bool uri_skip_value(std::string_view text, size_t &at) {
  scanner walk(text.data() + at, text.data() + text.size(), 0);
  if (walk.take_value() != nullptr || !walk.verbatim()) return false;
  at = static_cast<size_t>(walk.at() - text.data());
  return true;
}

size_t uri_decode_value(std::string_view value, char *out) {
  if (value.find('%') == value.npos) return value.copy(out, value.size());
  char *const start = out;
  for (size_t i = 0; i < value.size(); ++i) {
    if (value[i] != '%') {
      *out++ = value[i];
    } else {
      *out++ = static_cast<char>(hex_value(value[i + 1]) * 16 + hex_value(value[i + 2]));
      i += 2;
    }
  }
  return static_cast<size_t>(out - start);
}

} // namespace zuapi
