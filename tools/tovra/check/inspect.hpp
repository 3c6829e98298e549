// A whole check.
#pragma once

#include "rules.hpp"

namespace tovra::check {

struct inspection {
  template_set set;
  walks ways;
  findings found; // sorted
};

// Checks the templates of the directories, together with the data if it is not null.
inspection inspect(const std::string &directories, const data_set *data, const text_source &texts = {});

} // namespace tovra::check
