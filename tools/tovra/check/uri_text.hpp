// URI templates as texts: why one is refused, which keys it looks up, and its final text as far as it is
// known without data.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zu_tovra/zu_tovra.h"

namespace tovra::check {

std::string first_word(std::string_view text);

// What the author of a refused template probably did wrong; empty when that is not clear.
std::string why_refused(std::string_view uri);

// A canonical URI text that has `any_value` for each key value that only a walk knows.
using pattern = std::string;
inline constexpr std::string_view any_value = "(*)";

// Nullopt when it cannot be known.
std::optional<pattern> pattern_of(const zu_tvr_uri &uri);

// True when a record's URI can be one that the looked-up text finds: an equal one, or an equal one with a
// query.
bool can_match(std::string_view record_uri, std::string_view looked_up);

// The names of a URI's segments, without keys and location, and the name of its collection: "/system/ifc" for
// "//locations;loc=1/system;x=1?ifc"; "//locations" for a location itself.
std::string path_of(const pattern &uri);
// True when a segment after the first of the relative form has keys: then the store is asked for whole lists.
bool is_keyed_below_first(const pattern &uri);
// The list to which a record belongs: "/a/b?c" for "/a/b/c;k=1".
std::optional<pattern> list_of(const pattern &record_uri);

// A key whose value a walk takes from a record in scope.
struct key_look_up {
  char separator = '$';
  std::string segment;
  std::string key;
  std::optional<pattern> wanted; // the collection URI of that record; nullopt: no record can be found
};

// The keys of a template, from the outermost segment; nullopt when they cannot be known.
std::optional<std::vector<key_look_up>> look_ups_of(const zu_tvr_uri &uri);

} // namespace tovra::check
