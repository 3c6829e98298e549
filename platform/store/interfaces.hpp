// The store's records behind the data interface.
#pragma once

#include <atomic>

#include "store/answer.hpp"
#include "store/store.h"

namespace store {

// The data interface of a snapshot; the snapshot lives as long.
struct data_object {
  zu_data_ifc ifc; // first
  std::atomic<uint32_t> count;
  snapshot data;
};

// One reference; its snapshot is empty. Throws std::bad_alloc.
data_object *data_object_new();
data_object *data_object_share(data_object *object);
void data_object_release(data_object *object);

// New objects, each with a reference on the data interface: 0 or ZU_EXHAUSTED.
int coll_object_new(data_object *data, zu_coll_ifc **coll);
int crudx_object_new(data_object *data, zu_crudx_ifc **crudx);
// A cursor over the answer, which it takes. `whole`: one fetch gives all rows, whatever its count.
int cursor_object_new(data_object *data, answer &&found, bool whole, zu_cursor **cursor);

// The status of everything: nothing is kept in it.
zu_status *empty_status();

// A zeroed block for an object of the interfaces, which have trivial constructors; none when memory is
// exhausted.
template <class T>
T *object_new() {
  return static_cast<T *>(qcalloc_named(ZU_DO_AREA, 1, sizeof(T)));
}

} // namespace store
