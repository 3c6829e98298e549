// Counts what happened at each node of the templates in a render.
#include "census.hpp"

#include <algorithm>
#include <vector>

#include "reasons.hpp"

namespace tovra::follow {

node_account &census_watch::account_of(const zu_tvr_node *node) {
  if (node != last_) {
    last_ = node;
    last_account_ = &accounts_[node];
  }
  return *last_account_;
}

void census_watch::other(const zu_tvr_event &event) {
  if (event.node == nullptr) return;
  node_account &account = account_of(event.node);
  switch (event.kind) {
  case ZU_TVR_EVENT_ASK:
    account.asked = event.uri != nullptr ? event.uri : "";
    break;
  case ZU_TVR_EVENT_RECORD:
    ++account.records;
    break;
  case ZU_TVR_EVENT_WITHHELD:
    ++account.withheld[event.reason];
    if (account.reason.empty()) account.reason = reason(event);
    break;
  case ZU_TVR_EVENT_ERROR:
    ++account.errors;
    if (account.error.empty()) account.error = std::to_string(event.code) + ": " + event.message;
    break;
  default:
    break;
  }
}

census census_watch::counted() const {
  census all;
  for (const auto &[node, counted] : accounts_) {
    if (const char *id = zu_tvr_node_id(node)) all[id] = counted;
  }
  return all;
}

namespace {

// True when no walk of the node brought anything for which its children could be walked.
bool found_nothing(const zu_tvr_node &node, const node_account &account) {
  if (account.errors != 0) return false;
  return node.type == TVR_NODE_PRINT
             ? account.lines == 0
             : account.records == 0 && node.type != TVR_NODE_NOOP && node.type != TVR_NODE_JUMP;
}

std::string why_not_below(const zu_tvr_node &node, const node_account &account) {
  const std::string place = place_of(node);
  if (account.errors != 0) return place + " ended with error " + account.error;
  if (!found_nothing(node, account)) return place + ": the render did not go on from there";
  if (node.type == TVR_NODE_PRINT) return place + " wrote no line: " + account.reason;
  if (node.type == TVR_NODE_ITER) return place + " found no group of records";
  return place + " asked for " + (account.asked.empty() ? "a record" : account.asked) + ": there is none";
}

} // namespace

// A search from all walked nodes at the same time, one step further each time. It does not start from the
// root, which leads everywhere.
never_walked::never_walked(const zu_tvr_tree &tree, const census &all) : all_(all) {
  std::vector<const zu_tvr_node *> reached;
  for (const auto &[id, account] : all) {
    const zu_tvr_node *node = find_node(tree, id);
    if (node != nullptr && node != tree.root) reached.push_back(node);
  }
  std::sort(reached.begin(), reached.end(),
            [](const zu_tvr_node *a, const zu_tvr_node *b) { return a->ordinal < b->ordinal; });
  for (const zu_tvr_node *node : reached) nearest_[node] = node;
  for (size_t at = 0; at < reached.size(); ++at) {
    const zu_tvr_node *node = reached[at];
    const zu_tvr_node *nearest = nearest_[node];
    const auto reach = [&](const zu_tvr_node *next) {
      if (next != nullptr && nearest_.emplace(next, nearest).second) reached.push_back(next);
    };
    if (node->type == TVR_NODE_JUMP) reach(static_cast<const zu_tvr_jump_data *>(node->data)->dest);
    for (const zu_tvr_node *child = node->first_child; child != nullptr; child = child->next_sibling) {
      reach(child);
    }
  }
}

std::string never_walked::why(const zu_tvr_node *node) const {
  if (const auto found = nearest_.find(node); found != nearest_.end()) {
    return why_not_below(*found->second, all_.at(zu_tvr_node_id(found->second)));
  }
  return "no node that was walked leads there, as its parent or by a jump";
}

bool never_walked::for_lack_of_data(const zu_tvr_node *node) const {
  const auto found = nearest_.find(node);
  return found != nearest_.end() && found_nothing(*found->second, all_.at(zu_tvr_node_id(found->second)));
}

} // namespace tovra::follow
