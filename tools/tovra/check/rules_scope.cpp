// Rules about the records that are in scope at a node, on all ways that lead to it.
#include <algorithm>
#include <map>

#include "placed.hpp"
#include "rules.hpp"

namespace tovra::check {

namespace {

using kind = scope_entry::kind;

bool is_data(const record &record) {
  return record.is("get_collection") || record.is("get_one");
}

// The first key that no record in scope gives, or null.
const key_look_up *missing_key(const scope &in, const std::vector<key_look_up> &keys) {
  const auto found = std::find_if(keys.begin(), keys.end(),
                                  [&in](const key_look_up &key) { return entry_for(in, key) == nullptr; });
  return found != keys.end() ? &*found : nullptr;
}

const scope_entry *first(const frame *stack, const auto &fits) {
  for (; stack != nullptr; stack = stack->below) {
    if (fits(stack->entry)) return &stack->entry;
  }
  return nullptr;
}

std::string who(const scope_entry &entry) {
  return "'" + entry.by->id + "'";
}

// Explains why a key finds no record, and what would give it.
std::string advice(const scope &in, const key_look_up &key) {
  const std::string name = key.segment + ";" + key.key + "=";
  if (!key.wanted) {
    return std::string("'") + key.separator +
           "' finds records only from a URI without leading '/', or below a location";
  }
  const std::string path = path_of(*key.wanted);
  const auto same_path = [&path](const scope_entry &entry) { return entry.path == path; };
  if (const auto *group = first(in.groups, same_path); group != nullptr && key.separator != '#') {
    return who(*group) + " puts its records in groups: write '" + name + "#', or iterate them with iter";
  }
  const auto *entry = first(in.records, same_path);
  if (entry == nullptr) return "no node above reads " + path;
  if (entry->what == kind::single) {
    return who(*entry) +
           " reads one record, which gives no keys: read it with get_collection, or write the key out";
  }
  if (key.separator == '#') return who(*entry) + " makes no groups: write '!', or 'Group:' there";
  const bool by_path = entry->uri.find('?') == entry->uri.npos;
  if (key.separator == '$' && by_path) {
    return who(*entry) + " reads by path: write '" + name + "!' (a URI without leading '/'), or '?' there";
  }
  return who(*entry) + " reads " + entry->uri + ", and the key takes its record from " + *key.wanted;
}

enum class there { yes, perhaps, no_key, no_record };

struct item_state {
  there state;
  std::string advice; // explains what is missing
};

item_state look_at(const scope &in, const zu_tvr_uri &uri) {
  const auto keys = look_ups_of(uri);
  const auto text = pattern_of(uri);
  if (!keys || !text) return {there::yes, ""};
  if (const key_look_up *missing = missing_key(in, *keys)) {
    return {there::no_key, "no record in scope gives the key '" + missing->key + "' of '" + missing->segment +
                               "': " + advice(in, *missing)};
  }
  const scope_entry *entry = entry_for(in, uri, *text);
  if (entry == nullptr) return {there::no_record, "no node above reads " + *text};
  return {entry->what == kind::group_member ? there::perhaps : there::yes, ""};
}

// The state of each item of a print record, on one way to the record.
std::vector<item_state> look_at_items(const scope &in, const zu_tvr_props_map &map) {
  std::vector<item_state> states;
  for (const zu_tvr_uri_item *item = map.uri_items; item != nullptr; item = item->next) {
    states.push_back(look_at(in, *item->uri));
  }
  return states;
}

bool is_missing(const item_state &item) {
  return item.state == there::no_key || item.state == there::no_record;
}

// All ways to each print record with properties. A record is left out when the scope is unknown on one of its
// ways.
std::map<const record *, std::vector<std::vector<item_state>>> print_ways(const walks &ways) {
  std::map<const record *, std::vector<std::vector<item_state>>> all;
  std::set<const record *> unknown;
  for (const visit &visit : ways.visits) {
    const zu_tvr_props_map *map = map_of(*visit.at);
    if (map == nullptr) continue;
    if (!visit.in.known) unknown.insert(visit.at);
    all[visit.at].push_back(look_at_items(visit.in, *map));
  }
  std::erase_if(all, [&unknown](const auto &entry) { return unknown.contains(entry.first); });
  return all;
}

// True when the item is missing on all ways.
bool always_missing(const std::vector<std::vector<item_state>> &ways, size_t item) {
  return std::all_of(ways.begin(), ways.end(),
                     [item](const std::vector<item_state> &states) { return is_missing(states[item]); });
}

// What happens because an item is missing.
std::string consequence(const std::vector<item_state> &states) {
  const bool others =
      std::any_of(states.begin(), states.end(), [](const item_state &item) { return !is_missing(item); });
  return others ? "the line fails with error 10000" : "nothing is printed here";
}

// Reports the items of print records that are missing on all ways for that reason.
void tell_missing_items(const subject &subject, const teller &tell, there reason) {
  if (!subject.ways.complete) return;
  for (const auto &[record, ways] : print_ways(subject.ways)) {
    const auto lines = record->property_lines();
    for (size_t item = 0; item < lines.size(); ++item) {
      if (!always_missing(ways, item) || ways.front()[item].state != reason) continue;
      tell(*record, lines[item]->number, ways.front()[item].advice + "; " + consequence(ways.front()));
    }
  }
}

} // namespace

// Finds keys of URIs that no record in scope gives.
void find_keys_without_record(const subject &subject, const teller &tell) {
  for (const visit &visit : subject.ways.visits) {
    const zu_tvr_uri *uri = visit.in.known && is_data(*visit.at) ? uri_of(*visit.at) : nullptr;
    const auto keys = uri != nullptr ? look_ups_of(*uri) : std::nullopt;
    const key_look_up *missing = keys ? missing_key(visit.in, *keys) : nullptr;
    if (missing == nullptr) continue;
    tell(*visit.at, word::uri,
         "no record in scope gives the key '" + missing->key + "' of '" + missing->segment +
             "': " + advice(visit.in, *missing) + "; the read fails with error " +
             (visit.at->is("get_one") ? "102, and the render stops" : "10000"));
  }
  tell_missing_items(subject, tell, there::no_key);
}

// Finds lines whose record no node above reads.
void find_records_out_of_scope(const subject &subject, const teller &tell) {
  tell_missing_items(subject, tell, there::no_record);
}

namespace {

// Reports items that are `missing` on a way on which another item of the line is present.
void tell_lines_with_gaps(const subject &subject, const teller &tell, const auto &missing,
                          const char *message) {
  if (!subject.ways.complete) return;
  for (const auto &[record, ways] : print_ways(subject.ways)) {
    const auto lines = record->property_lines();
    for (size_t item = 0; item < lines.size(); ++item) {
      if (always_missing(ways, item)) continue; // reported by another rule
      const bool fails = std::any_of(ways.begin(), ways.end(), [&](const std::vector<item_state> &states) {
        const bool other = std::any_of(states.begin(), states.end(),
                                       [](const item_state &state) { return state.state == there::yes; });
        return other && missing(states[item]);
      });
      if (fails) tell(*record, lines[item]->number, message);
    }
  }
}

} // namespace

// Finds lines of several records, one of which is missing on some way on which another one is in scope.
void find_incomplete_lines(const subject &subject, const teller &tell) {
  tell_lines_with_gaps(
      subject, tell, is_missing,
      "on one way to this line this record is missing while another of the line is there, and the line "
      "fails with error 10000 (Property cache is incomplete); print the two on lines of their own");
}

// Finds lines of several records where one belongs to an outer group, which may not have it.
void find_optional_records(const subject &subject, const teller &tell) {
  tell_lines_with_gaps(
      subject, tell, [](const item_state &item) { return item.state == there::perhaps; },
      "an outer group has this record for some places only; elsewhere, with another record of the line "
      "there, "
      "the line fails with error 10000 (Property cache is incomplete); print the two on lines of their own");
}

// Finds records of lists that are named by a plain path: they need '?' or a key.
void find_plain_paths_of_lists(const subject &subject, const teller &tell) {
  for (const visit &visit : subject.ways.visits) {
    const zu_tvr_props_map *map = visit.in.known ? map_of(*visit.at) : nullptr;
    if (map == nullptr) continue;
    const auto lines = visit.at->property_lines();
    size_t index = 0;
    for (const zu_tvr_uri_item *item = map->uri_items; item != nullptr && index < lines.size();
         item = item->next, ++index) {
      const auto text = pattern_of(*item->uri);
      if (!text || item->uri->kind != URI_KIND_OBJECT) continue;
      const scope_entry *entry = entry_for(visit.in, *item->uri, *text);
      const bool keyed = text->find(';', text->rfind('/')) != text->npos;
      if (entry == nullptr || entry->what != kind::record || keyed || entry->uri != list_of(*text)) continue;
      const std::string written = item->uri->text;
      const size_t slash = written.rfind('/');
      tell(*visit.at, lines[index]->number,
           "only a record without a key is named like this, and " + who(*entry) + " reads a list; write " +
               written.substr(0, slash) + "?" + written.substr(slash + 1));
    }
  }
}

} // namespace tovra::check
