// New nodes without data, for template nodes and for the scratch nodes of a walk.
#pragma once

#include "zu_tovra/node.h"

namespace tvr {

// A zeroed node of a type with its walk operation, or null (traced).
[[nodiscard]] zu_tvr_node *new_node(uint32_t type) noexcept;

// The number by which dumps name a node; 0 for null.
inline long node_number(const zu_tvr_node *node) noexcept {
  return node != nullptr ? static_cast<long>(node->ordinal) : 0;
}

// The number by which some traces name a node: its address, which other traces write in hexadecimal.
inline long node_address(const zu_tvr_node *node) noexcept {
  return static_cast<long>(reinterpret_cast<intptr_t>(node));
}

} // namespace tvr
