// All ways on which a render can come to a node, with the records that are in scope there. A node in a
// submode may be reached by several jumps, and is right on one way and wrong on another; so rules look at
// each way.
#pragma once

#include <deque>
#include <utility>

#include "templates.hpp"
#include "uri_text.hpp"

namespace tovra::check {

// An entry that a node above has put in scope.
struct scope_entry {
  enum class kind {
    record,       // of a collection, or of the group that an iteration walks
    single,       // a record that was read alone: without a collection, so it gives no keys
    location,     // the location of a record, pushed together with it
    group_member, // pushed with a record of the same location, if there is one
    group         // all records of a group, for '#' and for iterations
  };
  const record *by;
  kind what;
  pattern uri;      // of a single record its own; otherwise that of the collection
  std::string path; // of the record; empty for a location
};

struct frame {
  const frame *below;
  scope_entry entry;
};

struct scope {
  const frame *records = nullptr;
  const frame *groups = nullptr;
  bool known = true; // false: the scope depends on something above that could not be read
};

struct step {
  const step *above;
  const record *at;
};

struct visit {
  const record *at;
  scope in;
  const step *way; // from the start to the record itself
};

struct walks {
  std::deque<visit> visits; // in the order of the walk
  bool complete = true;     // false: there are too many ways, and some were not followed
  std::vector<std::pair<const record *, const record *>> loops; // a jump, and the open node to which it leads

  std::deque<frame> frames;
  std::deque<step> steps;
};

// Follows a render of the whole configuration. Without a node "config", follows all nodes at the top.
walks follow(const template_set &set);

// The URI template of the record's "Uri:" line, or null.
const zu_tvr_uri *uri_of(const record &record);
std::optional<std::string> path_read_by(const record &record);

// The entry that gives a key, or that has the record which a print node's URI names; null when there is none.
// For a collection it is not known here whether it has the record.
const scope_entry *entry_for(const scope &in, const key_look_up &look_up);
const scope_entry *entry_for(const scope &in, const zu_tvr_uri &uri, const pattern &text);

} // namespace tovra::check
