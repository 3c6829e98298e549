// The rows of a batch: making their records, and finding the collections to which the records belong.
#include <utility>

#include "coll_node.hpp"
#include "coll_text.hpp"
#include "zu_tovra/internal/report.hpp"
#include "zu_tovra/internal/shortcuts.hpp"

namespace tvr {

namespace {

// Sets the columns as properties. A column named `_coll_uri` replaces the collection URI that is already set.
bool set_columns(zu_do_properties *record, zu_do_ntlist *columns, zu_do_vlist *row) noexcept {
  zu_do_iter column_it = {};
  zu_do_iter value_it = {};
  zu_do_ntlist_iter(columns, &column_it);
  zu_do_vlist_iter(row, &value_it);
  while (zu_do_ntlist_has_next(columns, &column_it) && zu_do_vlist_has_next(row, &value_it)) {
    zu_do_name *name = zu_do_ntcolumn_get_name(zu_do_ntlist_get_next(columns, &column_it));
    zu_do_value *value = zu_do_vlist_get_next(row, &value_it);
    if (name == nullptr) return false;
    if (zu_do_properties_set_value(record, zu_do_name_get_unqualified(name), value) != 0) return false;
  }
  return true;
}

ref<zu_do_properties> copy_row(zu_do_uri *coll_uri, zu_do_ntlist *columns, zu_do_vlist *row) noexcept {
  auto record = ref<zu_do_properties>::adopt(zu_do_properties_new());
  if (!record || zu_do_properties_set_coll_uri(record.get(), ZU_DO_NAME_COLL_URI, coll_uri) != 0) {
    TVR_ERROR("Failed to allocate props");
    return {};
  }
  if (!set_columns(record.get(), columns, row)) return {};
  return record;
}

} // namespace

ref<zu_do_properties> coll_record_from_row(zu_tvr_coll_scratch_data *scratch, zu_do_vlist *row) noexcept {
  zu_do_ntlist *columns = zu_do_vtable_get_ntlist(scratch->vtable);
  auto record = ref<zu_do_properties>::adopt(std::exchange(scratch->last, nullptr));
  if (record && shortcuts.renew != nullptr &&
      shortcuts.renew(record.get(), scratch->coll_uri, columns, row)) {
    return record;
  }
  record.reset();
  if (shortcuts.new_from_row != nullptr) {
    record = ref<zu_do_properties>::adopt(shortcuts.new_from_row(scratch->coll_uri, columns, row));
  }
  return record ? std::move(record) : copy_row(scratch->coll_uri, columns, row); // also traces what is wrong
}

route coll_route(zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx, zu_do_properties *record) noexcept {
  if ((scratch->flags & TVR_COLL_FOR_CACHING) == 0) return route::own;
  int code = 0;
  zu_do_uri *instance = zu_do_properties_get_mr_uri(record, ZU_DO_NAME_URI, &code);
  if (instance == nullptr || code != 0) {
    TVR_ERROR("Failed to get uri from properties");
    return route::no_record;
  }
  TVR_DEBUG("current uri is (%s)", zu_do_uri_get_uri_str(instance));
  coll_text collection;
  if (!collection.take(ctx, instance)) return route::no_record;
  TVR_DEBUG("new coll uri is %s ", collection.get().data());
  // The node's URI may be absolute or relative: the two are compared in its form.
  if (zu_do_uri_is_absolute(scratch->coll_uri)) {
    TVR_DEBUG("absolute coll uri (%s)", collection.get().data());
  } else {
    if (!collection.make_relative()) return route::no_record;
    TVR_DEBUG("relative coll uri  (%s)", collection.get().data());
  }
  if (collection.get() == view_of(scratch->coll_uri)) {
    TVR_DEBUG("found a match");
    return route::own;
  }
  TVR_DEBUG("caching %s", collection.get().data());
  return cursor_cache_insert(ctx, collection.get(), record) ? route::queued : route::refused;
}

} // namespace tvr
