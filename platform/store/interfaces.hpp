// The store's records behind the data interface.
#pragma once

#include <atomic>

#include "store/answer.hpp"
#include "store/on_demand.hpp"
#include "store/store.h"

namespace store {

// The data interface of a snapshot, or of a source. The snapshots live as long as the interface.
struct data_object {
  zu_data_ifc ifc; // first
  std::atomic<uint32_t> count;
  snapshot data;
  std::unique_ptr<on_demand> rest;             // null: the snapshot has all data
  static constexpr uint32_t area = ZU_DO_AREA; // the area of objects made through it

  data_object *share();
  void release();
  // A snapshot with the records that a request for the URI needs. Throws as on_demand does.
  const snapshot &part_for(zu_do_uri *uri, on_demand::need what, zu_do_nvlist *query) {
    return rest == nullptr ? data : rest->part_for(uri, what, query);
  }
};

// Runs a step of a call: its result, or the code of its failure.
template <class Step>
int answered(Step &&step) noexcept {
  try {
    return step();
  } catch (const source_failure &failure) {
    return failure.code;
  } catch (...) {
    return ZU_EXHAUSTED;
  }
}

// One reference; its snapshot is empty, and it has no source. Throws std::bad_alloc.
data_object *data_object_new();

// The source from which a data interface reads on demand; null for the interface of a snapshot, and for one
// that was not made here.
on_demand *source_behind(zu_data_ifc *ifc);

// The common part of the other objects: counted, used by one thread, with a reference on the object through
// which they were made.
template <class Self, class Ifc, class Data = data_object>
struct counted_object {
  Ifc ifc; // first
  Data *data;
  uint32_t count = 1;

  counted_object(const decltype(Ifc::ops) ops, Data *of) : ifc{ops}, data(of->share()) {}
  ~counted_object() { data->release(); }
  counted_object(const counted_object &) = delete;
  counted_object &operator=(const counted_object &) = delete;

  static Self *of(Ifc *ifc) { return static_cast<Self *>(reinterpret_cast<counted_object *>(ifc)); }
  static int ref(Ifc *ifc) noexcept {
    ++of(ifc)->count;
    return ZU_OK;
  }
  static int free(Ifc *ifc) noexcept {
    Self *self = of(ifc);
    if (--self->count != 0) return ZU_OK;
    self->~Self();
    qfree_named(self);
    return ZU_OK;
  }
  // A new object's interface in `*made`: 0 or ZU_EXHAUSTED.
  template <class... Arguments>
  static int make(Ifc **made, Arguments &&...arguments) {
    void *block = qmalloc_named(Data::area, sizeof(Self));
    if (block == nullptr) return ZU_EXHAUSTED;
    *made = &(new (block) Self(std::forward<Arguments>(arguments)...))->ifc;
    return ZU_OK;
  }
};

// 0 or ZU_EXHAUSTED.
int coll_object_new(data_object *data, zu_coll_ifc **coll);
// A cursor over the answer, which it takes. `whole`: one fetch gives all rows, whatever its count.
int cursor_object_new(data_object *data, answer &&found, bool whole, zu_cursor **cursor);

// The status of all interfaces and cursors: it keeps nothing.
zu_status *empty_status();

} // namespace store
