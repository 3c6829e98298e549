// Rules about records and lists that are read more than once in a render. Below a key, the library reads a
// whole list at once, hands out each of its records once, and remembers that the list was read: a second read
// finds nothing.
#include <algorithm>
#include <map>

#include "rules.hpp"

namespace tovra::check {

namespace {

using kind = scope_entry::kind;

// A read of a record or list with keys. Two reads with the same URI and mark read the same data.
struct read {
  const visit *by;
  pattern uri;
  std::string mark;                         // where the keys come from
  std::vector<const scope_entry *> sources; // the entries in scope that give the keys
};

std::optional<read> keyed_read(const visit &visit) {
  const zu_tvr_uri *uri = visit.in.known ? uri_of(*visit.at) : nullptr;
  const auto text = uri != nullptr ? pattern_of(*uri) : std::nullopt;
  const auto keys = uri != nullptr ? look_ups_of(*uri) : std::nullopt;
  if (!text || !keys || !is_keyed_below_first(*text)) return std::nullopt;
  read made{&visit, *text, "", {}};
  for (const key_look_up &key : *keys) {
    const scope_entry *source = entry_for(visit.in, key);
    if (source == nullptr) return std::nullopt;
    made.sources.push_back(source);
    // A collection gives the same records to all who read it; a location or a group member depends on the
    // node that pushed it.
    made.mark += " " + source->uri;
    if (source->what != kind::record) made.mark += "@" + source->by->id;
  }
  return made;
}

bool is_on(const step *way, const record *at) {
  while (way != nullptr && way->at != at) way = way->above;
  return way != nullptr;
}

// True when a condition may keep the render from one of the two places.
bool one_excludes_other(const step *one, const step *other) {
  const auto guarded = [](const step *way, const step *common) {
    for (; way != nullptr && !is_on(common, way->at); way = way->above) {
      if (way->at->find(word::cond) != nullptr) return true;
    }
    return false;
  };
  return guarded(one, other) || guarded(other, one);
}

std::string place(const record &record) {
  return record.file + ":" + std::to_string(record.number_of(word::uri));
}

} // namespace

// Finds the second read of a record, which finds nothing.
void find_second_reads(const subject &subject, const teller &tell) {
  std::map<std::string, read> seen;
  for (const visit &visit : subject.ways.visits) {
    if (!visit.at->is("get_one")) continue;
    const auto read = keyed_read(visit);
    if (!read) continue;
    const auto [first, is_first] = seen.try_emplace(read->uri + read->mark, *read);
    if (is_first || one_excludes_other(first->second.by->way, visit.way)) continue;
    tell(*visit.at, word::uri,
         "the record is read before, at " + place(*first->second.by->at) +
             ", and the first record below a key that is read twice is not found again: what is below this "
             "read is left out there; hang it below the other read");
  }
}

// Finds reads that are the same for every record of a list around them.
void find_reads_per_instance(const subject &subject, const teller &tell) {
  std::set<const record *> told;
  for (const visit &visit : subject.ways.visits) {
    const auto read = visit.at->is("get_one") ? keyed_read(visit) : std::nullopt;
    if (!read || told.contains(visit.at)) continue;
    for (const step *above = visit.way->above; above != nullptr; above = above->above) {
      const record *at = above->at;
      if (!at->is("get_collection") && !at->is("iter")) continue;
      const bool gives_key = std::any_of(read->sources.begin(), read->sources.end(),
                                         [at](const scope_entry *source) { return source->by == at; });
      if (gives_key) continue;
      // The iteration below a group goes through the group's records.
      if (at->find(word::group) != nullptr) continue;
      told.insert(visit.at);
      tell(*visit.at, word::uri,
           "the same record is read for every record of '" + at->id +
               "', and a record below a key is not found a second time; read it above '" + at->id + "'");
      break;
    }
  }
}

// Finds records that are read before their list: the list then seems to be empty.
void find_hidden_lists(const subject &subject, const teller &tell) {
  std::map<std::string, const visit *> lists; // the lists of which a record was read alone
  for (const visit &visit : subject.ways.visits) {
    const auto read = keyed_read(visit);
    if (!read) continue;
    if (visit.at->is("get_one")) {
      // A key of the record itself is not a key of its list.
      const auto list = list_of(read->uri);
      const auto keys = look_ups_of(*uri_of(*visit.at));
      const bool own_key = keys && !keys->empty() && read->uri.ends_with(any_value);
      if (list && !own_key) lists.try_emplace(*list + read->mark, &visit);
      continue;
    }
    const auto hiding = lists.find(read->uri + read->mark);
    if (hiding == lists.end() || one_excludes_other(hiding->second->way, visit.way)) continue;
    tell(*visit.at, word::uri,
         "a record of this list is read before it, at " + place(*hiding->second->at) +
             ", which hides the list: the first one is taken as empty; read the list first");
  }
}

} // namespace tovra::check
