// Memory for pieces that are all freed together.
#include "memory.hpp"

#include <algorithm>

#include "zu_tovra/internal/own.hpp"

namespace tvr {

namespace {

constexpr size_t first_chunk = 4096;
constexpr size_t largest_chunk = size_t{4} << 20;

} // namespace

// Each chunk is twice as large as the one before it, so that there are few.
bool chunk_memory::add_chunk(size_t wanted) noexcept {
  size_t room = first_chunk;
  if (chunks != nullptr)
    room = std::min(2 * static_cast<size_t>(chunks->end - reinterpret_cast<char *>(chunks)), largest_chunk);
  room = sizeof(chunk) + std::max(room, wanted);
  char *block = make_room<char>(room).release();
  if (block == nullptr) return false;
  chunks = new (block) chunk{chunks, block + room};
  free = block + sizeof(chunk);
  end = chunks->end;
  return true;
}

bool chunk_memory::owns(const void *piece) const noexcept {
  const chunk *at = chunks;
  while (at != nullptr && (piece < at || piece >= at->end)) at = at->older;
  return at != nullptr;
}

void chunk_memory::free_all() noexcept {
  while (chunks != nullptr) {
    const text freed(reinterpret_cast<char *>(std::exchange(chunks, chunks->older)));
  }
}

} // namespace tvr
