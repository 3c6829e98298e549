// A text that can be read a little beyond its end, as the parser does.
#pragma once

#include <cstring>
#include <new>
#include <simdjson.h>
#include <string_view>
#include <utility>

#include "qmalloc/qmalloc.h"
#include "zuapi/zuapi.h"

namespace store {

class padded_text {
public:
  padded_text() = default;
  ~padded_text() { qfree_named(text_); }
  padded_text(const padded_text &) = delete;
  padded_text &operator=(const padded_text &) = delete;

  // Throws std::bad_alloc, as `append` does.
  void reserve(size_t length) {
    if (length < room_ && text_ != nullptr) return;
    void *grown = qrealloc_named(ZU_DO_AREA, text_, length + simdjson::SIMDJSON_PADDING);
    if (grown == nullptr) throw std::bad_alloc();
    text_ = static_cast<char *>(grown);
    room_ = length;
  }
  void append(std::string_view more) {
    if (text_ == nullptr || more.size() > room()) reserve(2 * length_ + more.size());
    if (!more.empty()) std::memcpy(end(), more.data(), more.size());
    extend(more.size());
  }
  char *end() { return text_ + length_; }
  size_t room() const { return room_ - length_; }
  void clear() { length_ = 0; }
  void drop() { qfree_named(std::exchange(text_, nullptr)); }
  void extend(size_t length) { length_ += length; }
  void pad() { std::memset(end(), 0, simdjson::SIMDJSON_PADDING); }

  std::string_view view() const { return {text_, length_}; }
  size_t capacity() const { return room_ + simdjson::SIMDJSON_PADDING; }

private:
  char *text_ = nullptr;
  size_t length_ = 0;
  size_t room_ = 0; // without the padding
};

} // namespace store
