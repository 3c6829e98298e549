// Telling all that a store holds.
#include "store/interfaces.hpp"

namespace {

int tell_path(const store::path_entry &path, zu_store_path_fn tell, void *context) {
  zu_do_vtable *table = zu_do_vtable_new_from_ntlist(zuapi::shape_columns(path.form));
  if (table == nullptr) return ZU_EXHAUSTED;
  const store::run &records = path.records;
  const int code = records.count == 0 ? ZU_OK : zu_do_vtable_add_many(table, records.rows, records.count);
  if (code == ZU_OK) tell(context, path.text.data(), path.text.size(), table);
  zu_do_vtable_deref(table);
  return code;
}

} // namespace

int zu_store_each_path(zu_data_ifc *data, zu_store_path_fn tell, void *context) {
  const auto take = [=](const store::path_entry &path) { return tell_path(path, tell, context); };
  if (store::on_demand *rest = store::source_behind(data)) return rest->each_path(take);
  int code = ZU_OK;
  for (const store::path_entry &path : reinterpret_cast<store::data_object *>(data)->data.paths) {
    if (code == ZU_OK) code = take(path);
  }
  return code;
}
