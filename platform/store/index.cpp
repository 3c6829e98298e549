// How the tables of a snapshot are looked up.
#include "store/index_builder.hpp"

namespace store {

snapshot::~snapshot() {
  for (size_t id = 0; id < record_count; ++id) zuapi::uri_drop(record_of(records[id])->uri);
  for (size_t i = 0; i < shapes.size(); ++i) zuapi::shape_free(shapes[i]);
  for (size_t i = 0; i < names.size(); ++i) zu_do_name_deref(names[i]);
}

uint32_t snapshot::find_own(const zu_do_uri *uri) const {
  return by_text.find(uri->hash, [&](uint32_t id) { return uri_of(id)->view() == uri->view(); });
}

uint32_t snapshot::find_first_located(const zu_do_uri *uri) const {
  return by_relative_text.find(uri->hash,
                               [&](uint32_t id) { return uri_of(id)->relative_view() == uri->view(); });
}

uint32_t snapshot::find(const zu_do_uri *uri) const {
  const uint32_t own = find_own(uri);
  if ((uri->flags & zuapi::uri_absolute) != 0) return own;
  const uint32_t located = find_first_located(uri);
  return own < located ? own : located;
}

const path_entry *snapshot::find_path(std::string_view path) const {
  const uint32_t found = path_by_text.find(zuapi::hash_text(path.data(), path.size()),
                                           [&](uint32_t i) { return paths[i].text == path; });
  return found == no_id ? nullptr : &paths[found];
}

const collection_entry *snapshot::find_collection(const zu_do_uri *uri) const {
  const bool absolute = (uri->flags & zuapi::uri_absolute) != 0;
  const collection_table &table = absolute ? own_collections : any_collections;
  const collection_key key = {uri->view().substr(0, uri->end), uri->view().substr(uri->end + 1)};
  const uint32_t found = table.by_key.find(key.hash(), [&](uint32_t i) {
    const zu_do_uri *sample = record_of(table.entries[i].records.rows[0])->uri;
    return (absolute ? own_key(sample) : any_key(sample)) == key;
  });
  return found == no_id ? nullptr : &table.entries[found];
}

} // namespace store
