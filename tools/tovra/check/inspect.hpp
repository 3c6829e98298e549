// A whole check.
#pragma once

#include "rules.hpp"

namespace tovra::check {

struct inspection {
  template_set set;
  walks ways;
  findings found; // in order
};

// Checks the templates of the directories, with the data if there is some.
inspection inspect(const std::string &directories, const data_set *data, const text_source &texts = {});

} // namespace tovra::check
