// The collection interface: opens cursors, and keeps what has been requested for caching.
#include <algorithm>
#include <vector>

#include "store/interfaces.hpp"

namespace store {

namespace {

// Asks for the instances of all collections of a path and name at once.
constexpr uint64_t for_caching = 0x10000000;

struct caching_request {
  uint64_t flags;
  uint32_t path;

  bool operator==(const caching_request &) const = default;
};

struct coll_object : counted_object<coll_object, zu_coll_ifc> {
  using counted_object::counted_object;
  std::vector<caching_request> requests; // those that were answered with all instances
};

// Makes room for one more request; false when memory is exhausted.
bool reserve_request(coll_object *object) {
  try {
    object->requests.reserve(object->requests.size() + 1);
  } catch (const std::bad_alloc &) {
    return false;
  }
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
  const bool asked = std::ranges::find(object->requests, request) != object->requests.end();
  const bool first = own->path != no_id && !asked;
  if (first && !reserve_request(object)) return ZU_EXHAUSTED;
  zuapi::shape *form = own->path == no_id ? nullptr : data.paths[own->path].form;
  answer found = answer::of_run(first ? data.paths[own->path].records : own->records, form);
  int code = refine_rows(query, order_by, found);
  if (code == ZU_OK) code = cursor_object_new(object->data, std::move(found), true, cursor);
  if (code == ZU_OK && first) object->requests.push_back(request);
  return code;
}

// All fields are always answered: the list of fields says nothing here.
int coll_open_cursor(zu_coll_ifc *ifc, zu_do_uri *uri, zu_do_nlist *, zu_do_nvlist *query,
                     zu_do_nlist *order_by, uint64_t flags, zu_cursor **cursor) noexcept {
  coll_object *object = coll_object::of(ifc);
  if (uri == nullptr || cursor == nullptr) return ZU_FAILED;
  *cursor = nullptr;
  if ((flags & for_caching) != 0) return open_for_caching(object, uri, query, order_by, flags, cursor);
  answer found;
  int code = select_rows(object->data->data, uri, found);
  if (code == ZU_OK) code = refine_rows(query, order_by, found);
  return code == ZU_OK ? cursor_object_new(object->data, std::move(found), false, cursor) : code;
}

constexpr zu_coll_ifc_ops coll_ops = {nullptr, coll_object::ref, coll_object::free, coll_open_cursor};

} // namespace

int coll_object_new(data_object *data, zu_coll_ifc **coll) {
  return coll_object::make(coll, &coll_ops, data);
}

} // namespace store
