// Finds what one render covers, and compares coverage with limits.
#include "gather.hpp"

#include <cstdio>

#include "../follow/census.hpp"
#include "../follow/reasons.hpp"
#include "../output.hpp"
#include "data_account.hpp"

namespace tovra::coverage {

namespace {

class cover_watch : public follow::census_watch {
public:
  explicit cover_watch(data_account &data) : data_(data) {}

private:
  void line(const zu_tvr_event &event, const written_piece &piece) override {
    census_watch::line(event, piece);
    data_.written(event);
  }
  void other(const zu_tvr_event &event) override {
    census_watch::other(event);
    if (event.kind == ZU_TVR_EVENT_WITHHELD) data_.withheld(event);
  }

  data_account &data_;
};

node_cover cover_of(const zu_tvr_node &node, const follow::census &all, const follow::never_walked &never) {
  node_cover made;
  made.op = op_name(node);
  made.conditional = !follow::condition_of(node).empty();
  const auto found = all.find(zu_tvr_node_id(&node));
  if (found == all.end()) {
    made.never = never.why(&node);
    made.for_lack_of_data = never.for_lack_of_data(&node);
    return made;
  }
  const follow::node_account &account = found->second;
  made.walks = account.walks;
  made.lines = account.lines;
  made.records = account.records;
  made.errors = account.errors;
  for (const auto &[why, times] : account.withheld) made.withheld[follow::reason_name(why)] = times;
  return made;
}

bool enough(const char *what, const share &got, std::optional<double> limit) {
  if (!limit || !got.is_under(*limit)) return true;
  char wanted[32];
  std::snprintf(wanted, sizeof wanted, "%g %%", *limit);
  say("tovra: " + got.percent() + " of the " + what + ", less than " + wanted);
  return false;
}

} // namespace

bool gather(request &made, const std::string &data, report &into) {
  data_account account;
  zu_data_ifc *store = made.store();
  if (const int code = store != nullptr ? account.read(store) : ZU_OK; code != ZU_OK) {
    say("error " + std::to_string(code) + ": " + data + " cannot be read");
    say_fault(store);
    return false;
  }
  cover_watch watch(account);
  const bool rendered = watch.follow(made);
  const follow::census all = watch.counted();
  if (all.empty()) return false; // nothing was rendered
  const follow::never_walked never(made.tree(), all);
  report got;
  for (const auto &[node, id] : node_ids(made.tree())) {
    if (const char *file = zu_tvr_node_file(node)) {
      got.templates[file][{zu_tvr_node_line(node), id}] = cover_of(*node, all, never);
    }
  }
  got.data[data] = account.result();
  into.add(std::move(got));
  return rendered;
}

std::vector<option> add_limits(command &to, limits &asked) {
  const auto add = [&to](const char *name, std::optional<double> &into, const char *help) {
    return to.add(name, into, help).type("PERCENT").between(0.0, 100.0);
  };
  return {add("--fail-under", asked.nodes, "Fail when less of the nodes is covered"),
          add("--fail-under-properties", asked.properties, "Fail when less of the properties is shown")};
}

bool is_enough(const report &told, const limits &asked) {
  const bool nodes = enough("nodes are covered", told.nodes(), asked.nodes);
  return enough("properties are shown", told.properties(), asked.properties) && nodes;
}

} // namespace tovra::coverage
