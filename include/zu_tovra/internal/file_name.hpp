// The name of a template file, shared by the nodes that were made from it, so that a name is in memory once.
// The counts are not atomic: trees are built and deleted by one thread at a time.
#pragma once

#include <cstring>

#include "zu_tovra/internal/own.hpp"

// The name follows the count in the same block.
struct zu_tvr_file_name {
  size_t users;
};

namespace tvr {

[[nodiscard]] inline zu_tvr_file_name *share_file_name(zu_tvr_file_name *name) noexcept {
  if (name != nullptr) ++name->users;
  return name;
}

inline void drop_file_name(zu_tvr_file_name *name) noexcept {
  if (name != nullptr && --name->users == 0) const block<zu_tvr_file_name> dropped(name);
}

inline const char *file_name_text(const zu_tvr_file_name *name) noexcept {
  return name != nullptr ? reinterpret_cast<const char *>(name + 1) : nullptr;
}

using file_name = unique<zu_tvr_file_name, drop_file_name>;

// A new name with one user, or null.
[[nodiscard]] inline file_name new_file_name(const char *path) noexcept {
  const size_t size = std::strlen(path) + 1;
  void *room = make_room<char>(sizeof(zu_tvr_file_name) + size).release();
  if (room == nullptr) return nullptr;
  file_name name(new (room) zu_tvr_file_name{1});
  std::memcpy(name.get() + 1, path, size);
  return name;
}

} // namespace tvr
