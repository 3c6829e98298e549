// Look-ups on the records cache by text, and how a found record is remembered.
//
// A look-up compares what the records hold at that moment. What it found stays true while the cache has the
// same entry on top and no record that was looked at has changed; a mark tells both in a few steps.
#pragma once

#include <string_view>

#include "zu_tovra/stack.h"

extern "C" {

// The compare operations of the caches: `key` is the zu_do_uri that is looked up; `extra` of the first is the
// name text of the property that holds a record's URI, of the second it is not used.
bool tvr_props_match(void *key, void *item, void *extra) noexcept;
bool tvr_props_group_match(void *key, void *item, void *extra) noexcept;
}

namespace tvr {

// The text of a URI, in two parts.
struct looked_up {
  std::string_view first;
  std::string_view second = {};
};

struct cache_answer {
  const zu_tvr_stack_entry *entry = nullptr; // none: no record answers
  uint32_t consulted = 0;                    // entries that were looked at, from the top
  bool silent = true;                        // no error was traced

  zu_do_properties *record() const noexcept {
    return entry != nullptr ? static_cast<zu_do_properties *>(entry->item) : nullptr;
  }
};

// The topmost record whose `_uri`, or `_coll_uri`, answers to the text: as zu_tvr_stack_lookup by the URI of
// that text, which need not be made. The cache may be null. Its compare operation is the library's own.
cache_answer look_up_text(const zu_tvr_stack *cache, const looked_up &wanted, bool by_collection) noexcept;

// False for a cache whose look-ups only its own compare operation can answer.
inline bool answers_texts(const zu_tvr_stack *cache) noexcept {
  return cache == nullptr || cache->compare == tvr_props_match;
}

// How the topmost entries of a cache stood: which they are, and what their records held.
class cache_mark {
public:
  cache_mark() noexcept = default;
  // Stands never when a record's changes cannot be told.
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

  bool stands(const zu_tvr_stack *cache) const noexcept {
    if (cache == nullptr || cache->top == nullptr || cache->top->stamp != stamp_) return false;
    uint64_t revisions = 0;
    const zu_tvr_stack_entry *entry = cache->top;
    for (uint32_t i = 0; i < consulted_; ++i, entry = entry->next) revisions += *entry->revision;
    return revisions == revisions_ && cache->compare == tvr_props_match;
  }

private:
  uint64_t stamp_ = 0; // of the entry on top; 0, which no entry has: nothing is marked
  uint64_t revisions_ = 0;
  uint32_t consulted_ = 0;
};

// What a look-up of one text found. It is found again while its entry is there unchanged and no entry above,
// which a list may have put there since, answers to the text.
class remembered_look_up {
public:
  void set(const cache_answer &answer) noexcept {
    const zu_tvr_stack_entry *entry = answer.entry;
    stamp_ = entry != nullptr && answer.silent && entry->revision != nullptr ? entry->stamp : 0;
    if (stamp_ == 0) return;
    level_ = entry->level;
    revision_ = *entry->revision;
  }
  // Whether its entry is there.
  bool is_there(const zu_tvr_stack *cache) const noexcept {
    const zu_tvr_stack_entry *entry = cache != nullptr ? cache->top : nullptr;
    while (entry != nullptr && entry->level > level_) entry = entry->next;
    return entry != nullptr && entry->stamp == stamp_;
  }
  // The same answer, for the same text; none when it has to be looked up.
  cache_answer again(const zu_tvr_stack *cache, const looked_up &wanted, bool by_collection) const noexcept;

private:
  uint64_t stamp_ = 0; // of the entry; 0: nothing is remembered
  uint32_t level_ = 0;
  uint32_t revision_ = 0; // of its record
};

} // namespace tvr
