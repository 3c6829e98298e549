// The parsed form of a condition: one block of nodes, each group directly before its arguments.
#pragma once

#include "cli_exec/cli_exec.h"

#pragma GCC visibility push(hidden)

namespace zu_cond {

enum class kind : uint8_t {
  all_of,
  any_of,
  negation,
  equal,
  not_equal,
  less,
  less_or_equal,
  greater,
  greater_or_equal,
  is_set,
  constant, // from here on: operands
  property
};

struct node {
  kind what;
  uint32_t end; // index after the node's last argument: that of its next sibling
  union {
    zu_do_value *value; // of a constant, owned
    zu_do_name *name;   // of a property, owned: interned here once, so that evaluation compares pointers
  };
};

} // namespace zu_cond

// The nodes follow the header in the same block. Node 0 is the group of all top-level conditions.
struct zu_cond_list {
  uint64_t count;

  zu_cond::node *nodes() { return reinterpret_cast<zu_cond::node *>(this + 1); }
  const zu_cond::node *nodes() const { return reinterpret_cast<const zu_cond::node *>(this + 1); }
};
static_assert(sizeof(zu_cond_list) % alignof(zu_cond::node) == 0, "the nodes follow the header");

namespace zu_cond {

// Evaluates a whole list. `*holds` is valid only when the result is true; false: memory is exhausted.
bool evaluate(const zu_cond_list &list, zu_do_properties *properties, bool *holds) noexcept;

} // namespace zu_cond

#pragma GCC visibility pop
