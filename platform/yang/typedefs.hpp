// The names of types in YANG modules. libyang keeps them only as they are written, without their module.
#pragma once

#include <span>
#include <string>

#include <libyang/libyang.h>

namespace zu_yang {

// One of libyang's arrays, which store their size.
template <class T>
std::span<T> items(T *array) {
  return {array, array == nullptr ? 0 : LY_ARRAY_COUNT(array)};
}

// The name of the typedef of a leaf or leaf-list; empty when its type is built in.
std::string type_name(const lysc_node *node);
// True when its type, a type from which that is derived, or a member of a union has that name (`NAME` or
// `MODULE:NAME`).
bool is_of_type(const lysc_node *node, const std::string &name);

} // namespace zu_yang
