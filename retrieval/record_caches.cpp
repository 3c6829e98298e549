// Keeps records that were fetched early, until a node asks for them. Entries and items are in chunk memory of
// the walk, which is freed when the walk's context is cleared; until then they are used again. The tables are
// public: a host may have added entries too, which are blocks of the named allocator. So each entry is freed
// according to its owner.
#include "record_caches.hpp"

#include <cstring>
#include <utility>

#include "memory.hpp"
#include "zu_tovra/internal/report.hpp"
#include "zu_tovra/internal/walk_memory.hpp"

namespace tvr {

namespace {

// An entry of mr_cache_cursor, its queue and its key in one piece.
struct kept_entry {
  cursor_cache_entry entry; // first
  queue waiting;            // `entry` points at it once a record waits
  kept_entry *next_spare;
  uint32_t serial; // changes when the entry is removed: shows that a pointer to it is old
  uint32_t key_room;
  std::string_view key; // its text follows the entry
};

} // namespace

} // namespace tvr

struct zu_tvr_retrieval_memory {
  tvr::chunk_memory pieces;
  tvr::kept_entry *spare_entries;
  queue_item *spare_items;
  tvr::kept_entry *last; // the entry that was added last, or null
  uint32_t additions;    // number of entries added to mr_cache_cursor so far
  uint32_t live;         // how many of them are still in it; further entries are those of a host
};

namespace tvr {

namespace {

using memory = zu_tvr_retrieval_memory;

bool owns(const memory *of, const void *piece) noexcept {
  return of != nullptr && of->pieces.owns(piece);
}

template <class T>
void free_unless_owned(const memory *of, T *piece) noexcept {
  if (!owns(of, piece)) const block<T> freed(piece);
}

// Makes the memory and a table when they are missing; false when memory is exhausted.
bool make(zu_tvr_walk_ctx *ctx, ht_table *&table) noexcept {
  if (ctx->retrieval == nullptr) ctx->retrieval = make_zeroed<memory>().release();
  if (table == nullptr && ctx->retrieval != nullptr) table = htMake(0);
  return table != nullptr && ctx->retrieval != nullptr;
}

void *address(const void *thing) noexcept {
  return const_cast<void *>(thing);
}

// ---- Entries and items ----

void free_item(memory *of, props_item *item) noexcept {
  if (owns(of, item)) {
    item->link.next = std::exchange(of->spare_items, &item->link);
  } else {
    const block<props_item> freed(item);
  }
}

// Frees an entry with its records.
void free_entry(memory *of, cursor_cache_entry *entry) noexcept {
  queue *waiting = entry->props_list;
  while (waiting != nullptr && waiting->head != nullptr) {
    auto *item = static_cast<props_item *>(queue_dequeue(waiting));
    drop_field(item->props);
    free_item(of, item);
  }
  free_unless_owned(of, waiting);
  if (owns(of, entry)) {
    auto *kept = reinterpret_cast<kept_entry *>(entry);
    ++kept->serial;
    if (of->last == kept) of->last = nullptr;
    kept->next_spare = std::exchange(of->spare_entries, kept);
  } else {
    const block<cursor_cache_entry> freed(entry);
  }
}

// The next three functions return null when memory is exhausted.

char *new_key(memory *of, std::string_view key, size_t room_before = 0) noexcept {
  auto *room = static_cast<char *>(of->pieces.take(room_before + key.size() + 1));
  if (room != nullptr) std::memcpy(room + room_before, key.data(), key.size() + 1);
  return room;
}

// A new entry without a queue, with a copy of the key.
kept_entry *new_entry(memory *of, std::string_view key) noexcept {
  kept_entry *entry = of->spare_entries;
  if (entry != nullptr && entry->key_room > key.size()) {
    of->spare_entries = entry->next_spare;
    std::memcpy(entry + 1, key.data(), key.size() + 1);
    entry->entry = {};
  } else {
    entry = reinterpret_cast<kept_entry *>(new_key(of, key, sizeof(kept_entry)));
    if (entry == nullptr) return nullptr;
    *entry = {};
    entry->serial = 1;
    entry->key_room = static_cast<uint32_t>(key.size() + 1);
  }
  entry->key = {reinterpret_cast<char *>(entry + 1), key.size()};
  return entry;
}

props_item *new_item(memory *of) noexcept {
  queue_item *spare = of->spare_items;
  if (spare == nullptr) return static_cast<props_item *>(of->pieces.take(sizeof(props_item)));
  of->spare_items = spare->next;
  return reinterpret_cast<props_item *>(spare);
}

// Adds an entry to the table. On failure (not traced) the entry is freed.
bool add(zu_tvr_walk_ctx *ctx, kept_entry *entry) noexcept {
  char *key = const_cast<char *>(entry->key.data());
  TVR_DEBUG("adding to cursor hash %s %p %p", key, address(entry), address(entry->entry.props_list));
  if (htAdd(ctx->mr_cache_cursor, key, entry) == 0) {
    ++ctx->retrieval->additions;
    ++ctx->retrieval->live;
    ctx->retrieval->last = entry;
    return true;
  }
  free_entry(ctx->retrieval, &entry->entry);
  return false;
}

// Puts the record at the tail of the queue, which is made when there is none.
bool enqueue(memory *of, cursor_cache_entry *entry, const char *coll_text,
             zu_do_properties *record) noexcept {
  if (entry->props_list == nullptr) {
    TVR_DEBUG("insert_props_into_hashmap %s props list empty - creating", coll_text);
    entry->props_list = owns(of, entry) ? &reinterpret_cast<kept_entry *>(entry)->waiting
                                        : static_cast<queue *>(of->pieces.take(sizeof(queue)));
    if (entry->props_list == nullptr) {
      TVR_ERROR("Failed to allocate memory for props list");
      return false;
    }
    queue_init(entry->props_list, 0);
  }
  props_item *item = new_item(of);
  if (item == nullptr || queue_enqueue(entry->props_list, item) != 0) {
    if (item != nullptr) free_item(of, item);
    TVR_ERROR("Failed to allocate memory for props item");
    return false;
  }
  item->props = share_into_field(record);
  TVR_DEBUG("insert_props_into_hashmap %s inserted props to queue", coll_text);
  return true;
}

// Removes the entry under the text and its records; false when the table fails to remove it.
bool drop(zu_tvr_walk_ctx *ctx, const char *coll_text, cursor_cache_entry *entry) noexcept {
  char *key = nullptr;
  if (htRemove2(ctx->mr_cache_cursor, coll_text, &key) == 0) return false;
  if (owns(ctx->retrieval, entry)) --ctx->retrieval->live;
  free_unless_owned(ctx->retrieval, key);
  free_entry(ctx->retrieval, entry);
  return true;
}

// The number of additions, plus 1: a mark must not be 0.
uint32_t additions(const zu_tvr_walk_ctx *ctx) noexcept {
  return (ctx->retrieval != nullptr ? ctx->retrieval->additions : 0) + 1;
}

// Remembers the result of a look-up in the scratch data, since iterate asks for the same URI for every
// instance. An entry that was found stays right until it is removed (its serial changes); "not found" stays
// right until an entry is added. An entry of a host has no serial, and is looked up each time.
cursor_cache_entry *remember(zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx,
                             cursor_cache_entry *found) noexcept {
  const auto *owned = owns(ctx->retrieval, found) ? reinterpret_cast<kept_entry *>(found) : nullptr;
  scratch->cached = owned != nullptr ? found : nullptr;
  scratch->cached_mark = found == nullptr ? additions(ctx) : 0;
  if (owned != nullptr) scratch->cached_mark = owned->serial;
  if (scratch->cached_for != scratch->coll_uri) {
    drop_field(scratch->cached_for);
    scratch->cached_for = share_into_field(scratch->coll_uri);
  }
  return found;
}

// The memory of the tables that are being closed: the functions that a closing table calls get only an entry.
thread_local memory *closing = nullptr;

void close_record(char *key, void *value) noexcept {
  free_unless_owned(closing, key);
  ref<zu_do_properties>::adopt(static_cast<zu_do_properties *>(value)).reset();
}

void close_entry(char *key, void *value) noexcept {
  free_unless_owned(closing, key);
  if (value != nullptr) free_entry(closing, static_cast<cursor_cache_entry *>(value));
}

} // namespace

void retrieval_clear(zu_tvr_walk_ctx *ctx) noexcept {
  const block<memory> cleared(std::exchange(ctx->retrieval, nullptr));
  closing = cleared.get();
  htCloseWithFunction2(std::exchange(ctx->mr_cache, nullptr), close_record);
  htCloseWithFunction2(std::exchange(ctx->mr_cache_cursor, nullptr), close_entry);
  if (cleared) cleared->pieces.free_all();
}

// ---- Queues by collection ----

bool cursor_cache_make(zu_tvr_walk_ctx *ctx) noexcept {
  return make(ctx, ctx->mr_cache_cursor);
}

bool cursor_cache_insert(zu_tvr_walk_ctx *ctx, std::string_view coll_text,
                         zu_do_properties *record) noexcept {
  const char *key = coll_text.data();
  TVR_DEBUG("insert_props_into_hashmap %s", key);
  if (!cursor_cache_make(ctx)) {
    TVR_ERROR("Unable to create mr cache cursor hashmap");
    return false;
  }
  memory *of = ctx->retrieval;
  // The rows of one collection follow each other, so the entry is mostly the one that was added last.
  const bool again = of->last != nullptr && of->last->key == coll_text;
  auto *entry =
      again ? &of->last->entry : static_cast<cursor_cache_entry *>(htFind(ctx->mr_cache_cursor, key));
  if (entry != nullptr) {
    // The record is appended in place. The traces still describe removing the entry and adding it again.
    TVR_DEBUG("found in cursor hash %s %p %p - removing", key, address(entry), address(entry->props_list));
    if (!enqueue(of, entry, key, record)) {
      drop(ctx, key, entry); // on failure the entry and its records are lost
      return false;
    }
    TVR_DEBUG("adding to cursor hash %s %p %p", key, address(entry), address(entry->props_list));
    return true;
  }
  TVR_DEBUG("insert_props_into_hashmap %s not found in cache - inserting", key);
  kept_entry *made = new_entry(of, coll_text);
  if (made == nullptr) {
    TVR_ERROR("Unable to allocate hash struct to insert into mr cache cursor hashmap");
  } else if (!enqueue(of, &made->entry, key, record)) {
    free_entry(of, &made->entry);
  } else if (add(ctx, made)) {
    return true;
  } else {
    TVR_ERROR("Unable to insert into mr cache cursor hashmap");
  }
  return false;
}

cursor_cache_entry *cursor_cache_find(zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx) noexcept {
  if (scratch->cached_for == scratch->coll_uri) {
    auto *kept = reinterpret_cast<kept_entry *>(scratch->cached);
    if (kept != nullptr && kept->serial == scratch->cached_mark) return scratch->cached;
    const bool all_known = ctx->retrieval != nullptr && htSize(ctx->mr_cache_cursor) == ctx->retrieval->live;
    if (kept == nullptr && all_known && scratch->cached_mark == additions(ctx)) return nullptr;
  }
  const char *coll_text = zu_do_uri_get_uri_str(scratch->coll_uri);
  return remember(scratch, ctx, static_cast<cursor_cache_entry *>(htFind(ctx->mr_cache_cursor, coll_text)));
}

zu_do_properties *cursor_cache_peek(cursor_cache_entry *entry) noexcept {
  queue_item *head = entry->props_list->head;
  return head != nullptr ? reinterpret_cast<props_item *>(head)->props : nullptr;
}

ref<zu_do_properties> cursor_cache_take(zu_tvr_walk_ctx *ctx, cursor_cache_entry *entry) noexcept {
  auto *item = static_cast<props_item *>(queue_dequeue(entry->props_list));
  if (item == nullptr) return {};
  auto record = ref<zu_do_properties>::adopt(std::exchange(item->props, nullptr));
  free_item(ctx->retrieval, item);
  return record;
}

bool cursor_cache_remove(zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx,
                         cursor_cache_entry *entry) noexcept {
  const char *coll_text = zu_do_uri_get_uri_str(scratch->coll_uri);
  const bool owned = scratch->cached == entry;
  if (!drop(ctx, coll_text, entry)) {
    TVR_ERROR("Failed to remove cursor %s from hash", coll_text);
    return false;
  }
  if (owned) remember(scratch, ctx, nullptr);
  return true;
}

bool cursor_cache_mark_requested(zu_tvr_walk_ctx *ctx, std::string_view coll_text, requester who) noexcept {
  const bool by_collection = who == requester::collection_node;
  if (!cursor_cache_make(ctx)) {
    TVR_ERROR("Unable to create mr cache hashmap");
    return false;
  }
  kept_entry *entry = new_entry(ctx->retrieval, coll_text);
  if (entry != nullptr && add(ctx, entry)) return true;
  if (!by_collection) {
    TVR_ERROR("crudx node: Unable to insert into mr cache cursor hashmap");
  } else if (entry == nullptr) {
    TVR_ERROR("Unable to allocate uri");
  } else {
    TVR_ERROR("Unable to insert into mr cache hashmap. Freeing uri");
  }
  return false;
}

// ---- Single instances ----

bool mr_cache_put(zu_tvr_walk_ctx *ctx, std::string_view uri_text, ref<zu_do_properties> record) noexcept {
  if (!make(ctx, ctx->mr_cache)) {
    TVR_ERROR("Unable to create mr cache hashmap");
    return false;
  }
  char *key = new_key(ctx->retrieval, uri_text);
  if (key == nullptr || htAdd(ctx->mr_cache, key, record.get()) != 0) {
    TVR_ERROR("Unable to insert into mr cache hashmap");
    return false;
  }
  static_cast<void>(record.release()); // to the table
  return true;
}

ref<zu_do_properties> mr_cache_take(zu_tvr_walk_ctx *ctx, const char *uri_text) noexcept {
  auto *record = static_cast<zu_do_properties *>(htFind(ctx->mr_cache, uri_text));
  char *key = nullptr;
  if (record == nullptr || htRemove2(ctx->mr_cache, uri_text, &key) == 0) return {};
  free_unless_owned(ctx->retrieval, key);
  return ref<zu_do_properties>::adopt(record);
}

} // namespace tvr
