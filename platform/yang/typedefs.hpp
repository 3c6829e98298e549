// The names of types in YANG modules, which libyang keeps as they are written only.
#pragma once

#include <span>
#include <string>

#include <libyang/libyang.h>

namespace zu_yang {

// One of libyang's arrays, which know their size.
template <class T>
std::span<T> items(T *array) {
  return {array, array == nullptr ? 0 : LY_ARRAY_COUNT(array)};
}

// The name of the typedef that a leaf or leaf-list has; empty when its type is built in.
std::string type_name(const lysc_node *node);
// Whether its type, one that this is derived of, or one of a union's, has that name, `NAME` or `MODULE:NAME`.
bool is_of_type(const lysc_node *node, const std::string &name);

} // namespace zu_yang
