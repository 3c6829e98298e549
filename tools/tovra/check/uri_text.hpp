// URI templates as texts: why one is refused, what it looks up, and what its text is once its keys are known,
// as far as that can be told without them.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zu_tovra/zu_tovra.h"

namespace tovra::check {

std::string first_word(std::string_view text);

// What the author of a refused template did; empty when that is not clear.
std::string why_refused(std::string_view uri);

// A canonical URI text in which `any_value` stands for each key value that a walk fills in.
using pattern = std::string;
inline constexpr std::string_view any_value = "(*)";

// None when it cannot be told.
std::optional<pattern> pattern_of(const zu_tvr_uri &uri);

// Whether a record's URI text can be one that the looked-up text finds: the same, or the same and a query.
bool can_match(std::string_view record_uri, std::string_view looked_up);

// The names on a URI's way, without keys and location; with the name of a collection: "/system/ifc" for
// "//locations;loc=1/system;x=1?ifc". "//locations" for a location itself.
std::string path_of(const pattern &uri);
// Whether a segment after the first, in relative form, has keys: the store is then asked for whole lists.
bool is_keyed_below_first(const pattern &uri);
// "/a/b?c" for "/a/b/c;k=1": the list that a record stands in.
std::optional<pattern> list_of(const pattern &record_uri);

// One key that a walk takes from a record in scope.
struct key_look_up {
  char separator = '$';
  std::string segment;
  std::string key;
  std::optional<pattern> wanted; // the collection URI of the record; none: no record can be found
};

// The keys of a template, outermost first; none when it cannot be told.
std::optional<std::vector<key_look_up>> look_ups_of(const zu_tvr_uri &uri);

} // namespace tovra::check
