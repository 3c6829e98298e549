// The stack of a walk. Popped entries are kept and used again: a walk pushes and pops for each record, and
// would allocate each time.
#include "stack.hpp"

#include <atomic>

#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/internal/report.hpp"

namespace {

bool is_same(void *key, void *item, void *) noexcept {
  return key == item;
}

zu_tvr_stack_entry *take_entry(zu_tvr_stack *stack) noexcept {
  zu_tvr_stack_entry *spare = stack->spare;
  if (spare == nullptr) return tvr::make_zeroed<zu_tvr_stack_entry>().release();
  stack->spare = spare->next;
  return spare;
}

void free_entries(zu_tvr_stack_entry *entry) noexcept {
  while (entry != nullptr) {
    const tvr::block<zu_tvr_stack_entry> freed(std::exchange(entry, entry->next));
  }
}

} // namespace

namespace tvr {

zu_tvr_stack_entry *push_entry(zu_tvr_stack *stack, void *item) noexcept {
  TVR_ASSERT(stack);
  TVR_ASSERT(item);
  zu_tvr_stack_entry *entry = or_error(take_entry(stack), "Failed to allocate item in the stack");
  if (entry == nullptr) return nullptr;
  zu_tvr_stack_entry *below = std::exchange(stack->top, entry);
  *entry = {item, below, ++stack->last_stamp, below != nullptr ? below->level + 1 : 1, nullptr};
  return entry;
}

} // namespace tvr

zu_tvr_stack *zu_tvr_stack_new(zu_tvr_stack_compare_fn compare) noexcept {
  auto stack = tvr::or_error(tvr::make_zeroed<zu_tvr_stack>(), "Failed to allocate node stack");
  if (stack == nullptr) return nullptr;
  // Stamps of two stacks differ, so that memory of a deleted
  // stack does not fit a new one at the same address.
  static std::atomic<uint64_t> stacks{0};
  stack->last_stamp = stacks.fetch_add(1, std::memory_order_relaxed) << 40;
  stack->compare = compare != nullptr ? compare : is_same;
  return stack.release();
}

bool zu_tvr_stack_push(zu_tvr_stack *stack, void *item) noexcept {
  return tvr::push_entry(stack, item) != nullptr;
}

void *zu_tvr_stack_pop(zu_tvr_stack *stack) noexcept {
  TVR_ASSERT(stack);
  zu_tvr_stack_entry *entry = stack->top;
  if (entry == nullptr) return nullptr;
  stack->top = entry->next;
  entry->next = stack->spare;
  stack->spare = entry;
  return entry->item;
}

void *zu_tvr_stack_lookup(zu_tvr_stack *stack, void *key, void *extra) noexcept {
  if (stack == nullptr) return nullptr;
  for (zu_tvr_stack_entry *entry = stack->top; entry != nullptr; entry = entry->next) {
    if (stack->compare(key, entry->item, extra)) return entry->item;
  }
  return nullptr;
}

void zu_tvr_stack_delete(zu_tvr_stack *stack, void (*release)(void *item)) noexcept {
  TVR_ASSERT(stack);
  const tvr::block<zu_tvr_stack> owner(stack);
  for (zu_tvr_stack_entry *entry = stack->top; release != nullptr && entry != nullptr; entry = entry->next) {
    release(entry->item);
  }
  free_entries(stack->top);
  free_entries(stack->spare);
}
