// A snapshot: the records of one data file, frozen, and the tables that find them.
#pragma once

#include <string_view>
#include <vector>

#include "infra/hash_index.hpp"
#include "zuapi/frozen.hpp"

namespace store {

// Consecutive rows in store order.
struct run {
  zu_do_vlist *const *rows;
  uint32_t count;
};

inline constexpr uint32_t no_id = UINT32_MAX;

// The records of one path.
struct path_entry {
  std::string_view text;
  zuapi::shape *form;
  run records;
  bool same_keys;         // the records' URIs have the same key names in the same places, locations left out
  bool same_locations;    // so have the location segments of those that have one
  uint32_t first_located; // the id of the first that has one, or no_id
};

// The instances of one collection `parent?name`.
struct collection_entry {
  run records;
  uint32_t path; // no_id: the records are of several paths
};

// Ids by the hashes of their texts. Throws std::bad_alloc.
struct id_table : infra::hash_index<uint32_t, no_id> {
  void insert(uint32_t hash, uint32_t id) {
    if (!hash_index::insert(hash, id)) throw std::bad_alloc();
  }
};

// The instances of collections, found by the texts of parent and name.
struct collection_table {
  std::vector<collection_entry> entries;
  id_table by_key;
};

struct snapshot {
  snapshot() = default;
  ~snapshot();
  snapshot(const snapshot &) = delete;
  snapshot &operator=(const snapshot &) = delete;

  // The record with that canonical URI; for a relative URI the first in store order in any location. no_id
  // when there is none. Ids number the records in store order, from 0.
  uint32_t find(const zu_do_uri *uri) const;
  // The record with exactly that canonical text.
  uint32_t find_own(const zu_do_uri *uri) const;
  // All records of a relative URI, in store order: calls `use(id)`.
  template <class Use>
  void find_all_relative(const zu_do_uri *uri, Use &&use) const;
  const path_entry *find_path(std::string_view path) const;
  // The collection of a URI of type 1, or null when it has no instances.
  const collection_entry *find_collection(const zu_do_uri *uri) const;

  const zu_do_uri *uri_of(uint32_t id) const { return zuapi::row_uri(records[id]); }

  infra::arena memory;
  std::vector<zu_do_name *> names;    // a reference on each name of a shape
  std::vector<zuapi::shape *> shapes; // of the paths
  std::vector<zu_do_vlist *> records;
  std::vector<path_entry> paths;
  id_table path_by_text;
  id_table by_text;
  // For records in a location: the first one with each relative text, and for each the next one with the same
  // text (id + 1; 0: no next one).
  id_table by_relative_text;
  std::vector<uint32_t> next_relative;
  collection_table own_collections; // of absolute URIs
  collection_table any_collections; // of relative URIs, in every location and without one

private:
  uint32_t find_first_located(const zu_do_uri *uri) const;
};

template <class Use>
void snapshot::find_all_relative(const zu_do_uri *uri, Use &&use) const {
  uint32_t without = find_own(uri);
  uint32_t located = find_first_located(uri);
  while (without != no_id || located != no_id) {
    if (without < located) {
      use(without);
      without = no_id;
    } else {
      use(located);
      located = next_relative[located] - 1; // 0 (no next record) becomes no_id
    }
  }
}

} // namespace store
