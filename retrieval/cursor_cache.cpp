// The queues of records that wait for the collection nodes that will iterate them.
#include <utility>

#include "record_caches.hpp"
#include "zu_tovra/coll_uri.h"
#include "zu_tovra/entry.h"
#include "zu_tovra/internal/report.hpp"

namespace tvr {

namespace {

void drop_entry(cursor_cache_entry *entry) noexcept {
  cleanup_props_list(entry->props_list);
  qfree_named(entry);
}
using entry_handle = unique<cursor_cache_entry, drop_entry>;

void *address(const void *thing) noexcept {
  return const_cast<void *>(thing);
}

// Out of the table, which no longer knows it.
entry_handle take_out(zu_tvr_walk_ctx *ctx, const char *coll_text, cursor_cache_entry *entry) noexcept {
  char *key = nullptr;
  if (htRemove2(ctx->mr_cache_cursor, coll_text, &key) == 0) return nullptr;
  qfree_named(key);
  return entry_handle(entry);
}

// Makes what is missing of the queue and puts the record at its tail.
bool enqueue(cursor_cache_entry *entry, const char *coll_text, zu_do_properties *record) noexcept {
  if (entry->props_list == nullptr) {
    TVR_DEBUG("insert_props_into_hashmap %s props list empty - creating", coll_text);
    entry->props_list = make_zeroed<queue>().release();
    if (entry->props_list == nullptr) {
      TVR_ERROR("Failed to allocate memory for props list");
      return false;
    }
    queue_init(entry->props_list, 0);
  }
  auto item = make_zeroed<props_item>();
  if (!item || queue_enqueue(entry->props_list, item.get()) != 0) {
    TVR_ERROR("Failed to allocate memory for props item");
    return false;
  }
  item.release()->props = share_into_field(record);
  TVR_DEBUG("insert_props_into_hashmap %s inserted props to queue", coll_text);
  return true;
}

// Adds the entry under a copy of the text; none (not traced) when the table cannot take it.
cursor_cache_entry *enter(zu_tvr_walk_ctx *ctx, text key, entry_handle entry) noexcept {
  if (!key || !entry) return nullptr;
  TVR_DEBUG("adding to cursor hash %s %p %p", key.get(), address(entry.get()), address(entry->props_list));
  if (htAdd(ctx->mr_cache_cursor, key.get(), entry.get()) != 0) return nullptr;
  static_cast<void>(key.release());
  return entry.release();
}

} // namespace

cursor_cache_entry *cursor_cache_insert(zu_tvr_walk_ctx *ctx, const char *coll_text,
                                        zu_do_properties *record) noexcept {
  TVR_DEBUG("insert_props_into_hashmap %s", coll_text);
  if (ctx->mr_cache_cursor == nullptr) ctx->mr_cache_cursor = htMake(0);
  if (ctx->mr_cache_cursor == nullptr) {
    TVR_ERROR("Unable to create mr cache cursor hashmap");
    return nullptr;
  }
  entry_handle entry;
  auto *found = static_cast<cursor_cache_entry *>(htFind(ctx->mr_cache_cursor, coll_text));
  if (found != nullptr) {
    if (!debugging()) return cursor_cache_append(ctx, coll_text, found, record) ? found : nullptr;
    TVR_DEBUG("found in cursor hash %s %p %p - removing", coll_text, address(found),
              address(found->props_list));
    entry = take_out(ctx, coll_text, found);
  } else {
    TVR_DEBUG("insert_props_into_hashmap %s not found in cache - inserting", coll_text);
    entry = entry_handle(make_zeroed<cursor_cache_entry>().release());
  }
  if (!entry) {
    TVR_ERROR("Unable to allocate hash struct to insert into mr cache cursor hashmap");
    return nullptr;
  }
  if (!enqueue(entry.get(), coll_text, record)) return nullptr;
  cursor_cache_entry *entered = enter(ctx, copy_text(coll_text), std::move(entry));
  if (entered == nullptr) TVR_ERROR("Unable to insert into mr cache cursor hashmap");
  return entered;
}

bool cursor_cache_append(zu_tvr_walk_ctx *ctx, const char *coll_text, cursor_cache_entry *entry,
                         zu_do_properties *record) noexcept {
  if (enqueue(entry, coll_text, record)) return true;
  // A failed insertion loses the entry, as it does when the entry is taken out first.
  static_cast<void>(take_out(ctx, coll_text, entry));
  return false;
}

int32_t insert_props_into_hashmap(zu_tvr_walk_ctx *ctx, zu_do_uri *coll_uri,
                                  zu_do_properties *record) noexcept {
  return cursor_cache_insert(ctx, zu_do_uri_get_uri_str(coll_uri), record) != nullptr ? 0 : -1;
}

cursor_cache_entry *cursor_cache_find(zu_tvr_walk_ctx *ctx, zu_do_uri *coll_uri) noexcept {
  if (ctx->mr_cache_cursor == nullptr) return nullptr;
  return static_cast<cursor_cache_entry *>(htFind(ctx->mr_cache_cursor, zu_do_uri_get_uri_str(coll_uri)));
}

zu_do_properties *cursor_cache_peek(cursor_cache_entry *entry) noexcept {
  queue_item *head = entry->props_list->head;
  return head != nullptr ? reinterpret_cast<props_item *>(head)->props : nullptr;
}

ref<zu_do_properties> cursor_cache_take(cursor_cache_entry *entry) noexcept {
  const block<props_item> item(static_cast<props_item *>(queue_dequeue(entry->props_list)));
  return ref<zu_do_properties>::adopt(item ? item->props : nullptr);
}

bool cursor_cache_remove(zu_tvr_walk_ctx *ctx, zu_do_uri *coll_uri, cursor_cache_entry *entry) noexcept {
  const char *coll_text = zu_do_uri_get_uri_str(coll_uri);
  if (take_out(ctx, coll_text, entry)) return true;
  TVR_ERROR("Failed to remove cursor %s from hash", coll_text);
  return false;
}

namespace {

// While debugging the URI is parsed anew, as the plain step does; its text is the same.
text copy_of_requested(zu_do_uri *coll_uri) noexcept {
  const char *coll_text = zu_do_uri_get_uri_str(coll_uri);
  ref<zu_do_uri> parsed;
  if (debugging()) {
    parsed = ref<zu_do_uri>::adopt(zu_do_uri_new(coll_text));
    if (!parsed) {
      TVR_ERROR("Failed to create collection uri");
      return nullptr;
    }
    coll_text = zu_do_uri_get_uri_str(parsed.get());
  }
  text key = copy_text(coll_text);
  if (!key) TVR_ERROR("Unable to allocate uri");
  return key;
}

bool mark(zu_tvr_walk_ctx *ctx, text key) noexcept {
  return enter(ctx, std::move(key), entry_handle(make_zeroed<cursor_cache_entry>().release())) != nullptr;
}

int32_t mark_by_collection_node(zu_tvr_walk_ctx *ctx, zu_do_uri *coll_uri) noexcept {
  if (ctx->mr_cache_cursor == nullptr) ctx->mr_cache_cursor = htMake(0);
  if (ctx->mr_cache_cursor == nullptr) {
    TVR_ERROR("Unable to create mr cache hashmap");
    return -1;
  }
  text key = copy_of_requested(coll_uri);
  if (!key) return -1;
  if (mark(ctx, std::move(key))) return 0;
  TVR_ERROR("Unable to insert into mr cache hashmap. Freeing uri");
  return -1;
}

int32_t mark_by_get_one_node(zu_tvr_walk_ctx *ctx, zu_do_uri *coll_uri) noexcept {
  const char *coll_text = zu_do_uri_get_uri_str(coll_uri);
  if (!mark(ctx, copy_text(coll_text))) {
    TVR_ERROR("crudx node: Unable to insert into mr cache cursor hashmap");
    return -1;
  }
  TVR_DEBUG("crudx node: Inserted %s into mr cache cursors hashmap", coll_text);
  return 0;
}

} // namespace

int32_t cursor_cache_mark_requested(zu_tvr_walk_ctx *ctx, zu_do_uri *coll_uri, requester who) noexcept {
  return who == requester::collection_node ? mark_by_collection_node(ctx, coll_uri)
                                           : mark_by_get_one_node(ctx, coll_uri);
}

} // namespace tvr
