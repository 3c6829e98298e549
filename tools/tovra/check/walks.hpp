// Every way on which a render comes to a node, with the records that are in scope there.
#pragma once

#include <deque>
#include <utility>

#include "templates.hpp"
#include "uri_text.hpp"

namespace tovra::check {

// What a node above puts in scope.
struct scope_entry {
  enum class kind {
    record,       // of a collection, or of a group that is iterated
    single,       // read one by one: it has no collection, so no key can be taken from it
    location,     // the place of a record, pushed with it
    group_member, // pushed with a record of the same place, where there is one
    group         // the records of a group, for '#' and iterations
  };
  const record *by;
  kind what;
  pattern uri;      // single: the record's own; else its collection's
  std::string path; // of the record; empty for a place
};

struct frame {
  const frame *below;
  scope_entry entry;
};

struct scope {
  const frame *records = nullptr;
  const frame *groups = nullptr;
  bool known = true; // false: something above could not be told
};

struct step {
  const step *above;
  const record *at;
};

struct visit {
  const record *at;
  scope in;
  const step *way; // ends in the record itself
};

struct walks {
  std::deque<visit> visits; // in the order of the walk
  bool complete = true;     // false: there are too many ways to follow them all
  std::vector<std::pair<const record *, const record *>> loops; // a jump, and the node that is open there

  std::deque<frame> frames;
  std::deque<step> steps;
};

// Of a render of the whole configuration; without a node "config", of every node at the top.
walks follow(const template_set &set);

// The templates of a record: of its "Uri:" line, or none.
const zu_tvr_uri *uri_of(const record &record);
std::optional<std::string> path_read_by(const record &record);

// The entry that a key is taken from, or that holds the record that a print node's URI names; or none. A
// collection may hold a record: whether it does is not known here.
const scope_entry *entry_for(const scope &in, const key_look_up &look_up);
const scope_entry *entry_for(const scope &in, const zu_tvr_uri &uri, const pattern &text);

} // namespace tovra::check
