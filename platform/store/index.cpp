// Looks up records and collections in the tables of a snapshot.
#include "store/index_builder.hpp"

namespace store {

snapshot::~snapshot() {
  for (zu_do_vlist *row : records) zuapi::uri_drop(zuapi::row_uri(row));
  for (zuapi::shape *form : shapes) zuapi::shape_free(form);
  for (zu_do_name *name : names) zu_do_name_deref(name);
}

uint32_t snapshot::find_own(const zu_do_uri *uri) const {
  return by_text.find(uri->hash, [&](uint32_t id) { return uri_of(id)->view() == uri->view(); });
}

uint32_t snapshot::find_first_located(const zu_do_uri *uri) const {
  return by_relative_text.find(uri->hash,
                               [&](uint32_t id) { return uri_of(id)->relative_text() == uri->view(); });
}

uint32_t snapshot::find(const zu_do_uri *uri) const {
  const uint32_t own = find_own(uri);
  if (uri->is_absolute()) return own;
  const uint32_t located = find_first_located(uri);
  return own < located ? own : located;
}

const path_entry *snapshot::find_path(std::string_view path) const {
  const uint32_t found = path_by_text.find(infra::hash_text(path.data(), path.size()),
                                           [&](uint32_t i) { return paths[i].text == path; });
  return found == no_id ? nullptr : &paths[found];
}

const collection_entry *snapshot::find_collection(const zu_do_uri *uri) const {
  const bool absolute = uri->is_absolute();
  const collection_table &table = absolute ? own_collections : any_collections;
  const collection_key key = {uri->path(), uri->query()};
  const uint32_t found = table.by_key.find(key.hash(), [&](uint32_t i) {
    const zu_do_uri *sample = zuapi::row_uri(table.entries[i].records.rows[0]);
    return (absolute ? own_key(sample) : any_key(sample)) == key;
  });
  return found == no_id ? nullptr : &table.entries[found];
}

} // namespace store
