// Rules about how nodes are linked.
#include <map>
#include <vector>

#include "nearest.hpp"
#include "rules.hpp"

namespace tovra::check {

// Finds parents that no record defines: then nothing can be rendered at all.
void find_orphans(const subject &subject, const teller &tell) {
  const template_set &set = subject.templates;
  nearest_names near(set.ids());
  for (const record &record : set.records) {
    const std::string &parent = record.parent;
    if (record.id.empty() || parent.empty() || parent == "ROOT" || set.by_id(parent) != nullptr) continue;
    tell(record, word::parent,
         "no record is '" + parent + "': the templates do not load (Unable to find parent for node: " +
             record.id + ")" + near.hint(parent),
         near.nearest(parent));
  }
}

// Finds destinations that no record defines: the render fails when it comes there.
void find_unresolved_jumps(const subject &subject, const teller &tell) {
  const template_set &set = subject.templates;
  nearest_names near(set.ids());
  for (const record &record : set.records) {
    if (!record.is("push_mode") || record.format == "ROOT" || set.by_id(record.format) != nullptr) continue;
    tell(record, word::dest,
         "no record is '" + record.format + "': the render stops here with error 10002" +
             near.hint(record.format),
         near.nearest(record.format));
  }
}

// Finds jumps to a node in which the jump itself is: such a walk would never end.
void find_jump_loops(const subject &subject, const teller &tell) {
  for (const record &record : subject.templates.records) {
    if (record.is("push_mode") && record.format == "ROOT") {
      tell(record, word::dest, "'ROOT' is always being walked: the render stops here with error 10000");
    }
  }
  for (const auto &[jump, open] : subject.ways.loops) {
    tell(*jump, word::dest,
         "'" + open->id +
             "' is being walked when the render comes here, and the render stops with error 10000; "
             "jump to a record that is not above this one");
  }
}

namespace {

constexpr double too_many_ways = 1e6;

// The nodes to which a walk goes from a node.
std::vector<const record *> next_of(const template_set &set, const record &at) {
  if (!at.is("push_mode")) return set.children_of(at.id);
  const record *to = set.by_id(at.format);
  return to != nullptr ? std::vector{to} : std::vector<const record *>();
}

// All nodes that a walk from `start` can reach, each with the number of nodes and jumps that lead to it.
std::map<const record *, size_t> entries_from(const template_set &set, const record &start) {
  std::map<const record *, size_t> entries{{&start, 0}};
  std::vector<const record *> open{&start};
  while (!open.empty()) {
    const record *at = open.back();
    open.pop_back();
    for (const record *next : next_of(set, *at)) {
      const auto [entry, first] = entries.try_emplace(next, 0);
      ++entry->second;
      if (first) open.push_back(next);
    }
  }
  return entries;
}

} // namespace

// Finds submodes that jump to others more than once, each to the next: the number of ways multiplies at each
// of them, and the render of one device would not end. A node is counted after all nodes that lead to it; so
// nodes in a loop of jumps are never counted, and another rule reports the loop.
void find_too_many_ways(const subject &subject, const teller &tell) {
  const template_set &set = subject.templates;
  const record *config = set.by_id("config");
  if (config == nullptr || subject.ways.complete) return;
  std::map<const record *, size_t> waits_for = entries_from(set, *config);
  std::map<const record *, double> ways{{config, 1}};
  std::vector<const record *> counted{config};
  while (!counted.empty()) {
    const record *at = counted.back();
    counted.pop_back();
    for (const record *next : next_of(set, *at)) {
      ways[next] += ways[at];
      if (--waits_for[next] > 0) continue;
      if (ways[next] <= too_many_ways) {
        counted.push_back(next);
      } else if (ways[at] <= too_many_ways) {
        tell(*next, word::cmd,
             "more than a million ways lead here, through submodes that jump to one another: a render that "
             "takes them does not end; jump to each submode once");
      }
    }
  }
}

namespace {

bool is_at_top(const record &record) {
  return record.parent.empty() || record.parent == "ROOT";
}

std::set<const record *> visited(const walks &ways) {
  std::set<const record *> all;
  for (const visit &visit : ways.visits) all.insert(visit.at);
  return all;
}

std::set<std::string> destinations(const template_set &set) {
  std::set<std::string> ids;
  for (const record &record : set.records) {
    if (record.is("push_mode")) ids.insert(record.format);
  }
  return ids;
}

} // namespace

// Finds nodes that are neither below "config" nor in a submode that is entered.
void find_unreached(const subject &subject, const teller &tell) {
  const template_set &set = subject.templates;
  if (set.by_id("config") == nullptr || !subject.ways.complete) return;
  const auto reached = visited(subject.ways);
  const auto entered = destinations(set);
  for (const auto &[id, record] : set.named) {
    if (reached.contains(record) || entered.contains(id)) continue;
    const check::record *parent = is_at_top(*record) ? nullptr : set.by_id(record->parent);
    if (parent != nullptr && parent->is("push_mode")) {
      tell(*record, word::parent,
           "no render comes here: '" + parent->id + "' walks its destination '" + parent->format +
               "', never its children; hang this record below '" + parent->format + "'");
    } else if (is_at_top(*record)) {
      tell(*record, word::cmd,
           "only a render that names this node comes here: write its 'Parent Cmd:', or jump here from a "
           "push_mode record",
           id);
    }
  }
}

// Finds that "config" is missing: without it, only parts can be rendered.
void find_missing_config(const subject &subject, const teller &tell) {
  const template_set &set = subject.templates;
  if (set.named.empty() || set.by_id("config") != nullptr) return;
  tell(set.files.front(), 0,
       "no record is 'config', where a render of the whole configuration begins: it fails with error 10000" +
           nearest_names(set.ids()).hint("config"));
}

// Finds iterations without a group: an iteration walks the group of a collection above it.
void find_iterations_of_nothing(const subject &subject, const teller &tell) {
  std::set<const record *> good;
  std::set<const record *> bad;
  for (const visit &visit : subject.ways.visits) {
    if (!visit.at->is("iter") || !visit.at->sound || !visit.in.known) continue;
    (visit.in.groups != nullptr ? good : bad).insert(visit.at);
  }
  for (const record *record : bad) {
    if (good.contains(record)) continue;
    tell(
        *record, word::op,
        "no get_collection above has 'Group:', so there is nothing to iterate and nothing below is rendered");
  }
}

} // namespace tovra::check
