// The memory of a snapshot: an arena for what lives as long as it, and plain arrays.
#pragma once

#include "infra/memory.hpp"

namespace store {

using infra::arena;

// An array of trivial items of a size that is known when it is made. Throws std::bad_alloc.
template <class T>
class array {
public:
  array() = default;
  // All bytes zero.
  explicit array(size_t size) : size_(size) {
    if (size == 0) return;
    items_ = static_cast<T *>(qcalloc_named(ZU_DO_AREA, size, sizeof(T)));
    if (items_ == nullptr) throw std::bad_alloc();
  }
  ~array() { qfree_named(items_); }
  array(array &&other) noexcept
      : items_(std::exchange(other.items_, nullptr)), size_(std::exchange(other.size_, 0)) {}
  array &operator=(array &&other) noexcept {
    std::swap(items_, other.items_);
    std::swap(size_, other.size_);
    return *this;
  }

  T *data() const { return items_; }
  size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  T &operator[](size_t index) const { return items_[index]; }

private:
  T *items_ = nullptr;
  size_t size_ = 0;
};

} // namespace store
