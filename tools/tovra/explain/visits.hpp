// Explains a node: what happened at it for each record in scope.
#pragma once

#include <functional>

#include "../follow/census.hpp"
#include "words.hpp"

namespace tovra::explain {

// One result of a walk of the node.
struct outcome {
  uint64_t number = 0; // of the line that it wrote; 0: none
  std::string told;    // the line, or what happened instead
  std::string reason;  // the short name of the reason for no line, or empty
  std::vector<shown_value> values;
};

struct visit {
  std::string record; // the innermost record in scope, or empty
  std::vector<outcome> outcomes;
};

// Hands over each walk of the node with the given id. If a record is named, only events while it is in scope
// are reported and counted.
class visit_watch : public follow::census_watch {
public:
  visit_watch(std::string id, std::string record, std::function<void(const visit &)> take)
      : id_(std::move(id)), record_(std::move(record)), take_(std::move(take)) {}

private:
  void entered() override;
  void left() override;
  void line(const zu_tvr_event &event, const written_piece &piece) override;
  void other(const zu_tvr_event &event) override;
  bool at_hand(const zu_tvr_event &event) const {
    return depth_ != 0 && event.node == steps()[depth_ - 1].node;
  }
  bool in_scope() const;
  bool is_wanted() const;

  std::string id_;
  std::string record_;
  std::function<void(const visit &)> take_;
  size_t depth_ = 0; // depth of the node's step; 0: it is not being walked
  visit visit_;
  uint64_t records_ = 0;
};

std::string as_text(const visit &visit);
nlohmann::ordered_json as_json(const visit &visit);

} // namespace tovra::explain
