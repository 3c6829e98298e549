// Named memory for C++: an allocator for standard containers, and an arena for many small objects that are
// freed together.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "qmalloc/qmalloc.h"

namespace infra {

// The allocator of containers whose memory is charged to the area of data objects.
template <class T>
struct charged {
  using value_type = T;

  charged() = default;
  template <class U>
  charged(const charged<U> &) noexcept {}
  T *allocate(size_t count) {
    void *block = qmalloc_named(ZU_DO_AREA, count * sizeof(T));
    if (block == nullptr) throw std::bad_alloc();
    return static_cast<T *>(block);
  }
  void deallocate(T *block, size_t) noexcept { qfree_named(block); }
  bool operator==(const charged &) const = default;
};
using string = std::basic_string<char, std::char_traits<char>, charged<char>>;
template <class T>
using vector = std::vector<T, charged<T>>;

// A reference on a counted object, released by that function.
template <auto release>
struct releaser {
  template <class T>
  void operator()(T *object) const {
    release(object);
  }
};
template <class T, auto release>
using owned = std::unique_ptr<T, releaser<release>>;

// Hands out pieces of big chunks and frees them all at once. Throws std::bad_alloc.
class arena {
public:
  arena() = default;
  ~arena() {
    while (chunks_ != nullptr) qfree_named(std::exchange(chunks_, chunks_->next));
  }
  arena(const arena &) = delete;
  arena &operator=(const arena &) = delete;

  // Aligned as a pointer.
  void *take(size_t size) {
    const size_t skip = static_cast<size_t>(-reinterpret_cast<intptr_t>(next_)) & (alignof(void *) - 1);
    if (static_cast<size_t>(end_ - next_) < size + skip) return take_slow(size);
    next_ += skip;
    return std::exchange(next_, next_ + size);
  }
  // Room for a text of that length and its NUL, anywhere.
  char *take_text(size_t length) {
    if (static_cast<size_t>(end_ - next_) <= length) return static_cast<char *>(take_slow(length + 1));
    return std::exchange(next_, next_ + length + 1);
  }
  const char *copy_text(std::string_view text) {
    char *copy = take_text(text.size());
    if (!text.empty()) std::memcpy(copy, text.data(), text.size());
    copy[text.size()] = '\0';
    return copy;
  }

private:
  struct chunk {
    chunk *next;
  };
  static constexpr size_t smallest = size_t{4} << 10;
  static constexpr size_t largest = size_t{16} << 20;

  void *take_slow(size_t size) {
    // A big piece gets a chunk of its own, so that the rest of the current chunk is not wasted.
    const bool alone = size > size_ / 4;
    const size_t room = alone ? size : size_;
    auto *fresh = static_cast<chunk *>(qmalloc_named(ZU_DO_AREA, sizeof(chunk) + room));
    if (fresh == nullptr) throw std::bad_alloc();
    fresh->next = std::exchange(chunks_, fresh);
    char *start = reinterpret_cast<char *>(fresh + 1);
    if (alone) return start;
    next_ = start + size;
    end_ = start + room;
    if (size_ < largest) size_ *= 2;
    return start;
  }

  chunk *chunks_ = nullptr;
  char *next_ = nullptr;
  char *end_ = nullptr;
  size_t size_ = smallest;
};

} // namespace infra
