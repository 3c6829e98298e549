// Memory for pieces that are all freed together: they are cut from big
// chunks. A walk may keep a record for each item of a list; with blocks of
// their own, key, entry and queue item would be three allocations for each.
#pragma once

#include <cstddef>
#include <utility>

namespace tvr {

// A list of chunks; the first is the newest and largest.
struct chunk_memory {
  struct chunk {
    chunk *older;
    char *end;
  };

  chunk *chunks;
  char *free; // what is left of the newest
  char *end;

  // A piece that is not initialised, aligned for a pointer; null when memory is exhausted.
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
