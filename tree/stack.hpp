// Stack entries, for the two caches: they keep more in an entry than the item.
#pragma once

#include "zu_tovra/stack.h"

namespace tvr {

// Puts an item on top: its entry; or none (traced).
[[nodiscard]] zu_tvr_stack_entry *push_entry(zu_tvr_stack *stack, void *item) noexcept;

} // namespace tvr
