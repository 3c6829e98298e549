// Goes through all paths of a store with their records.
#include <algorithm>

#include "store/interfaces.hpp"

namespace {

void tell_path(const store::path_entry &path, zu_store_path_fn tell, void *context) {
  const infra::owned<zu_do_vtable, zu_do_vtable_deref> table(
      zu_do_vtable_new_from_ntlist(zuapi::shape_columns(path.form)));
  const store::run &records = path.records;
  if (table == nullptr || zu_do_vtable_add_many(table.get(), records.rows, records.count) != ZU_OK) {
    throw std::bad_alloc();
  }
  tell(context, path.text.data(), path.text.size(), table.get());
}

} // namespace

int zu_store_each_path(zu_data_ifc *data, zu_store_path_fn tell, void *context) {
  return store::answered([=] {
    const auto take = [=](const store::path_entry &path) { tell_path(path, tell, context); };
    if (store::on_demand *rest = store::source_behind(data)) {
      rest->each_path(take);
    } else {
      std::ranges::for_each(reinterpret_cast<store::data_object *>(data)->data.paths, take);
    }
    return ZU_OK;
  });
}
