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

// How many records the building of tables looks ahead.
constexpr uint32_t lookahead = 8;

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
  std::vector<run_builder> builders(data.paths.size());
  for (uint32_t id = 0; id < data.record_count; ++id) {
    run_builder &rows = builders[path_ids[id]];
    path_entry &path = data.paths[path_ids[id]];
    rows.add(id);
    const zu_do_uri *uri = data.uri_of(id);
    const zu_do_uri *first = data.uri_of(rows.first);
    if (is_absolute(uri)) {
      if (path.first_located == no_id) path.first_located = id;
      path.same_locations = path.same_locations &&
                            same_key_names(split_location(uri->view()).location,
                                           split_location(data.uri_of(path.first_located)->view()).location);
    }
    const auto below_location = [](const zu_do_uri *of) {
      return is_absolute(of) ? split_location(of->view()).rest : of->view();
    };
    path.same_keys =
        path.same_keys && (uri == first || same_key_names(below_location(uri), below_location(first)));
  }
  bool scattered = false;
  for (size_t i = 0; i < builders.size(); ++i) {
    data.paths[i].records = builders[i].place(data);
    scattered = scattered || builders[i].scattered;
  }
  for (uint32_t id = 0; scattered && id < data.record_count; ++id) {
    if (builders[path_ids[id]].scattered) append(data.paths[path_ids[id]].records, data.records[id]);
  }
}

// Makes a table of collections, of those records that are added, under the keys that `key_of` gives.
class collections_builder {
public:
  using key_function = collection_key (*)(const zu_do_uri *);

  collections_builder(snapshot &data, collection_table &table, key_function key_of)
      : data_(data), table_(table), key_of_(key_of), last_of_path_(data.paths.size(), no_id) {}

  // Called some records before a record is added: the table is far bigger than the caches.
  void prepare(uint32_t id) {
    const uint32_t hash = key_of_(data_.uri_of(id)).hash();
    hashes_[id % lookahead] = hash;
    table_.by_key.prefetch(hash);
  }
  void add(uint32_t id, uint32_t path) {
    const collection_key key = key_of_(data_.uri_of(id));
    // Records of a path are mostly in the collection of the one before.
    uint32_t &last = last_of_path_[path];
    if (last == no_id || !is_of(last, key)) last = find_or_add(key, hashes_[id % lookahead], path);
    collection &found = collections_[last];
    found.rows.add(id);
    if (found.path != path) found.path = no_id;
    scattered_ = scattered_ || found.rows.scattered;
  }

  // After all records were added once: true when they must be appended once more.
  bool place() {
    table_.entries = array<collection_entry>(collections_.size());
    for (size_t i = 0; i < collections_.size(); ++i) {
      table_.entries[i] = {collections_[i].rows.place(data_), collections_[i].path};
    }
    return scattered_;
  }
  void append_row(uint32_t id) {
    const collection_key key = key_of_(data_.uri_of(id));
    const uint32_t found = find(key, key.hash());
    if (collections_[found].rows.scattered) append(table_.entries[found].records, data_.records[id]);
  }

private:
  struct collection {
    run_builder rows;
    uint32_t path;
  };

  bool is_of(uint32_t i, const collection_key &key) const {
    return key_of_(data_.uri_of(collections_[i].rows.first)) == key;
  }
  uint32_t find(const collection_key &key, uint32_t hash) const {
    return table_.by_key.find(hash, [&](uint32_t i) { return is_of(i, key); });
  }
  // The caller adds a record to it at once: a collection is compared by its first one.
  uint32_t find_or_add(const collection_key &key, uint32_t hash, uint32_t path) {
    uint32_t found = find(key, hash);
    if (found != no_id) return found;
    found = static_cast<uint32_t>(collections_.size());
    collections_.push_back({{}, path});
    table_.by_key.insert(hash, found);
    return found;
  }

  snapshot &data_;
  collection_table &table_;
  key_function key_of_;
  std::vector<collection> collections_;
  std::vector<uint32_t> last_of_path_;
  uint32_t hashes_[lookahead] = {}; // of the records that come next
  bool scattered_ = false;
};

// The collections of the records for which `wanted` holds.
template <class Wanted>
void build_collections(snapshot &data, const uint32_t *path_ids, collection_table &table,
                       collections_builder::key_function key_of, Wanted wanted) {
  collections_builder builder(data, table, key_of);
  const auto count = static_cast<uint32_t>(data.record_count);
  const auto prepare = [&](uint32_t id) {
    if (id < count && wanted(data.uri_of(id))) builder.prepare(id);
  };
  for (uint32_t id = 0; id + 1 < lookahead; ++id) prepare(id);
  for (uint32_t id = 0; id < count; ++id) {
    prepare(id + lookahead - 1);
    if (wanted(data.uri_of(id))) builder.add(id, path_ids[id]);
  }
  if (!builder.place()) return;
  for (uint32_t id = 0; id < data.record_count; ++id) {
    if (wanted(data.uri_of(id))) builder.append_row(id);
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

std::optional<uint32_t> build_texts(snapshot &data) {
  data.by_text.reserve(data.record_count);
  for (uint32_t id = 0; id < data.record_count; ++id) {
    if (id + lookahead < data.record_count) data.by_text.prefetch(data.uri_of(id + lookahead)->hash);
    const zu_do_uri *uri = data.uri_of(id);
    if (data.find_own(uri) != no_id) return id;
    data.by_text.insert(uri->hash, id);
  }
  return std::nullopt;
}

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
