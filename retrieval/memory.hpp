// Memory for pieces that are all freed together: they are cut from big chunks.
#pragma once

#include <cstddef>
#include <utility>

namespace tvr {

// Of the chunks, the newest and largest is first.
struct chunk_memory {
  struct chunk {
    chunk *older;
    char *end;
  };

  chunk *chunks;
  char *free; // what is left of the newest
  char *end;

  // Not initialised, and aligned as a pointer; none when memory is exhausted.
  void *take(size_t size) noexcept {
    size = (size + sizeof(void *) - 1) / sizeof(void *) * sizeof(void *);
    if (size > static_cast<size_t>(end - free) && !add_chunk(size)) return nullptr;
    return std::exchange(free, free + size);
  }
  bool owns(const void *piece) const noexcept;
  void free_all() noexcept;

private:
  bool add_chunk(size_t wanted) noexcept;
};

} // namespace tvr
