// Hash tables from text to a pointer: chains in buckets, each in the order of insertion. Entries stand in
// slabs that go with the table; what is removed is used again.
#include "infra/infra.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

#include "qmalloc/qmalloc.h"

namespace {

constexpr uint32_t first_bucket_count = 8;
constexpr uint32_t largest_slab = 1024; // entries

struct node {
  node *chain_next;
  node *older; // the entries of the whole table in the order of insertion
  node *newer;
  char *key;
  void *value;
  uint64_t hash;
};

// The entries follow.
struct slab {
  slab *next;
};

// Appending needs the tail; so the oldest of equal keys is found first, and many of them cost nothing.
struct bucket {
  node *head;
  node *tail;
};

uint64_t mixed(uint64_t value) {
  value ^= value >> 32;
  value *= 0xd6e8feb86659fd93u;
  return value ^ (value >> 29);
}

// Eight bytes a step; the last one is padded with zeros, which no key contains.
uint64_t hash_of(const char *key) {
  size_t length = strlen(key);
  uint64_t hash = 0x9e3779b97f4a7c15u;
  for (; length >= sizeof(uint64_t); length -= sizeof(uint64_t), key += sizeof(uint64_t)) {
    uint64_t word = 0;
    memcpy(&word, key, sizeof word);
    hash = mixed(hash ^ word) + 0x9e3779b97f4a7c15u;
  }
  uint64_t last = 0;
  memcpy(&last, key, length);
  return mixed(mixed(hash ^ last));
}

} // namespace

struct ht_table {
  bucket *buckets;       // `first` until the table grows
  uint32_t bucket_count; // a power of two
  uint32_t count;
  node *oldest;
  node *newest;
  slab *slabs;
  node *free; // entries to use, linked by chain_next
  bucket first[first_bucket_count];
};

namespace {

bucket &bucket_of(const ht_table *table, uint64_t hash) {
  return table->buckets[hash & (table->bucket_count - 1)];
}

void append_to_chain(bucket &chain, node *entry) {
  entry->chain_next = nullptr;
  (chain.tail != nullptr ? chain.tail->chain_next : chain.head) = entry;
  chain.tail = entry;
}

void free_buckets(ht_table *table) {
  if (table->buckets != table->first) qfree_named(table->buckets);
}

// Doubles the buckets. Without memory for them the chains just get longer.
void grow(ht_table *table) {
  const uint32_t wider = table->bucket_count * 2;
  auto *buckets = static_cast<bucket *>(qcalloc_named(ZU_DO_AREA, wider, sizeof(bucket)));
  if (buckets == nullptr) return;
  free_buckets(table);
  table->buckets = buckets;
  table->bucket_count = wider;
  for (node *entry = table->oldest; entry != nullptr; entry = entry->newer) {
    append_to_chain(bucket_of(table, entry->hash), entry);
  }
}

// Adds entries to use, as many as there are already. False when memory is exhausted.
bool add_slab(ht_table *table) {
  const uint32_t count = std::clamp(table->count, first_bucket_count, largest_slab);
  auto *added = static_cast<slab *>(qmalloc_named(ZU_DO_AREA, sizeof(slab) + count * sizeof(node)));
  if (added == nullptr) return false;
  added->next = table->slabs;
  table->slabs = added;
  auto *entries = reinterpret_cast<node *>(added + 1);
  for (uint32_t i = count; i-- > 0; table->free = &entries[i]) entries[i].chain_next = table->free;
  return true;
}

node *find(const ht_table *table, const char *key) {
  if (table == nullptr || key == nullptr) return nullptr;
  const uint64_t hash = hash_of(key);
  node *entry = bucket_of(table, hash).head;
  while (entry != nullptr && (entry->hash != hash || strcmp(entry->key, key) != 0)) entry = entry->chain_next;
  return entry;
}

void drop(ht_table *table, node *entry) {
  bucket &chain = bucket_of(table, entry->hash);
  node *before = nullptr;
  for (node *at = chain.head; at != entry; at = at->chain_next) before = at;
  (before != nullptr ? before->chain_next : chain.head) = entry->chain_next;
  if (chain.tail == entry) chain.tail = before;
  (entry->older != nullptr ? entry->older->newer : table->oldest) = entry->newer;
  (entry->newer != nullptr ? entry->newer->older : table->newest) = entry->older;
  --table->count;
  entry->chain_next = table->free;
  table->free = entry;
}

} // namespace

ht_table *htMake(int) {
  auto *table = static_cast<ht_table *>(qcalloc_named(ZU_DO_AREA, 1, sizeof(ht_table)));
  if (table != nullptr) {
    table->buckets = table->first;
    table->bucket_count = first_bucket_count;
  }
  return table;
}

int htAdd(ht_table *table, char *key, void *value) {
  if (table == nullptr || key == nullptr) return 1;
  if (table->free == nullptr && !add_slab(table)) return 1;
  if (table->count >= table->bucket_count && table->bucket_count < 1u << 31) grow(table);
  node *entry = table->free;
  table->free = entry->chain_next;
  *entry = node{nullptr, table->newest, nullptr, key, value, hash_of(key)};
  (table->newest != nullptr ? table->newest->newer : table->oldest) = entry;
  table->newest = entry;
  append_to_chain(bucket_of(table, entry->hash), entry);
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
  drop(table, entry);
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
  while (table->slabs != nullptr) qfree_named(std::exchange(table->slabs, table->slabs->next));
  free_buckets(table);
  qfree_named(table);
}
