// What an explanation says of values.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "zu_tovra/zu_tovra.h"

namespace tovra::explain {

// A property that a line read.
struct shown_value {
  std::string slot; // "%s" and its number, from 1, or "$tvrN"
  std::string property;
  std::string value; // as JSON; a password is not shown
  std::string record;
  bool is_default;
};

std::vector<shown_value> values_of(const zu_tvr_event &event);

// Values below each other, in columns, each line after `before`.
std::string as_text(const std::vector<shown_value> &values, const std::string &before);
nlohmann::ordered_json as_json(const std::vector<shown_value> &values);

} // namespace tovra::explain
