// A snapshot: the records of one data file, frozen, and the tables that find them.
#pragma once

#include <string_view>

#include "store/memory.hpp"
#include "zuapi/layout.hpp"

namespace store {

inline zuapi::store_record *record_of(zu_do_vlist *row) {
  return reinterpret_cast<zuapi::store_record *>(row);
}

// Rows in store order, somewhere in the snapshot.
struct run {
  zu_do_vlist *const *rows;
  uint32_t count;
};

inline constexpr uint32_t no_id = UINT32_MAX;

// The records of one path.
struct path_entry {
  std::string_view text;
  const zuapi::shape *form;
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

// An open-addressed table of 32-bit ids under hashes; what the keys are, its users know. Throws
// std::bad_alloc.
class id_table {
public:
  // Room for that many entries without growing.
  void reserve(size_t entries) {
    size_t size = 8;
    while (size * 3 / 4 < entries) size *= 2;
    if (size > slots_.size()) resize(size);
  }
  void insert(uint32_t hash, uint32_t id) {
    if (used_ + 1 > slots_.size() * 3 / 4) resize(slots_.empty() ? 8 : slots_.size() * 2);
    ++used_;
    place({hash, id + 1});
  }
  // Brings the place of a hash near, for a look-up that follows some steps later.
  void prefetch(uint32_t hash) const {
    if (!slots_.empty()) __builtin_prefetch(&slots_[hash & (slots_.size() - 1)]);
  }
  // The id of that hash for which `is_it(id)` holds, or no_id.
  template <class Is_it>
  uint32_t find(uint32_t hash, Is_it &&is_it) const {
    if (slots_.empty()) return no_id;
    const size_t mask = slots_.size() - 1;
    for (size_t at = hash & mask; slots_[at].id_plus_1 != 0; at = (at + 1) & mask) {
      if (slots_[at].hash == hash && is_it(slots_[at].id_plus_1 - 1)) return slots_[at].id_plus_1 - 1;
    }
    return no_id;
  }

private:
  struct slot {
    uint32_t hash;
    uint32_t id_plus_1; // 0: free
  };
  void place(slot entry) {
    const size_t mask = slots_.size() - 1;
    size_t at = entry.hash & mask;
    while (slots_[at].id_plus_1 != 0) at = (at + 1) & mask;
    slots_[at] = entry;
  }
  void resize(size_t size) {
    array<slot> old(size);
    std::swap(old, slots_);
    for (size_t i = 0; i < old.size(); ++i) {
      if (old[i].id_plus_1 != 0) place(old[i]);
    }
  }

  array<slot> slots_;
  size_t used_ = 0;
};

// The instances of collections, found by the texts of parent and name.
struct collection_table {
  array<collection_entry> entries;
  id_table by_key;
};

struct snapshot {
  snapshot() = default;
  ~snapshot();
  snapshot(const snapshot &) = delete;
  snapshot &operator=(const snapshot &) = delete;

  // The record of that canonical URI: of a relative one the first, in store order, in any location. No_id
  // when there is none. Ids count the records in store order, from 0.
  uint32_t find(const zu_do_uri *uri) const;
  // The record of exactly that canonical text.
  uint32_t find_own(const zu_do_uri *uri) const;
  // All records of a relative URI, in store order: calls `use(id)`.
  template <class Use>
  void find_all_relative(const zu_do_uri *uri, Use &&use) const;
  const path_entry *find_path(std::string_view path) const;
  // The collection of a URI of type 1, or none when it has no instances.
  const collection_entry *find_collection(const zu_do_uri *uri) const;

  const zu_do_uri *uri_of(uint32_t id) const { return record_of(records[id])->uri; }

  arena memory;
  array<zu_do_name *> names; // a reference on each name of a shape
  array<zu_do_vlist *> records;
  size_t record_count = 0; // of `records`, while they are being read
  array<path_entry> paths;
  id_table path_by_text;
  id_table by_text;
  // Of records in a location: the first with each relative text, and the next with the same (id + 1, or 0).
  id_table by_relative_text;
  array<uint32_t> next_relative;
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
      located = next_relative[located] - 1; // 0, none, becomes no_id
    }
  }
}

} // namespace store
