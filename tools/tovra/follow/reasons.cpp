// The reasons why a line is not written, in words.
#include "reasons.hpp"

#include <cstring>

namespace tovra::follow {

namespace {

constexpr struct {
  int32_t reason;
  const char *name;
} names[] = {{ZU_TVR_WITHHELD_NO_RECORD, "no record"},
             {ZU_TVR_WITHHELD_NULL, "no value"},
             {ZU_TVR_WITHHELD_DEFAULTS, "defaults"},
             {ZU_TVR_WITHHELD_CONDITION, "condition"},
             {ZU_TVR_WITHHELD_EMPTY, "empty value"}};

std::string property_of(const zu_tvr_event &event) {
  std::string property = event.property != nullptr ? event.property : "a property";
  if (event.uri != nullptr) property += std::string(" of ") + event.uri;
  return property;
}

} // namespace

std::string reason(const zu_tvr_event &event) {
  switch (event.reason) {
  case ZU_TVR_WITHHELD_NO_RECORD:
    return event.uri != nullptr ? std::string("no record in scope is ") + event.uri
                                : "no record in scope gives the keys of its URI";
  case ZU_TVR_WITHHELD_NULL:
    return property_of(event) + " has no value";
  case ZU_TVR_WITHHELD_DEFAULTS:
    return "all its values are defaults, which --defaults renders";
  case ZU_TVR_WITHHELD_CONDITION:
    return "its condition is false: " + condition_of(*event.node);
  default:
    return property_of(event) + " is null or empty";
  }
}

const char *reason_name(int32_t reason) {
  for (const auto &row : names) {
    if (row.reason == reason) return row.name;
  }
  return "?";
}

std::string condition_of(const zu_tvr_node &node) {
  if (node.type != TVR_NODE_PRINT) return "";
  const char *condition = static_cast<const zu_tvr_print_data *>(node.data)->cond;
  return condition != nullptr ? condition + std::strspn(condition, " \t") : "";
}

} // namespace tovra::follow
