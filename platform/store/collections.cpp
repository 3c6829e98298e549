// The collection interface: opens cursors, and remembers the requests for caching.
#include <algorithm>
#include <vector>

#include "store/interfaces.hpp"
#include "store/path.hpp"

namespace store {

namespace {

// A flag of requests: the instances of all collections of a path and name are wanted at once.
constexpr uint64_t for_caching = 0x10000000;

struct caching_request {
  uint64_t flags;
  std::string_view path;

  bool operator==(const caching_request &) const = default;
};

struct coll_object : counted_object<coll_object, zu_coll_ifc> {
  using counted_object::counted_object;
  std::vector<caching_request> requests; // the ones that were answered with all instances
  std::vector<std::string> narrowed;     // of a source: paths of which a query asked for a part
};

// The path of a collection's instances: the URI without keys.
std::string path_below(const zu_do_uri *uri) {
  return path_text(uri->path(), uri->is_absolute());
}

// True below a list of which only some records were asked for. There a source gives each collection its own
// records: with the records of all parents, rendering a part of a device would read the whole device.
bool is_below_narrowed(const coll_object &object, const zu_do_uri *uri) {
  if (object.narrowed.empty()) return false;
  const std::string path = path_below(uri) + "/";
  return std::ranges::any_of(object.narrowed,
                             [&](const std::string &each) { return path.starts_with(each); });
}

void note_narrowed(coll_object &object, zu_do_uri *uri) {
  std::string path = path_below(uri);
  if (zu_do_uri_get_coll_type(uri) == 1) path.append("/").append(uri->query());
  path += "/";
  if (std::ranges::find(object.narrowed, path) == object.narrowed.end()) {
    object.narrowed.push_back(std::move(path));
  }
}

// A request for caching: the first one for a path and name (which are a path of records) that has
// instances is answered with all records of that path, later ones with the collection's own.
int open_for_caching(coll_object &object, zu_do_uri *uri, zu_do_nvlist *query, zu_do_nlist *order_by,
                     uint64_t flags, zu_cursor **cursor) {
  const snapshot &data = object.data->part_for(uri, on_demand::need::whole_path, nullptr);
  const collection_entry *own = data.find_collection(uri);
  if (own == nullptr) return cursor_object_new(object.data, answer(), true, cursor);

  // Only a collection below the root has records of several paths, and it has no sibling.
  const path_entry *path = own->path == no_id ? nullptr : &data.paths[own->path];
  const caching_request request = {flags, path != nullptr ? path->text : std::string_view()};
  const bool first = path != nullptr && std::ranges::find(object.requests, request) == object.requests.end();
  if (first) object.requests.reserve(object.requests.size() + 1);
  answer found(first ? path->records : own->records, path != nullptr ? path->form : nullptr);
  refine_rows(query, order_by, found);
  const int code = cursor_object_new(object.data, std::move(found), true, cursor);
  if (code == ZU_OK && first) object.requests.push_back(request);
  return code;
}

// The list of fields is not used: the answer always has all fields.
int coll_open_cursor(zu_coll_ifc *ifc, zu_do_uri *uri, zu_do_nlist *, zu_do_nvlist *query,
                     zu_do_nlist *order_by, uint64_t flags, zu_cursor **cursor) noexcept {
  coll_object &object = *coll_object::of(ifc);
  if (uri == nullptr || cursor == nullptr) return ZU_FAILED;
  *cursor = nullptr;
  const bool caching = (flags & for_caching) != 0;
  if (caching && zu_do_uri_get_coll_type(uri) != 1) return ZU_REFUSED;
  return answered([&] {
    if (caching && !is_below_narrowed(object, uri)) {
      return open_for_caching(object, uri, query, order_by, flags, cursor);
    }
    if (object.data->rest != nullptr && zu_do_nvlist_get_len(query) != 0) note_narrowed(object, uri);
    answer found = select_rows(object.data->part_for(uri, on_demand::need::instances, query), uri);
    refine_rows(query, order_by, found);
    return cursor_object_new(object.data, std::move(found), caching, cursor);
  });
}

constexpr zu_coll_ifc_ops coll_ops = {nullptr, coll_object::ref, coll_object::free, coll_open_cursor};

} // namespace

int coll_object_new(data_object *data, zu_coll_ifc **coll) {
  return coll_object::make(coll, &coll_ops, data);
}

} // namespace store
