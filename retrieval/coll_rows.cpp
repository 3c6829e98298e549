// Records of a batch's rows.
#include <cstring>

#include "coll_node.hpp"
#include "zu_tovra/internal/report.hpp"

namespace tvr {

namespace {

const char *column_name(zu_do_ntcolumn *column) noexcept {
  zu_do_name *name = zu_do_ntcolumn_get_name(column);
  return name != nullptr ? zu_do_name_get_unqualified(name) : nullptr;
}

// The columns as properties over the collection URI, which a column of its name replaces.
bool set_columns(zu_do_properties *record, zu_do_ntlist *columns, zu_do_vlist *row) noexcept {
  zu_do_iter column_it = {};
  zu_do_iter value_it = {};
  zu_do_ntlist_iter(columns, &column_it);
  zu_do_vlist_iter(row, &value_it);
  while (zu_do_ntlist_has_next(columns, &column_it) && zu_do_vlist_has_next(row, &value_it)) {
    const char *name = column_name(zu_do_ntlist_get_next(columns, &column_it));
    zu_do_value *value = zu_do_vlist_get_next(row, &value_it);
    if (name == nullptr || zu_do_properties_set_value(record, name, value) != 0) return false;
  }
  return true;
}

ref<zu_do_properties> copy_row(zu_tvr_coll_scratch_data *scratch, zu_do_vlist *row) noexcept {
  auto record = ref<zu_do_properties>::adopt(zu_do_properties_new());
  if (!record || zu_do_properties_set_coll_uri(record.get(), ZU_DO_NAME_COLL_URI, scratch->coll_uri) != 0) {
    TVR_ERROR("Failed to allocate props");
    return {};
  }
  if (!set_columns(record.get(), zu_do_vtable_get_ntlist(scratch->vtable), row)) return {};
  return record;
}

// A view of the row; none when only the plain steps can tell what the record is.
ref<zu_do_properties> view_row(zu_tvr_coll_scratch_data *scratch, zu_do_vlist *row) noexcept {
  if (scratch->plain_rows != 0 || debugging()) return {};
  auto record = ref<zu_do_properties>::adopt(
      zu_do_properties_new_from_row(zu_do_vtable_get_ntlist(scratch->vtable), row));
  if (!record || zu_do_properties_set_coll_uri(record.get(), ZU_DO_NAME_COLL_URI, scratch->coll_uri) != 0) {
    return {};
  }
  return record;
}

} // namespace

void coll_start_rows(zu_tvr_coll_scratch_data *scratch) noexcept {
  scratch->plain_rows = 0;
  zu_do_ntlist *columns = zu_do_vtable_get_ntlist(scratch->vtable);
  zu_do_iter it = {};
  zu_do_ntlist_iter(columns, &it);
  while (zu_do_ntlist_has_next(columns, &it)) {
    const char *name = column_name(zu_do_ntlist_get_next(columns, &it));
    if (name == nullptr || std::strcmp(name, ZU_DO_NAME_COLL_URI) == 0) scratch->plain_rows = 1;
  }
}

ref<zu_do_properties> coll_record_from_row(zu_tvr_coll_scratch_data *scratch, zu_do_vlist *row) noexcept {
  auto record = view_row(scratch, row);
  if (!record) record = copy_row(scratch, row);
  return record;
}

} // namespace tvr
