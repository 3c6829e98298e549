// Owners of the library's and the platform's objects.
#pragma once

#include <memory>

#include "store/store.h"
#include "zu_tovra/zu_tovra.h"

namespace tovra {

template <auto Free>
struct free_with {
  template <class T>
  void operator()(T *thing) const {
    Free(thing);
  }
};
template <class T, auto Free>
using handle = std::unique_ptr<T, free_with<Free>>;

using properties_handle = handle<zu_do_properties, zu_do_properties_deref>;
using value_handle = handle<zu_do_value, zu_do_value_deref>;
using iterator_handle = handle<zu_do_iter, zu_do_iter_deref>;
using uri_handle = handle<zu_do_uri, zu_do_uri_deref>;
using wrapper_handle = handle<zu_store_wrapper, zu_store_wrapper_free>;

} // namespace tovra
