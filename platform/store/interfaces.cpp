// The data interface of a snapshot, and single records read through it.
#include "store/interfaces.hpp"

namespace store {

namespace {

data_object *object_of(zu_data_ifc *ifc) {
  return reinterpret_cast<data_object *>(ifc);
}

int data_ref(zu_data_ifc *ifc) noexcept {
  object_of(ifc)->share();
  return ZU_OK;
}

int data_free(zu_data_ifc *ifc) noexcept {
  object_of(ifc)->release();
  return ZU_OK;
}

int data_get_coll_ifc(zu_data_ifc *ifc, zu_coll_ifc **coll) noexcept {
  return coll_object_new(object_of(ifc), coll);
}

struct crudx_object : counted_object<crudx_object, zu_crudx_ifc> {
  using counted_object::counted_object;
};

// The name and the flags are not used: a named configuration is a store of its own.
int crudx_get(zu_crudx_ifc *ifc, zu_do_uri *uri, const char *, uint64_t, zu_do_properties *record) noexcept {
  if (uri == nullptr || record == nullptr) return ZU_FAILED;
  return answered([&]() -> int {
    const snapshot &data = crudx_object::of(ifc)->data->part_for(uri, on_demand::need::one_record, nullptr);
    const uint32_t id = data.find(uri);
    if (id == no_id) return ZU_NOT_FOUND;
    return zuapi::properties_add_row(record, data.records[id]);
  });
}

zu_status *crudx_status(zu_crudx_ifc *) noexcept {
  return empty_status();
}

constexpr zu_crudx_ifc_ops crudx_ops = {nullptr, crudx_object::ref, crudx_object::free, crudx_get,
                                        crudx_status};

int data_get_crudx_ifc(zu_data_ifc *ifc, zu_crudx_ifc **crudx) noexcept {
  return crudx_object::make(crudx, &crudx_ops, object_of(ifc));
}

constexpr zu_data_ifc_ops data_ops = {nullptr, data_ref, data_free, data_get_coll_ifc, data_get_crudx_ifc};

void status_clear(zu_status *) noexcept {}

constexpr zu_status_ops status_ops = {status_clear};

} // namespace

data_object *data_object_new() {
  void *block = qmalloc_named(ZU_DO_AREA, sizeof(data_object));
  if (block == nullptr) throw std::bad_alloc();
  return new (block) data_object{{&data_ops}, 1, {}, nullptr};
}

data_object *data_object::share() {
  count.fetch_add(1, std::memory_order_relaxed);
  return this;
}

void data_object::release() {
  if (count.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  this->~data_object();
  qfree_named(this);
}

on_demand *source_behind(zu_data_ifc *ifc) {
  return ifc != nullptr && ifc->ops == &data_ops ? object_of(ifc)->rest.get() : nullptr;
}

zu_status *empty_status() {
  static zu_status status = {&status_ops};
  return &status;
}

} // namespace store
