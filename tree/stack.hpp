// Stack entries, for the two caches: they set more members of an entry than the item.
#pragma once

#include "zu_tovra/stack.h"

namespace tvr {

// Puts an item on top and returns its entry; null (traced) when memory is exhausted.
[[nodiscard]] zu_tvr_stack_entry *push_entry(zu_tvr_stack *stack, void *item) noexcept;

} // namespace tvr
