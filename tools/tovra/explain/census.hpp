// What became of each node of the templates in a render.
#pragma once

#include <map>
#include <string>
#include <unordered_map>

#include "watch.hpp"

namespace tovra::explain {

struct node_account {
  uint64_t walks = 0;
  uint64_t lines = 0;
  uint64_t records = 0; // brought into scope
  uint64_t errors = 0;
  std::map<int32_t, uint64_t> withheld; // by ZU_TVR_WITHHELD_*
  std::string asked;                    // the URI asked for last
  std::string reason;                   // of the line withheld last, or of the error
};

// By the id of the node.
using census = std::map<std::string, node_account>;

// Counts while it watches.
class census_watch : public watch {
public:
  // Adds what it counted.
  void add_to(census &all) const;

protected:
  void entered() override { ++accounts_[steps().back().node].walks; }
  void line(const zu_tvr_event &event, const written_piece &) override { ++accounts_[event.node].lines; }
  void other(const zu_tvr_event &event) override;

private:
  std::unordered_map<const zu_tvr_node *, node_account> accounts_;
};

// Why a node was never walked: what became of the nearest node on the way to it that was.
std::string why_never_walked(const zu_tvr_tree &tree, const std::string &id, const census &all);

} // namespace tovra::explain
