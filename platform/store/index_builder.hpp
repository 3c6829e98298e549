// Builds the tables of a snapshot while its records are read.
#pragma once

#include <vector>

#include "store/snapshot.hpp"

namespace store {

// The parts of a collection's key.
struct collection_key {
  std::string_view parent;
  std::string_view name;

  bool operator==(const collection_key &) const = default;
  uint32_t hash() const {
    return infra::hash_text(parent.data(), parent.size()) * 31 + infra::hash_text(name.data(), name.size());
  }
};

// The key of the collection to which a record belongs, in absolute form if the record has one.
collection_key own_key(const zu_do_uri *uri);
// The same in relative form. The relative form of "//" is "/".
collection_key any_key(const zu_do_uri *uri);

// The runs of groups of the snapshot's records; `group_of` has the group of each record, or no_id. A group
// whose records are consecutive needs no rows of its own. Throws std::bad_alloc.
std::vector<run> runs_of(snapshot &data, const std::vector<uint32_t> &group_of, size_t groups);

// Makes a table of the collections of the records that are added, under the keys that `key_of` gives. All
// functions throw std::bad_alloc.
class collections_builder {
public:
  using key_function = collection_key (*)(const zu_do_uri *);

  collections_builder(const std::vector<zu_do_uri *> &uris, collection_table &table, key_function key_of)
      : uris_(uris), table_(table), key_of_(key_of) {}

  // Called some time before the record is added, to load the
  // slot into the processor's cache: the table is far bigger
  // than the cache.
  void prepare(const zu_do_uri *uri, uint32_t path);
  void add(const zu_do_uri *uri, uint32_t id, uint32_t path);
  // Called after all records have been added and placed.
  void place(snapshot &data);

private:
  struct collection {
    uint32_t first; // record
    uint32_t path;
  };

  bool is_of(uint32_t i, const collection_key &key) const {
    return key_of_(uris_[collections_[i].first]) == key;
  }
  uint32_t find_or_add(const collection_key &key, uint32_t id, uint32_t path);

  const std::vector<zu_do_uri *> &uris_;
  collection_table &table_;
  key_function key_of_;
  std::vector<collection> collections_;
  std::vector<uint32_t> last_of_path_;
  std::vector<uint32_t> of_record_; // the collection of each record, or no_id
  // For the next record: whether it is in the same collection as the record before it on its path, or else
  // the hash of its key.
  bool same_as_last_ = false;
  uint32_t hash_ = 0;
};

// All tables of a snapshot, from the URIs of its records in store order. All functions throw std::bad_alloc.
class index_builder {
public:
  explicit index_builder(snapshot &data)
      : data_(data), any_(uris_, data.any_collections, any_key), own_(uris_, data.own_collections, own_key) {}

  // Called some time before the URI is added.
  void prepare(const zu_do_uri *uri, uint32_t path);
  // False when an earlier record has the same text.
  bool add(zu_do_uri *uri, uint32_t path);
  uint32_t count() const { return static_cast<uint32_t>(uris_.size()); }
  zu_do_uri *uri(uint32_t id) const { return uris_[id]; }
  uint32_t path(uint32_t id) const { return paths_[id]; }

  // Called when all records are in the snapshot.
  void finish();

private:
  void build_relative_texts();

  snapshot &data_;
  std::vector<zu_do_uri *> uris_;
  std::vector<uint32_t> paths_;
  collections_builder any_;
  collections_builder own_;
  bool any_absolute_ = false;
};

} // namespace store
