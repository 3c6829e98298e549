// The words in which an explanation describes values.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "zu_tovra/zu_tovra.h"

namespace tovra::explain {

// A property whose value a line used.
struct shown_value {
  std::string slot; // "%s" and its number from 1, or "$tvrN"
  std::string property;
  std::string value; // as JSON; passwords are hidden
  std::string record;
  bool is_default;
};

std::vector<shown_value> values_of(const zu_tvr_event &event);

// The values in columns, one per line, each line after `before`.
std::string as_text(const std::vector<shown_value> &values, const std::string &before);
nlohmann::ordered_json as_json(const std::vector<shown_value> &values);

} // namespace tovra::explain
