// The pattern of records' URIs: their text without the values of keys.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "zuapi/frozen.hpp"

namespace zuapi {

// Made from one URI. It finds out whether another text is a URI that differs only in the values of its keys,
// and then where its parts are. The records of a list share a pattern, so that only a few URIs of a file need
// the whole grammar.
class uri_pattern {
public:
  explicit uri_pattern(const zu_do_uri *sample);

  // "/sys/ifc;name=/addr;ip=" of "/sys/ifc;name=e0/addr;ip=1".
  static void write_text(std::string_view uri, std::string &out);
  const std::string &text() const { return text_; }
  std::string_view location() const { return std::string_view(text_).substr(0, below_); }
  std::string_view below_location() const { return std::string_view(text_).substr(below_); }
  bool absolute() const { return (layout_.flags & uri_absolute) != 0; }

  // The frozen URI of a text of this pattern in canonical form, or null. Throws std::bad_alloc.
  zu_do_uri *make(std::string_view text, arena &memory);
  // Stores the positions of the values in a canonical text of this pattern: `value` refers to the text that
  // was noted or matched last.
  void note(std::string_view text);
  size_t value_count() const { return cuts_.size(); }
  std::string_view value(std::string_view text, size_t i) const {
    return text.substr(cuts_[i] + sums_[i], sums_[i + 1] - sums_[i]);
  }

private:
  // An offset in a URI, as a number of values and a number of other bytes before it.
  struct place {
    uint32_t values;
    uint32_t fixed;
  };
  place place_of(uint32_t offset) const;
  uint32_t offset_of(const place &at) const { return at.fixed + sums_[at.values]; }
  bool match(std::string_view text);
  bool take_literal(std::string_view text, size_t &at, size_t from, size_t to) const;

  std::string text_;
  std::vector<uint32_t> cuts_; // where in it a value is left out
  std::vector<uint32_t> sums_; // the lengths of the first 0, 1, ... values together
  uint32_t below_ = 0;         // where the text after the location begins
  uri_layout layout_;          // of the sample
  static constexpr uint32_t uri_layout::*moving[] = {&uri_layout::relative, &uri_layout::parent,
                                                     &uri_layout::name, &uri_layout::name_end,
                                                     &uri_layout::first_end};
  place places_[std::size(moving)];
};

} // namespace zuapi
