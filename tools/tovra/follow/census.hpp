// Counts what happened at each node of the templates in a render.
#pragma once

#include <map>
#include <string>
#include <unordered_map>

#include "watch.hpp"

namespace tovra::follow {

struct node_account {
  uint64_t walks = 0;
  uint64_t lines = 0;
  uint64_t records = 0; // that it brought into scope
  uint64_t errors = 0;
  std::map<int32_t, uint64_t> withheld; // by ZU_TVR_WITHHELD_*
  std::string asked;                    // the URI that it asked for last
  std::string reason;                   // for the first line that was withheld
  std::string error;                    // the first one
};

// By the id of the node.
using census = std::map<std::string, node_account>;

// Counts while it follows a render.
class census_watch : public watch {
public:
  census counted() const;

protected:
  void entered() override { ++account_of(steps().back().node).walks; }
  void line(const zu_tvr_event &event, const written_piece &) override { ++account_of(event.node).lines; }
  void other(const zu_tvr_event &event) override;

private:
  node_account &account_of(const zu_tvr_node *node);

  std::unordered_map<const zu_tvr_node *, node_account> accounts_;
  const zu_tvr_node *last_ = nullptr; // the last node that was looked up, with its account
  node_account *last_account_ = nullptr;
};

// Explains why nodes were never walked: something went wrong at the nearest node before them that was walked.
class never_walked {
public:
  never_walked(const zu_tvr_tree &tree, const census &all);
  std::string why(const zu_tvr_node *node) const;
  // True when data was missing there. Otherwise the render ended earlier, or went another way.
  bool for_lack_of_data(const zu_tvr_node *node) const;

private:
  const census &all_;
  std::unordered_map<const zu_tvr_node *, const zu_tvr_node *> nearest_;
};

} // namespace tovra::follow
