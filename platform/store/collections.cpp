// The collection interface: opens cursors, and keeps what has been requested for caching.
#include "store/interfaces.hpp"

namespace store {

namespace {

// Asks for the instances of all collections of a path and name at once.
constexpr uint64_t for_caching = 0x10000000;

struct caching_request {
  uint64_t flags;
  uint32_t path;
};

struct coll_object {
  zu_coll_ifc ifc; // first
  uint32_t count;
  uint32_t request_count;
  uint32_t request_capacity;
  caching_request *requests; // those that were answered with all instances
  data_object *data;
};

coll_object *object_of(zu_coll_ifc *ifc) {
  return reinterpret_cast<coll_object *>(ifc);
}

int coll_ref(zu_coll_ifc *ifc) noexcept {
  ++object_of(ifc)->count;
  return ZU_OK;
}

int coll_free(zu_coll_ifc *ifc) noexcept {
  coll_object *object = object_of(ifc);
  if (--object->count != 0) return ZU_OK;
  data_object_release(object->data);
  qfree_named(object->requests);
  qfree_named(object);
  return ZU_OK;
}

bool was_requested(const coll_object *object, const caching_request &request) {
  for (uint32_t i = 0; i < object->request_count; ++i) {
    const caching_request &earlier = object->requests[i];
    if (earlier.path == request.path && earlier.flags == request.flags) return true;
  }
  return false;
}

// Makes room for one more request; false when memory is exhausted.
bool reserve_request(coll_object *object) {
  if (object->request_count < object->request_capacity) return true;
  const uint32_t capacity = object->request_capacity == 0 ? 8 : object->request_capacity * 2;
  void *grown = qrealloc_named(ZU_DO_AREA, object->requests, capacity * sizeof(caching_request));
  if (grown == nullptr) return false;
  object->requests = static_cast<caching_request *>(grown);
  object->request_capacity = capacity;
  return true;
}

// A request for caching: the first one for a path and name (which are a path of records) that has
// instances is answered with all records of that path, later ones with the collection's own.
int open_for_caching(coll_object *object, zu_do_uri *uri, zu_do_nvlist *query, zu_do_nlist *order_by,
                     uint64_t flags, zu_cursor **cursor) {
  const snapshot &data = object->data->data;
  if (zu_do_uri_get_coll_type(uri) != 1) return ZU_REFUSED;
  const collection_entry *own = data.find_collection(uri);
  if (own == nullptr) return cursor_object_new(object->data, answer(), true, cursor);

  // Records of several paths are in one collection only below the root, which has no sibling.
  const caching_request request = {flags, own->path};
  const bool first = own->path != no_id && !was_requested(object, request);
  if (first && !reserve_request(object)) return ZU_EXHAUSTED;
  zuapi::shape *form = own->path == no_id ? nullptr : data.paths[own->path].form;
  answer found = answer::of_run(first ? data.paths[own->path].records : own->records, form);
  int code = refine_rows(query, order_by, found);
  if (code == ZU_OK) code = cursor_object_new(object->data, std::move(found), true, cursor);
  if (code == ZU_OK && first) object->requests[object->request_count++] = request;
  return code;
}

// All fields are always answered: the list of fields says nothing here.
int coll_open_cursor(zu_coll_ifc *ifc, zu_do_uri *uri, zu_do_nlist *, zu_do_nvlist *query,
                     zu_do_nlist *order_by, uint64_t flags, zu_cursor **cursor) noexcept {
  coll_object *object = object_of(ifc);
  if (uri == nullptr || cursor == nullptr) return ZU_FAILED;
  *cursor = nullptr;
  if ((flags & for_caching) != 0) return open_for_caching(object, uri, query, order_by, flags, cursor);
  answer found;
  int code = select_rows(object->data->data, uri, found);
  if (code == ZU_OK) code = refine_rows(query, order_by, found);
  return code == ZU_OK ? cursor_object_new(object->data, std::move(found), false, cursor) : code;
}

constexpr zu_coll_ifc_ops coll_ops = {nullptr, coll_ref, coll_free, coll_open_cursor};

} // namespace

int coll_object_new(data_object *data, zu_coll_ifc **coll) {
  auto *object = object_new<coll_object>();
  if (object == nullptr) return ZU_EXHAUSTED;
  object->ifc.ops = &coll_ops;
  object->count = 1;
  object->data = data_object_share(data);
  *coll = &object->ifc;
  return ZU_OK;
}

} // namespace store
