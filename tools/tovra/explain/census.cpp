// What became of each node of the templates in a render.
#include "census.hpp"

#include <glib.h>
#include <set>

#include "words.hpp"

namespace tovra::explain {

void census_watch::other(const zu_tvr_event &event) {
  if (event.node == nullptr) return;
  node_account &account = accounts_[event.node];
  switch (event.kind) {
  case ZU_TVR_EVENT_ASK:
    account.asked = event.uri != nullptr ? event.uri : "";
    break;
  case ZU_TVR_EVENT_RECORD:
    ++account.records;
    break;
  case ZU_TVR_EVENT_WITHHELD:
    ++account.withheld[event.reason];
    account.reason = reason(event);
    break;
  case ZU_TVR_EVENT_ERROR:
    ++account.errors;
    account.reason = "error " + std::to_string(event.code) + ": " + event.message;
    break;
  default:
    break;
  }
}

void census_watch::add_to(census &all) const {
  for (const auto &[node, counted] : accounts_) {
    const char *id = zu_tvr_node_id(node);
    if (id == nullptr) continue;
    node_account &account = all[id];
    account.walks += counted.walks;
    account.lines += counted.lines;
    account.records += counted.records;
    account.errors += counted.errors;
    for (const auto &[why, times] : counted.withheld) account.withheld[why] += times;
    account.asked = counted.asked;
    account.reason = counted.reason;
  }
}

namespace {

// The nodes that lead to a node: its parent, or the jumps to it.
std::vector<const zu_tvr_node *> leading_to(const zu_tvr_tree &tree, const zu_tvr_node *node) {
  std::vector<const zu_tvr_node *> found;
  if (node->parent != nullptr && node->parent != tree.root) found.push_back(node->parent);
  GHashTableIter iter;
  g_hash_table_iter_init(&iter, tree.nodes);
  void *other = nullptr;
  while (g_hash_table_iter_next(&iter, nullptr, &other)) {
    const auto *jump = static_cast<const zu_tvr_node *>(other);
    if (jump->type != TVR_NODE_JUMP) continue;
    if (static_cast<const zu_tvr_jump_data *>(jump->data)->dest == node) found.push_back(jump);
  }
  return found;
}

std::string why_not_below(const zu_tvr_node &node, const node_account &account) {
  const std::string place = place_of(node);
  if (account.errors != 0) return place + " ended with " + account.reason;
  if ((node.type == TVR_NODE_COLL || node.type == TVR_NODE_CRUDX) && account.records == 0) {
    return place + " asked for " + (account.asked.empty() ? "a record" : account.asked) + ": there is none";
  }
  if (node.type == TVR_NODE_ITER && account.records == 0) return place + " found no group of records";
  if (node.type == TVR_NODE_PRINT && account.lines == 0) return place + " wrote no line: " + account.reason;
  return "the render ended before it, below " + place;
}

} // namespace

std::string why_never_walked(const zu_tvr_tree &tree, const std::string &id, const census &all) {
  std::set<const zu_tvr_node *> seen;
  std::vector<const zu_tvr_node *> level = {find_node(tree, id)};
  while (!level.empty()) {
    std::vector<const zu_tvr_node *> next;
    for (const zu_tvr_node *node : level) {
      for (const zu_tvr_node *above : leading_to(tree, node)) {
        const auto account = all.find(zu_tvr_node_id(above));
        if (account != all.end()) return why_not_below(*above, account->second);
        if (seen.insert(above).second) next.push_back(above);
      }
    }
    level = std::move(next);
  }
  return "nothing leads to it: it is not below where the render begins, and no jump that is walked goes "
         "there";
}

} // namespace tovra::explain
