// Entries of the stack, for the caches that keep more in them than the item.
#pragma once

#include "zu_tovra/stack.h"

namespace tvr {

// Puts an item on top: its entry, whose keys are empty; or none (traced).
[[nodiscard]] zu_tvr_stack_entry *push_entry(zu_tvr_stack *stack, void *item) noexcept;

// Gives the top entry a new stamp, after what it holds has changed.
inline void renew_top(zu_tvr_stack *stack) noexcept {
  stack->top->stamp = ++stack->last_stamp;
}

} // namespace tvr
