// The tables of a snapshot: how they are built and looked up.
#include <vector>

#include "store/path.hpp"
#include "store/snapshot.hpp"

namespace store {

namespace {

// The parts of a collection's key.
struct collection_key {
  std::string_view parent;
  std::string_view name;

  bool operator==(const collection_key &) const = default;
  uint32_t hash() const {
    return zuapi::hash_text(parent.data(), parent.size()) * 31 + zuapi::hash_text(name.data(), name.size());
  }
};

// Of the collection that a record is an instance of, in its absolute form if the record has one.
collection_key own_key(const zu_do_uri *uri) {
  const std::string_view text = uri->view();
  return {text.substr(0, uri->parent), text.substr(uri->name, uri->name_end - uri->name)};
}

// The same in relative form. The relative form of "//" is "/".
collection_key any_key(const zu_do_uri *uri) {
  collection_key key = own_key(uri);
  if ((uri->flags & zuapi::uri_absolute) == 0) return key;
  const bool located = uri->segment_count > 1 && uri->relative < uri->parent;
  key.parent = located ? key.parent.substr(uri->relative) : "/";
  return key;
}

bool is_absolute(const zu_do_uri *uri) {
  return (uri->flags & zuapi::uri_absolute) != 0;
}

// A record in a location; a location record itself is in none.
bool is_located(const zu_do_uri *uri) {
  return is_absolute(uri) && uri->segment_count > 1;
}

// Collects runs while records come by in store order. Records that stand side by side in the snapshot need
// no rows of their own.
struct run_builder {
  uint32_t first = 0;
  uint32_t count = 0;
  bool scattered = false;

  void add(uint32_t id) {
    if (count == 0) first = id;
    scattered = scattered || id != first + count;
    ++count;
  }
  run place(snapshot &data) const {
    if (count == 0) return {nullptr, 0};
    if (!scattered) return {data.records.data() + first, count};
    return {static_cast<zu_do_vlist **>(data.memory.take(count * sizeof(zu_do_vlist *))), 0};
  }
};

// Adds a row to a run that has rows of its own: those are in no array of the snapshot's.
void append(run &rows, zu_do_vlist *row) {
  const_cast<zu_do_vlist **>(rows.rows)[rows.count++] = row;
}

void build_paths(snapshot &data, const uint32_t *path_ids) {
  struct path_builder {
    run_builder rows;
    uint32_t first_located = no_id;
  };
  std::vector<path_builder> builders(data.paths.size());
  for (uint32_t id = 0; id < data.record_count; ++id) {
    path_builder &builder = builders[path_ids[id]];
    path_entry &path = data.paths[path_ids[id]];
    builder.rows.add(id);
    const zu_do_uri *uri = data.uri_of(id);
    const zu_do_uri *first = data.uri_of(builder.rows.first);
    if (is_absolute(uri)) {
      if (builder.first_located == no_id) builder.first_located = id;
      path.same_locations =
          path.same_locations &&
          same_key_names(split_location(uri->view()).location,
                         split_location(data.uri_of(builder.first_located)->view()).location);
    }
    const auto below_location = [](const zu_do_uri *of) {
      return is_absolute(of) ? split_location(of->view()).rest : of->view();
    };
    path.same_keys =
        path.same_keys && (uri == first || same_key_names(below_location(uri), below_location(first)));
  }
  bool scattered = false;
  for (size_t i = 0; i < builders.size(); ++i) {
    data.paths[i].records = builders[i].rows.place(data);
    scattered = scattered || builders[i].rows.scattered;
  }
  for (uint32_t id = 0; scattered && id < data.record_count; ++id) {
    if (builders[path_ids[id]].rows.scattered) append(data.paths[path_ids[id]].records, data.records[id]);
  }
}

// The collections under the keys that `key_of` gives, of the records that `wanted` tells.
template <class Key_of, class Wanted>
void build_collections(snapshot &data, const uint32_t *path_ids, collection_table &table, Key_of key_of,
                       Wanted wanted) {
  struct collection_builder {
    run_builder rows;
    uint32_t path;
  };
  std::vector<collection_builder> builders;
  const auto find = [&](const collection_key &key, uint32_t hash) {
    return table.by_key.find(hash,
                             [&](uint32_t i) { return key_of(data.uri_of(builders[i].rows.first)) == key; });
  };
  bool scattered = false;
  for (uint32_t id = 0; id < data.record_count; ++id) {
    const zu_do_uri *uri = data.uri_of(id);
    if (!wanted(uri)) continue;
    const collection_key key = key_of(uri);
    const uint32_t hash = key.hash();
    uint32_t found = find(key, hash);
    if (found == no_id) {
      found = static_cast<uint32_t>(builders.size());
      builders.push_back({{}, path_ids[id]});
      table.by_key.insert(hash, found);
    }
    builders[found].rows.add(id);
    if (builders[found].path != path_ids[id]) builders[found].path = no_id;
    scattered = scattered || builders[found].rows.scattered;
  }
  table.entries = array<collection_entry>(builders.size());
  for (size_t i = 0; i < builders.size(); ++i) {
    table.entries[i] = {builders[i].rows.place(data), builders[i].path};
  }
  for (uint32_t id = 0; scattered && id < data.record_count; ++id) {
    const zu_do_uri *uri = data.uri_of(id);
    if (!wanted(uri)) continue;
    const collection_key key = key_of(uri);
    const uint32_t found = find(key, key.hash());
    if (builders[found].rows.scattered) append(table.entries[found].records, data.records[id]);
  }
}

void build_relative_texts(snapshot &data) {
  data.next_relative = array<uint32_t>(data.record_count);
  std::vector<uint32_t> last(data.record_count);
  for (uint32_t id = 0; id < data.record_count; ++id) {
    const zu_do_uri *uri = data.uri_of(id);
    if (!is_located(uri)) continue;
    const std::string_view text = uri->relative_view();
    const uint32_t hash = zuapi::hash_text(text.data(), text.size());
    const uint32_t first =
        data.by_relative_text.find(hash, [&](uint32_t i) { return data.uri_of(i)->relative_view() == text; });
    if (first == no_id) {
      data.by_relative_text.insert(hash, id);
      last[id] = id;
    } else {
      data.next_relative[last[first]] = id + 1;
      last[first] = id;
    }
  }
}

} // namespace

void build_index(snapshot &data, const uint32_t *path_ids) {
  build_paths(data, path_ids);
  bool any_absolute = false;
  for (uint32_t id = 0; id < data.record_count && !any_absolute; ++id)
    any_absolute = is_absolute(data.uri_of(id));
  const auto has_parent = [](const zu_do_uri *uri) { return uri->segment_count != 0; };
  build_collections(data, path_ids, data.any_collections, any_key, has_parent);
  if (!any_absolute) return;
  build_collections(data, path_ids, data.own_collections, own_key,
                    [&](const zu_do_uri *uri) { return has_parent(uri) && is_absolute(uri); });
  build_relative_texts(data);
}

snapshot::~snapshot() {
  for (size_t id = 0; id < record_count; ++id) zuapi::uri_drop(record_of(records[id])->uri);
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
  if (is_absolute(uri)) return own;
  const uint32_t located = find_first_located(uri);
  return own < located ? own : located;
}

const path_entry *snapshot::find_path(std::string_view path) const {
  const uint32_t found = path_by_text.find(zuapi::hash_text(path.data(), path.size()),
                                           [&](uint32_t i) { return paths[i].text == path; });
  return found == no_id ? nullptr : &paths[found];
}

const collection_entry *snapshot::find_collection(const zu_do_uri *uri) const {
  const bool absolute = is_absolute(uri);
  const collection_table &table = absolute ? own_collections : any_collections;
  const collection_key key = {uri->view().substr(0, uri->end), uri->view().substr(uri->end + 1)};
  const uint32_t found = table.by_key.find(key.hash(), [&](uint32_t i) {
    const zu_do_uri *sample = record_of(table.entries[i].records.rows[0])->uri;
    return (absolute ? own_key(sample) : any_key(sample)) == key;
  });
  return found == no_id ? nullptr : &table.entries[found];
}

} // namespace store
