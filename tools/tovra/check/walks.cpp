// Follows the templates as the render does: depth first, through jumps, with a stack of records. No data is
// needed: what is in scope at a node depends only on the nodes above it.
#include "walks.hpp"

#include <algorithm>

namespace tovra::check {

namespace {

constexpr size_t most_visits = 20000;
constexpr int deepest = 900; // the library refuses walks deeper than 1,000 nodes

using kind = scope_entry::kind;

class follower {
public:
  explicit follower(const template_set &set) : set_(set) {}

  void start(const record &record) {
    scope in;
    in.known = record.parent.empty() || record.parent == "ROOT";
    visit_node(record, in, nullptr, 0);
  }

  walks take() { return std::move(walks_); }

private:
  void visit_node(const record &at, scope in, const step *above, int depth) {
    if (walks_.visits.size() >= most_visits || depth > deepest) {
      walks_.complete = false;
      return;
    }
    walks_.steps.push_back({above, &at});
    const step *way = &walks_.steps.back();
    walks_.visits.push_back({&at, in, way});
    if (at.is("push_mode")) return jump(at, in, way, depth);
    enter(at, in);
    for (const record *child : set_.children_of(at.id)) visit_node(*child, in, way, depth + 1);
  }

  void jump(const record &from, const scope &in, const step *way, int depth) {
    const record *to = set_.by_id(from.format);
    if (to == nullptr) return;
    for (const step *open = way; open != nullptr; open = open->above) {
      if (open->at != to) continue;
      walks_.loops.emplace_back(&from, to);
      return;
    }
    visit_node(*to, in, way, depth + 1);
  }

  void push(const frame *&stack, scope_entry entry) {
    walks_.frames.push_back({stack, std::move(entry)});
    stack = &walks_.frames.back();
  }

  // Adds what the node's children have in scope.
  void enter(const record &at, scope &in) {
    if (at.node == nullptr && !at.sound) {
      in.known = false; // what it would have put in scope is not known
      return;
    }
    if (at.is("get_collection") || at.is("get_one")) {
      const zu_tvr_uri *uri = uri_of(at);
      const auto text = uri != nullptr ? pattern_of(*uri) : std::nullopt;
      if (!text) {
        in.known = false;
      } else if (at.is("get_one")) {
        push(in.records, {&at, kind::single, *text, path_of(*text)});
      } else if (at.find(word::group) != nullptr) {
        push(in.groups, {&at, kind::group, *text, path_of(*text)});
      } else {
        push(in.records, {&at, kind::record, *text, path_of(*text)});
        if (at.find(word::location_scheme) != nullptr) push_place(at, in, in.groups);
      }
    } else if (at.is("iter")) {
      if (in.groups == nullptr) {
        in.known = false; // it would walk nothing
        return;
      }
      const scope_entry &group = in.groups->entry;
      push(in.records, {&at, kind::record, group.uri, group.path});
      push_place(at, in, in.groups->below);
    }
  }

  void push_place(const record &by, scope &in, const frame *groups) {
    push(in.records, {&by, kind::location, "//?locations", ""});
    for (; groups != nullptr; groups = groups->below) {
      push(in.records, {&by, kind::group_member, groups->entry.uri, groups->entry.path});
    }
  }

  const template_set &set_;
  walks walks_;
};

const frame *find(const frame *top, const pattern &wanted) {
  while (top != nullptr && (top->entry.what == kind::single || !can_match(top->entry.uri, wanted))) {
    top = top->below;
  }
  return top;
}

} // namespace

walks follow(const template_set &set) {
  follower follower(set);
  if (const record *config = set.by_id("config")) {
    follower.start(*config);
    return follower.take();
  }
  std::set<std::string> destinations;
  for (const record &record : set.records) {
    if (record.is("push_mode")) destinations.insert(record.format);
  }
  for (const record *top : set.children_of("ROOT")) {
    if (!destinations.contains(top->id)) follower.start(*top);
  }
  return follower.take();
}

const zu_tvr_uri *uri_of(const record &record) {
  if (record.node == nullptr) return nullptr;
  if (record.node->type == TVR_NODE_COLL) {
    return static_cast<const zu_tvr_coll_data *>(record.node->data)->coll_uri;
  }
  if (record.node->type == TVR_NODE_CRUDX) {
    return static_cast<const zu_tvr_crudx_data *>(record.node->data)->uri;
  }
  return nullptr;
}

std::optional<std::string> path_read_by(const record &record) {
  const zu_tvr_uri *uri = uri_of(record);
  const auto text = uri != nullptr ? pattern_of(*uri) : std::nullopt;
  return text ? std::optional(path_of(*text)) : std::nullopt;
}

const scope_entry *entry_for(const scope &in, const key_look_up &look_up) {
  if (!look_up.wanted) return nullptr;
  const frame *found = find(look_up.separator == '#' ? in.groups : in.records, *look_up.wanted);
  return found != nullptr ? &found->entry : nullptr;
}

const scope_entry *entry_for(const scope &in, const zu_tvr_uri &uri, const pattern &text) {
  if (uri.kind == URI_KIND_COLLECTION) {
    const frame *found = find(in.records, text);
    return found != nullptr ? &found->entry : nullptr;
  }
  const std::string path = path_of(text);
  const scope_entry *perhaps = nullptr; // the innermost entry that may have the record
  for (const frame *at = in.records; at != nullptr; at = at->below) {
    const scope_entry &entry = at->entry;
    const bool holds = entry.what == kind::single ? can_match(entry.uri, text) : entry.path == path;
    if (!holds) continue;
    if (entry.what != kind::group_member) return &entry;
    if (perhaps == nullptr) perhaps = &entry;
  }
  return perhaps;
}

} // namespace tovra::check
