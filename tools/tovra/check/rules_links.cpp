// Rules about how the nodes hang together.
#include "nearest.hpp"
#include "rules.hpp"

namespace tovra::check {

// A parent that no record defines: nothing is rendered at all.
void find_orphans(const subject &subject, const teller &tell) {
  const template_set &set = subject.templates;
  for (const record &record : set.records) {
    const std::string &parent = record.parent;
    if (record.id.empty() || parent.empty() || parent == "ROOT" || set.by_id(parent) != nullptr) continue;
    tell(record, word::parent,
         "no record is '" + parent + "': the templates do not load (Unable to find parent for node: " +
             record.id + ")" + did_you_mean(parent, set.ids()));
  }
}

// A destination that no record defines: the render fails when it comes there.
void find_unresolved_jumps(const subject &subject, const teller &tell) {
  const template_set &set = subject.templates;
  for (const record &record : set.records) {
    if (!record.is("push_mode") || record.format == "ROOT" || set.by_id(record.format) != nullptr) continue;
    tell(record, word::dest,
         "no record is '" + record.format + "': the render stops here with error 10002" +
             did_you_mean(record.format, set.ids()));
  }
}

// A jump to a node that is open where the jump stands.
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

// A node that is neither below "config" nor in a submode that is entered.
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
           "push_mode record");
    }
  }
}

// Without it only parts can be rendered.
void find_missing_config(const subject &subject, const teller &tell) {
  const template_set &set = subject.templates;
  if (set.named.empty() || set.by_id("config") != nullptr) return;
  tell(set.files.front(), 0,
       "no record is 'config', where a render of the whole configuration begins: it fails with error 10000" +
           did_you_mean("config", set.ids()));
}

// An iteration walks the group of a collection above it.
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
