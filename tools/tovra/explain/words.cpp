// The words in which an explanation describes values.
#include "words.hpp"

#include <algorithm>

#include "../value_json.hpp"

namespace tovra::explain {

namespace {

// The value as JSON; of an array only the element for which the line was written.
nlohmann::ordered_json json_of(const zu_tvr_observed_value &value) {
  zu_do_vlist *elements = value.element >= 0 ? zu_do_value_get_array(value.value, nullptr) : nullptr;
  return value_json(elements != nullptr ? zu_do_vlist_get_value(elements, static_cast<size_t>(value.element))
                                        : value.value);
}

std::string padded(const std::string &text, size_t width) {
  return text + std::string(width > text.size() ? width - text.size() : 0, ' ');
}

} // namespace

std::vector<shown_value> values_of(const zu_tvr_event &event) {
  std::vector<shown_value> values;
  for (uint32_t i = 0; i < event.value_count; ++i) {
    const zu_tvr_observed_value &value = event.values[i];
    shown_value shown;
    shown.slot =
        value.in_format != 0 ? "%s " + std::to_string(value.index + 1) : "$tvr" + std::to_string(value.index);
    shown.property = value.property;
    if (value.element >= 0) shown.property += "[" + std::to_string(value.element) + "]";
    shown.value = value.value == nullptr   ? "none"
                  : value.is_password != 0 ? "<removed>"
                                           : json_of(value).dump(-1, ' ', false, replace_bad_utf8);
    shown.record = value.record != nullptr ? value.record : "";
    shown.is_default = value.is_default != 0;
    values.push_back(std::move(shown));
  }
  return values;
}

std::string as_text(const std::vector<shown_value> &values, const std::string &before) {
  size_t slots = 0, assignments = 0;
  std::vector<std::string> assigned;
  for (const shown_value &value : values) {
    assigned.push_back(value.property + " = " + value.value + (value.is_default ? " (default)" : ""));
    slots = std::max(slots, value.slot.size());
    assignments = std::max(assignments, std::min<size_t>(assigned.back().size(), 40));
  }
  std::string text;
  for (size_t i = 0; i < values.size(); ++i) {
    text += before + padded(values[i].slot, slots) + "  " + padded(assigned[i], assignments) + "  " +
            values[i].record + "\n";
  }
  return text;
}

nlohmann::ordered_json as_json(const std::vector<shown_value> &values) {
  auto made = nlohmann::ordered_json::array();
  for (const shown_value &value : values) {
    made.push_back({{"slot", value.slot},
                    {"property", value.property},
                    {"value", value.value},
                    {"record", value.record},
                    {"default", value.is_default}});
  }
  return made;
}

} // namespace tovra::explain
