// Rules about conditions.
#include <algorithm>

#include "cli_exec/cli_exec.h"
#include "cond_text.hpp"
#include "nearest.hpp"
#include "placed.hpp"
#include "rules.hpp"
#include "zuapi/zuapi.h"

namespace tovra::check {

namespace {

using nlohmann::json;

const zu_tvr_print_data *print_with_condition(const record &record) {
  if (record.node == nullptr || record.node->type != TVR_NODE_PRINT) return nullptr;
  const auto *data = static_cast<const zu_tvr_print_data *>(record.node->data);
  return data->cond != nullptr ? data : nullptr;
}

// Why the condition does not parse; empty when it does.
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

// A comparison of a plain property with a literal, when the data or its classes know the property.
struct known_comparison {
  comparison of;
  const placed_property *property;
  std::string path;
  const property_data *about;
};

void for_known_comparisons(const subject &subject, const auto &look) {
  if (subject.data == nullptr) return;
  for (const record &record : subject.templates.records) {
    const auto *data = print_with_condition(record);
    if (data == nullptr || !record.sound || !refusal_of(data->cond).empty()) continue;
    const auto placed = placed_properties(record);
    for (const comparison &each : comparisons_in(data->cond)) {
      const auto property = std::find_if(placed.begin(), placed.end(), [&each](const placed_property &at) {
        return "tvr" + std::to_string(at.slot) == each.name;
      });
      if (property == placed.end() || property->kind != TVR_KIND_PLAIN) continue;
      const auto uri = pattern_of(*property->item->uri);
      const auto *about = uri ? subject.data->find(path_of(*uri), property->name) : nullptr;
      if (about == nullptr || !about->is_known() || about->may_be(value_kind::array)) continue;
      look(record, known_comparison{each, &*property, path_of(*uri), about});
    }
  }
}

bool is_order(const std::string &op) {
  return op != "eq" && op != "ne";
}

// True when the comparison orders numbers like texts, digit by digit.
bool compares_digits(const known_comparison &found) {
  const json &literal = bare(found.of.literal);
  const std::string text = literal.is_string() ? literal.get<std::string>() : literal.dump();
  return is_order(found.of.op) && found.about->is_number_in_text(text.size());
}

} // namespace

// Finds comparisons with a value that the property never has.
void find_literals_of_no_value(const subject &subject, const teller &tell) {
  for_known_comparisons(subject, [&tell](const record &at, const known_comparison &found) {
    const json &literal = bare(found.of.literal);
    const auto kind = kind_of(literal);
    if (!kind) return;
    const std::string property = "'" + found.property->name + "' of " + found.path;
    const std::string effect = is_order(found.of.op) ? " compares texts"
                               : found.of.op == "ne" ? " always holds"
                                                     : " never holds";
    if (!found.about->may_be(*kind)) {
      if (compares_digits(found)) return; // reported by the rule for that
      tell(at, word::cond,
           property + " is never " + words_of(*kind) + ": " + found.of.text + effect + "; write " +
               found.about->kinds_in_words());
      return;
    }
    const json allowed = found.about->said.is_object() ? found.about->said.value("enum", json()) : json();
    const auto same = [&literal](const json &each) { return bare(each) == literal; };
    if (is_order(found.of.op) || !allowed.is_array() || std::any_of(allowed.begin(), allowed.end(), same))
      return;
    std::set<std::string> names;
    for (const json &each : allowed) names.insert(each.dump());
    tell(at, word::cond,
         property + " is never " + literal.dump() + ", which its class does not allow: " + found.of.text +
             effect + did_you_mean(literal.dump(), names));
  });
}

// Finds comparisons of numbers that the data has as texts: they are compared as texts.
void find_compared_texts(const subject &subject, const teller &tell) {
  for_known_comparisons(subject, [&tell](const record &at, const known_comparison &found) {
    if (!compares_digits(found)) return;
    tell(at, word::cond,
         "the numbers in '" + found.property->name + "' of " + found.path + " are texts, and " +
             found.of.text + " compares texts, in which 9 is greater than 10; " + number_advice);
  });
}

// Finds conditions that do not parse: the line fails, and the whole render with it.
void find_bad_conditions(const subject &subject, const teller &tell) {
  for (const record &record : subject.templates.records) {
    const auto *data = print_with_condition(record);
    const std::string refusal = data != nullptr ? refusal_of(data->cond) : "";
    if (!refusal.empty())
      tell(record, word::cond, "the condition does not parse, and its line fails: " + refusal);
  }
}

// Finds properties in conditions that no line of the record has: their value is always null.
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

// Finds pairs with null: when defaults are rendered, they make the property null, whatever its value.
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

// Finds plain names beside pairs: when defaults are rendered, a condition with eval pairs sets only the
// properties of its pairs.
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
