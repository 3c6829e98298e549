// Look-ups on the records cache by text, and how a found record is remembered.
//
// Every line of a template looks up its record, and most find the same one as before:
// remembering it saves most of the look-ups. What a look-up found stays true while
// the cache has the same entry on top and no record that it compared has changed. A
// cache_mark checks both; without the check a line could show another record.
#pragma once

#include <string_view>

#include "zu_tovra/stack.h"

extern "C" {

// The compare operations of the two caches: `key` is the zu_do_uri that is looked up. For records, `extra` is
// the name (text) of the property that holds the URI to compare; for groups it is not used.
bool tvr_props_match(void *key, void *item, void *extra) noexcept;
bool tvr_props_group_match(void *key, void *item, void *extra) noexcept;
}

namespace tvr {

// The text of a URI in two parts, so that it need not be put together for a comparison.
struct looked_up {
  std::string_view first;
  std::string_view second = {};
};

struct cache_answer {
  const zu_tvr_stack_entry *entry = nullptr; // null: no record matches
  uint32_t consulted = 0;                    // number of entries that were compared, from the top
  bool silent = true;                        // no error was traced

  zu_do_properties *record() const noexcept {
    return entry != nullptr ? static_cast<zu_do_properties *>(entry->item) : nullptr;
  }
};

// The topmost record whose `_uri` (`by_collection`: `_coll_uri`) matches the text. The result is that of
// zu_tvr_stack_lookup with the URI of that text, but no URI has to be made. The cache may be null; its
// compare operation must be the library's own.
cache_answer look_up_text(const zu_tvr_stack *cache, const looked_up &wanted, bool by_collection) noexcept;

// False for a cache with a compare operation of the host, which has to be called for each look-up.
inline bool answers_texts(const zu_tvr_stack *cache) noexcept {
  return cache == nullptr || cache->compare == tvr_props_match;
}

// The state of the topmost entries of a cache: which entries they are, and the revisions of their records.
class cache_mark {
public:
  cache_mark() noexcept = default;
  // Never stands when the platform does not count the changes of a record.
  cache_mark(const zu_tvr_stack *cache, uint32_t consulted) noexcept {
    if (cache == nullptr || cache->top == nullptr) return;
    consulted_ = consulted;
    const zu_tvr_stack_entry *entry = cache->top;
    for (uint32_t i = 0; i < consulted; ++i, entry = entry->next) {
      if (entry->revision == nullptr) return;
      revisions_ += *entry->revision;
    }
    stamp_ = cache->top->stamp;
  }

  // True while the cache has the same entry on top and none of the consulted records has changed.
  bool stands(const zu_tvr_stack *cache) const noexcept {
    if (cache == nullptr || cache->top == nullptr || cache->top->stamp != stamp_) return false;
    uint64_t revisions = 0;
    const zu_tvr_stack_entry *entry = cache->top;
    for (uint32_t i = 0; i < consulted_; ++i, entry = entry->next) revisions += *entry->revision;
    return revisions == revisions_ && cache->compare == tvr_props_match;
  }

private:
  uint64_t stamp_ = 0; // of the entry on top; no entry has 0: nothing is marked
  uint64_t revisions_ = 0;
  uint32_t consulted_ = 0;
};

// What a look-up of one text found. A list pushes a new record for each instance, so a cache_mark does not
// stand for long; but the parent's record below is still the right one. It is found again while its entry is
// there, its record has not changed, and no entry that was pushed above it matches the text.
class remembered_look_up {
public:
  void set(const cache_answer &answer) noexcept {
    const zu_tvr_stack_entry *entry = answer.entry;
    stamp_ = entry != nullptr && answer.silent && entry->revision != nullptr ? entry->stamp : 0;
    if (stamp_ == 0) return;
    level_ = entry->level;
    revision_ = *entry->revision;
  }
  // Whether the entry is still on the cache.
  bool is_there(const zu_tvr_stack *cache) const noexcept {
    const zu_tvr_stack_entry *entry = cache != nullptr ? cache->top : nullptr;
    while (entry != nullptr && entry->level > level_) entry = entry->next;
    return entry != nullptr && entry->stamp == stamp_;
  }
  // The same answer for the same text; an answer without an entry when it has to be looked up.
  cache_answer again(const zu_tvr_stack *cache, const looked_up &wanted, bool by_collection) const noexcept;

private:
  uint64_t stamp_ = 0; // of the entry; 0: nothing is remembered
  uint32_t level_ = 0;
  uint32_t revision_ = 0; // of its record
};

} // namespace tvr
