// Rules about conditions.
#include "cli_exec/cli_exec.h"
#include "cond_text.hpp"
#include "placed.hpp"
#include "rules.hpp"
#include "zuapi/zuapi.h"

namespace tovra::check {

namespace {

const zu_tvr_print_data *print_with_condition(const record &record) {
  if (record.node == nullptr || record.node->type != TVR_NODE_PRINT) return nullptr;
  const auto *data = static_cast<const zu_tvr_print_data *>(record.node->data);
  return data->cond != nullptr ? data : nullptr;
}

// None when it parses.
std::string refusal_of(const char *condition) {
  std::string message;
  const auto take = [](void *into, int32_t, const char *told) {
    *static_cast<std::string *>(into) = told;
    return 0;
  };
  zu_cond_list *list = nullptr;
  if (parse_cond_expr_no_trailing(&message, take, "TOVRA", condition, &list)) zu_cond_list_free(list);
  return message;
}

std::string list_of_names(const std::set<std::string> &names) {
  std::string text;
  for (const std::string &name : names) text += (text.empty() ? "$" : ", $") + name;
  return text;
}

} // namespace

// A condition that does not parse fails its line, and with it the render.
void find_bad_conditions(const subject &subject, const teller &tell) {
  for (const record &record : subject.templates.records) {
    const auto *data = print_with_condition(record);
    const std::string refusal = data != nullptr ? refusal_of(data->cond) : "";
    if (!refusal.empty())
      tell(record, word::cond, "the condition does not parse, and its line fails: " + refusal);
  }
}

// A property that no line of the record has is always null.
void find_unknown_condition_names(const subject &subject, const teller &tell) {
  for (const record &record : subject.templates.records) {
    const auto *data = print_with_condition(record);
    if (data == nullptr || !record.sound || !refusal_of(data->cond).empty()) continue;
    std::set<std::string> known;
    for (const placed_property &property : placed_properties(record)) {
      known.insert("tvr" + std::to_string(property.slot));
    }
    for (const std::string &name : names_in(data->cond)) {
      if (known.contains(name)) continue;
      tell(record, word::cond,
           "no property of this record is $" + name + ", which is therefore always null; " +
               (known.empty() ? "write 'Props:' for it" : "it has " + list_of_names(known)));
    }
  }
}

// When defaults are rendered, a pair with null makes the property null whatever its value.
void find_null_pairs(const subject &subject, const teller &tell) {
  for (const record &record : subject.templates.records) {
    const auto *data = print_with_condition(record);
    if (data == nullptr || data->eval_props == nullptr || !refusal_of(data->cond).empty()) continue;
    for (const std::string &name : names_in(data->cond)) {
      zu_do_property *pair = zu_do_properties_get_prop(data->eval_props, name.c_str());
      if (pair == nullptr || !zu_do_value_is_null(zu_do_property_get_value(pair))) continue;
      tell(record, word::cond,
           "a pair with null holds for every value when defaults are rendered; write (not (set $" + name +
               "))");
    }
  }
}

// When defaults are rendered, a record with eval pairs sets the properties of its pairs only.
void find_names_beside_pairs(const subject &subject, const teller &tell) {
  for (const record &record : subject.templates.records) {
    const auto *data = print_with_condition(record);
    if (data == nullptr || data->eval_props == nullptr || !refusal_of(data->cond).empty()) continue;
    for (const std::string &name : names_in(data->cond)) {
      if (zu_do_properties_get_prop(data->eval_props, name.c_str()) != nullptr) continue;
      tell(record, word::cond,
           "beside eval pairs $" + name +
               " is null when defaults are rendered; write the pairs as (eq $NAME VALUE)");
    }
  }
}

} // namespace tovra::check
