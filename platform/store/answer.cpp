// Finds the rows of a snapshot that a collection URI names.
#include "store/answer.hpp"

#include "store/path.hpp"

namespace store {

namespace {

uri_halves halves_of(const zu_do_uri *uri) {
  return {uri->path(), uri->is_absolute()};
}

// True when the URI has every key of the path's records: then its text is that of one record, or of none.
bool gives_all_keys(const snapshot &data, const path_entry &path, const zu_do_uri *uri) {
  const uri_halves asked = halves_of(uri);
  const uri_halves sample = halves_of(zuapi::row_uri(path.records.rows[0]));
  if (!path.same_keys || !same_key_names(asked.relative, sample.relative)) return false;
  if (!uri->is_absolute()) return true;
  if (!path.same_locations || path.first_located == no_id) return false;
  return same_key_names(asked.location, halves_of(data.uri_of(path.first_located)).location);
}

// The records of a URI without a query, or with a query of type 2: the URI has their path in full.
void look_up(const snapshot &data, zu_do_uri *uri, answer &found) {
  if (zu_do_uri_get_coll_type(uri) != 0) uri = zu_do_uri_get_parent_uri(uri);
  if (uri == nullptr) throw std::bad_alloc();
  auto &rows = found.pick();
  if (!uri->is_absolute()) {
    data.find_all_relative(uri, [&](uint32_t id) { rows.push_back(data.records[id]); });
  } else if (const uint32_t id = data.find(uri); id != no_id) {
    rows.push_back(data.records[id]);
  }
}

void scan(const path_entry &path, const zu_do_uri *uri, answer &found) {
  const uri_halves asked = halves_of(uri);
  auto &rows = found.pick();
  for (uint32_t i = 0; i < path.records.count; ++i) {
    zu_do_vlist *row = path.records.rows[i];
    const uri_halves stored = halves_of(zuapi::row_uri(row));
    const bool located = asked.location.empty() || !stored.location.empty();
    if (located && keys_match(asked.location, stored.location) &&
        keys_match(asked.relative, stored.relative)) {
      rows.push_back(row);
    }
  }
}

void keep_query(const zu_do_uri *uri, answer &found) {
  const std::string_view query = uri->query();
  const size_t split = query.find('=');
  infra::string text(query.substr(split + 1));
  text.resize(zuapi::uri_decode_value(query.substr(split + 1), text.data()));
  keep_rows_with(query.substr(0, split), text, found);
}

} // namespace

answer select_rows(const snapshot &data, zu_do_uri *uri) {
  if (zu_do_uri_get_coll_type(uri) == 1) {
    const collection_entry *collection = data.find_collection(uri);
    if (collection == nullptr) return {};
    return {collection->records, collection->path == no_id ? nullptr : data.paths[collection->path].form};
  }
  const path_entry *path = data.find_path(path_text(uri->path(), uri->is_absolute()));
  if (path == nullptr) return {};
  answer found({nullptr, 0}, path->form);
  if (path->records.count == 0) return found;

  if (gives_all_keys(data, *path, uri)) {
    look_up(data, uri, found);
  } else if (!uri->is_absolute() && uri->path().find(';') == std::string_view::npos) {
    found = answer(path->records, path->form);
  } else {
    scan(*path, uri, found);
  }
  if (zu_do_uri_get_coll_type(uri) == 2) keep_query(uri, found);
  return found;
}

} // namespace store
