// Bare nodes, as the constructors and the walk's scratch nodes begin.
#pragma once

#include "zu_tovra/node.h"

namespace tvr {

// A zeroed node of a type with its walk operation, or none (traced).
[[nodiscard]] zu_tvr_node *new_node(uint32_t type) noexcept;

// How dumps name a node.
inline long node_number(const zu_tvr_node *node) noexcept {
  return node != nullptr ? static_cast<long>(node->ordinal) : 0;
}

// How traces name a node as a number: its address, as others show it.
inline long node_address(const zu_tvr_node *node) noexcept {
  return static_cast<long>(reinterpret_cast<intptr_t>(node));
}

} // namespace tvr
