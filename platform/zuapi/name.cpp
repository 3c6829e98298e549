// Interned names: one object for each text, found through a sharded table.
#include <bit>
#include <cstdlib>
#include <mutex>
#include <shared_mutex>
#include <type_traits>

#include "zuapi/objects.hpp"

using namespace zuapi;

namespace {

constexpr uint32_t shard_count = 64;
constexpr uint32_t first_bucket_count = 256; // of a shard

// Up to eight bytes as a number, which is also known to the compiler.
constexpr uint64_t word_of(const char *text, size_t length) {
  char bytes[8] = {};
  if (std::is_constant_evaluated()) {
    for (size_t i = 0; i < length; ++i) bytes[i] = text[i];
  } else if (length != 0) {
    memcpy(bytes, text, length);
  }
  return std::bit_cast<uint64_t>(bytes);
}

constexpr uint32_t hash_of(const char *text, size_t length) {
  constexpr uint64_t factor = 0x9e3779b97f4a7c15u;
  uint64_t hash = length * factor;
  for (; length >= 8; text += 8, length -= 8) {
    hash = (hash ^ word_of(text, 8)) * factor;
    hash ^= hash >> 32;
  }
  hash = (hash ^ word_of(text, length)) * factor;
  hash ^= hash >> 29;
  return static_cast<uint32_t>(hash ^ (hash >> 32));
}

// Static, so that they cost no memory and are never released.
constinit known_name known_pending{{1, hash_of(ZU_DO_NAME_PENDING_ATTRS, 14), 14, 0, 1, nullptr},
                                   ZU_DO_NAME_PENDING_ATTRS};
static_assert(offsetof(known_name, text) == sizeof(zu_do_name));

// Buckets are no part of the counted memory: they stay for the names to come.
struct name_shard {
  std::shared_mutex lock;
  zu_do_name **buckets = first;
  uint32_t size = first_bucket_count;
  uint32_t count = 0;
  zu_do_name *first[first_bucket_count] = {};

  zu_do_name *&bucket(uint32_t hash) { return buckets[hash / shard_count % size]; }

  void enter(zu_do_name *name) {
    name->next = bucket(name->hash);
    bucket(name->hash) = name;
    if (++count > 2 * size) widen();
  }

  void leave(zu_do_name *name) {
    zu_do_name **link = &bucket(name->hash);
    while (*link != name) link = &(*link)->next;
    *link = name->next;
    --count;
  }

  // Without memory for it the buckets only get fuller.
  void widen() {
    const uint32_t old_size = size;
    auto **wider = static_cast<zu_do_name **>(calloc(size_t{old_size} * 4, sizeof(zu_do_name *)));
    if (wider == nullptr) return;
    zu_do_name **old = buckets;
    buckets = wider;
    size = old_size * 4;
    for (uint32_t i = 0; i < old_size; ++i) {
      for (zu_do_name *name = old[i], *next; name != nullptr; name = next) {
        next = name->next;
        name->next = bucket(name->hash);
        bucket(name->hash) = name;
      }
    }
    if (old != first) free(old);
  }
};

struct name_table {
  name_shard shards[shard_count];

  name_table() {
    for (known_name *known : {&known_uri, &known_coll_uri, &known_pending}) {
      shard(known->name.hash).enter(&known->name);
    }
  }
  name_shard &shard(uint32_t hash) { return shards[hash % shard_count]; }
};

// Never destroyed: names may be released while the process ends.
name_table &table() {
  alignas(name_table) static unsigned char room[sizeof(name_table)];
  static name_table *made = new (room) name_table;
  return *made;
}

// A new reference on the name of that text. Whoever holds the shard's lock may raise the count of a name
// that is in the table: a name whose count falls to 0 leaves it under the exclusive lock.
zu_do_name *find(name_shard &names, uint32_t hash, std::string_view text) {
  for (zu_do_name *name = names.bucket(hash); name != nullptr; name = name->next) {
    if (name->hash != hash || name->view() != text) continue;
    if (name->permanent == 0) count_up(name->count);
    return name;
  }
  return nullptr;
}

zu_do_name *make(uint32_t hash, std::string_view text) {
  auto *name = allocate<zu_do_name>(text.size() + 1);
  if (name == nullptr) return nullptr;
  const size_t colon = text.rfind(':');
  name->count = 1;
  name->hash = hash;
  name->length = static_cast<uint32_t>(text.size());
  name->unqualified = colon == text.npos ? 0 : static_cast<uint32_t>(colon + 1) & 0x7fffffffu;
  name->permanent = 0;
  put_text(reinterpret_cast<char *>(name + 1), text);
  return name;
}

zu_do_name *intern(std::string_view text) {
  constexpr size_t longest_name = 0x7ffffff0u;
  if (text.empty() || text.size() > longest_name) return nullptr;
  const uint32_t hash = hash_text(text.data(), text.size());
  name_shard &names = table().shard(hash);
  {
    std::shared_lock reading(names.lock);
    if (zu_do_name *name = find(names, hash, text)) return name;
  }
  std::unique_lock writing(names.lock);
  if (zu_do_name *name = find(names, hash, text)) return name;
  zu_do_name *name = make(hash, text);
  if (name == nullptr) return nullptr;
  names.enter(name);
  return name;
}

void release_last(zu_do_name *name) {
  name_shard &names = table().shard(name->hash);
  {
    std::unique_lock writing(names.lock);
    if (name->count.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    names.leave(name);
  }
  release(name);
}

} // namespace

namespace zuapi {

constinit known_name known_uri{{1, hash_of(ZU_DO_NAME_URI, 4), 4, 0, 1, nullptr}, ZU_DO_NAME_URI};
constinit known_name known_coll_uri{{1, hash_of(ZU_DO_NAME_COLL_URI, 9), 9, 0, 1, nullptr},
                                    ZU_DO_NAME_COLL_URI};

uint32_t hash_text(const char *text, size_t length) {
  return hash_of(text, length);
}

} // namespace zuapi

zu_do_name *zu_do_name_new(const char *text) {
  return text == nullptr ? nullptr : zu_do_name_new_l(text, strlen(text));
}

zu_do_name *zu_do_name_new_l(const char *text, size_t length) {
  if (text == nullptr || memchr(text, 0, length) != nullptr) return nullptr;
  return intern(trimmed(text, length));
}

zu_do_name *zu_do_name_ref(zu_do_name *name) {
  if (name != nullptr && name->permanent == 0) count_up(name->count);
  return name;
}

void zu_do_name_deref(zu_do_name *name) {
  if (name == nullptr || name->permanent != 0) return;
  uint32_t count = name->count.load(std::memory_order_relaxed);
  while (count > 1) {
    if (name->count.compare_exchange_weak(count, count - 1, std::memory_order_acq_rel)) return;
  }
  release_last(name);
}

const char *zu_do_name_get_strname(zu_do_name *name) {
  return name == nullptr ? nullptr : name->text();
}

const char *zu_do_name_get_unqualified(zu_do_name *name) {
  return name == nullptr ? nullptr : name->text() + name->unqualified;
}

int zu_do_name_equals_w_strname(zu_do_name *name, const char *text) {
  return name != nullptr && text != nullptr && strcmp(name->text(), text) == 0 ? 1 : 0;
}
