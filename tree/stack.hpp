// Entries of the stack, for the caches that keep more in them than the item.
#pragma once

#include "zu_tovra/stack.h"

namespace tvr {

// Puts an item on top: its entry; or none (traced).
[[nodiscard]] zu_tvr_stack_entry *push_entry(zu_tvr_stack *stack, void *item) noexcept;

} // namespace tvr
