// The pattern of records' URIs: their text without the values of keys.
#include "zuapi/uri_pattern.hpp"

#include "zuapi/objects.hpp"

namespace zuapi {

void uri_pattern::write_text(std::string_view uri, std::string &out) {
  out.clear();
  bool in_value = false;
  for (const char byte : uri) {
    if (byte == '/' || byte == ';') in_value = false;
    if (!in_value) out += byte;
    if (byte == '=') in_value = true;
  }
}

uri_pattern::uri_pattern(const zu_do_uri *sample) : layout_(*sample) {
  layout_.flags &= ~uri_frozen;
  write_text(sample->view(), text_);
  for (size_t i = 0; i < text_.size(); ++i) {
    if (text_[i] == '=') cuts_.push_back(static_cast<uint32_t>(i + 1));
  }
  note(sample->view());
  for (size_t i = 0; i < std::size(moving); ++i) places_[i] = place_of(layout_.*moving[i]);
  if (absolute()) below_ = sample->segment_count == 0 ? 2 : place_of(sample->first_end).fixed;
}

void uri_pattern::note(std::string_view text) {
  sums_.assign(1, 0);
  for (const uint32_t cut : cuts_) {
    const uint32_t start = cut + sums_.back();
    const size_t end = std::min(text.find_first_of("/;", start), text.size());
    sums_.push_back(static_cast<uint32_t>(end) - cut);
  }
}

uri_pattern::place uri_pattern::place_of(uint32_t offset) const {
  uint32_t values = 0;
  while (values < cuts_.size() && cuts_[values] + sums_[values + 1] <= offset) ++values;
  return {values, offset - sums_[values]};
}

bool uri_pattern::take_literal(std::string_view text, size_t &at, size_t from, size_t to) const {
  if (text.size() - at < to - from || std::memcmp(text.data() + at, text_.data() + from, to - from) != 0)
    return false;
  at += to - from;
  return true;
}

bool uri_pattern::match(std::string_view text) {
  size_t at = 0;
  size_t from = 0;
  for (size_t i = 0; i < cuts_.size(); from = cuts_[i++]) {
    if (!take_literal(text, at, from, cuts_[i]) || !uri_skip_value(text, at)) return false;
    sums_[i + 1] = static_cast<uint32_t>(at) - cuts_[i];
  }
  return take_literal(text, at, from, text_.size()) && at == text.size() && at <= longest_uri;
}

zu_do_uri *uri_pattern::make(std::string_view text, arena &memory) {
  if (!match(text)) return nullptr;
  uri_scan scan = {layout_, text, false, true};
  scan.length = scan.end = static_cast<uint32_t>(text.size());
  for (size_t i = 0; i < std::size(moving); ++i) scan.*moving[i] = offset_of(places_[i]);
  return uri_frozen_of(scan, memory);
}

} // namespace zuapi
