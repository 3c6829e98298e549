// How look-ups on the two caches tell which record or group answers to a URI.
#pragma once

#include "zu_tovra/stack.h"

extern "C" {

// The compare operations of the caches: `key` is the zu_do_uri that is looked up; `extra` of the first is the
// name text of the property that holds a record's URI, of the second it is not used.
bool tvr_props_match(void *key, void *item, void *extra) noexcept;
bool tvr_props_group_match(void *key, void *item, void *extra) noexcept;
}

namespace tvr {

// Notes in the entry the URI texts of the record that it holds.
void note_keys(zu_tvr_stack_entry *entry) noexcept;
// find_text of the records cache.
zu_do_properties *find_record(zu_tvr_stack *stack, const char *text, size_t length,
                              bool by_collection) noexcept;

} // namespace tvr
