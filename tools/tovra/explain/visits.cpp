// Explains a node.
#include "visits.hpp"

#include <algorithm>

#include "../follow/reasons.hpp"

namespace tovra::explain {

using nlohmann::ordered_json;

bool visit_watch::in_scope() const {
  return record_.empty() || std::any_of(steps().begin(), steps().end(),
                                        [&](const follow::step &step) { return step.record == record_; });
}

bool visit_watch::is_wanted() const {
  const char *id = zu_tvr_node_id(steps().back().node);
  return id != nullptr && id == id_;
}

void visit_watch::entered() {
  if (!in_scope()) return;
  census_watch::entered();
  if (depth_ != 0 || !is_wanted()) return;
  depth_ = steps().size();
  visit_ = {record(), {}};
  records_ = 0;
}

void visit_watch::left() {
  if (depth_ != steps().size()) return;
  const auto type = steps().back().node->type;
  if (type == TVR_NODE_COLL || type == TVR_NODE_CRUDX || type == TVR_NODE_ITER) {
    visit_.outcomes.push_back({0, "brought " + std::to_string(records_) + " records", "", {}});
  }
  depth_ = 0;
  take_(visit_);
}

void visit_watch::line(const zu_tvr_event &event, const written_piece &piece) {
  if (!in_scope()) return;
  census_watch::line(event, piece);
  if (at_hand(event))
    visit_.outcomes.push_back({piece.last_line, std::string(piece.text), "", values_of(event)});
}

void visit_watch::other(const zu_tvr_event &event) {
  if (!in_scope()) return;
  census_watch::other(event);
  if (event.node == nullptr || !at_hand(event)) return;
  switch (event.kind) {
  case ZU_TVR_EVENT_ASK:
    visit_.outcomes.push_back({0, std::string("asked for ") + event.uri, "", {}});
    break;
  case ZU_TVR_EVENT_RECORD:
    ++records_;
    break;
  case ZU_TVR_EVENT_WITHHELD:
    visit_.outcomes.push_back(
        {0, "no line: " + follow::reason(event), follow::reason_name(event.reason), values_of(event)});
    break;
  default:
    visit_.outcomes.push_back({0, "error " + std::to_string(event.code) + ": " + event.message, "error", {}});
  }
}

std::string as_text(const visit &visit) {
  std::string text = visit.record.empty() ? "  no record in scope\n" : "  record " + visit.record + "\n";
  if (visit.outcomes.empty()) text += "    walked\n";
  for (const outcome &outcome : visit.outcomes) {
    text += "    " + (outcome.number != 0 ? std::to_string(outcome.number) + ": " : "") + outcome.told + "\n";
    text += as_text(outcome.values, "      ");
  }
  return text;
}

ordered_json as_json(const visit &visit) {
  ordered_json outcomes = ordered_json::array();
  for (const outcome &outcome : visit.outcomes) {
    ordered_json made = ordered_json::object();
    if (outcome.number != 0) made["number"] = outcome.number;
    made["told"] = outcome.told;
    if (!outcome.reason.empty()) made["reason"] = outcome.reason;
    if (!outcome.values.empty()) made["values"] = as_json(outcome.values);
    outcomes.push_back(std::move(made));
  }
  return {{"record", visit.record}, {"outcomes", std::move(outcomes)}};
}

} // namespace tovra::explain
