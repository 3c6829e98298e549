// Hash tables from text to a pointer. Entries are in memory of the table, which is freed with it; removed
// entries are used again.
#include <cstring>

#include "infra/hash_index.hpp"
#include "infra/infra.h"
#include "infra/memory.hpp"

namespace {

struct node {
  node *older; // the entries of the whole table in the order of insertion
  node *newer;
  node *next_same; // the entries of one key, in that order; the first points at the last
  node *last_same;
  char *key;
  void *value;
  uint32_t hash;
};

} // namespace

struct ht_table {
  infra::hash_index<node *, nullptr> first_of_key;
  infra::arena memory;
  uint32_t count = 0;
  node *oldest = nullptr;
  node *newest = nullptr;
  node *free = nullptr; // unused entries, linked by `newer`
};

namespace {

node *find(const ht_table *table, const char *key, uint32_t hash) {
  return table->first_of_key.find(hash, [key](const node *entry) { return strcmp(entry->key, key) == 0; });
}

node *find(const ht_table *table, const char *key) {
  if (table == nullptr || key == nullptr) return nullptr;
  return find(table, key, infra::hash_text(key, strlen(key)));
}

// An unused entry; null when memory is exhausted.
node *take_node(ht_table *table) {
  if (table->free != nullptr) return std::exchange(table->free, table->free->newer);
  try {
    return static_cast<node *>(table->memory.take(sizeof(node)));
  } catch (const std::bad_alloc &) {
    return nullptr;
  }
}

void give_back(ht_table *table, node *entry) {
  entry->newer = std::exchange(table->free, entry);
}

} // namespace

ht_table *htMake(int) {
  void *block = qmalloc_named(ZU_DO_AREA, sizeof(ht_table));
  return block == nullptr ? nullptr : new (block) ht_table;
}

int htAdd(ht_table *table, char *key, void *value) {
  if (table == nullptr || key == nullptr) return 1;
  node *entry = take_node(table);
  if (entry == nullptr) return 1;
  const uint32_t hash = infra::hash_text(key, strlen(key));
  *entry = node{table->newest, nullptr, nullptr, entry, key, value, hash};
  if (node *first = find(table, key, hash)) {
    first->last_same = first->last_same->next_same = entry;
  } else if (!table->first_of_key.insert(hash, entry)) {
    give_back(table, entry);
    return 1;
  }
  (table->newest != nullptr ? table->newest->newer : table->oldest) = entry;
  table->newest = entry;
  ++table->count;
  return 0;
}

void *htFind(ht_table *table, const char *key) {
  const node *entry = find(table, key);
  return entry != nullptr ? entry->value : nullptr;
}

const char *htFindKey(ht_table *table, const char *key) {
  const node *entry = find(table, key);
  return entry != nullptr ? entry->key : nullptr;
}

int htRemove2(ht_table *table, const char *key, char **stored_key) {
  node *entry = find(table, key);
  if (entry == nullptr) return 0;
  if (stored_key != nullptr) *stored_key = entry->key;
  if (node *next = entry->next_same) {
    next->last_same = entry->last_same;
    table->first_of_key.replace(entry->hash, entry, next);
  } else {
    table->first_of_key.erase(entry->hash, entry);
  }
  (entry->older != nullptr ? entry->older->newer : table->oldest) = entry->newer;
  (entry->newer != nullptr ? entry->newer->older : table->newest) = entry->older;
  --table->count;
  give_back(table, entry);
  return 1;
}

uint32_t htSize(ht_table *table) {
  return table != nullptr ? table->count : 0;
}

void htCloseWithFunction2(ht_table *table, void (*function)(char *key, void *value)) {
  if (table == nullptr) return;
  for (node *entry = function != nullptr ? table->oldest : nullptr; entry != nullptr; entry = entry->newer) {
    function(entry->key, entry->value);
  }
  table->~ht_table();
  qfree_named(table);
}
