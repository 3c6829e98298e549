// What the renders of a case cover.
#pragma once

#include "../coverage/gather.hpp"
#include "case_file.hpp"

namespace tovra::test {

// Makes a run once more, in a process of its own that is watched; nothing of runs that render nothing. Files
// are named as from here. Throws std::exception.
coverage::report cover(const golden_case &of, const case_run &run, int seconds);

} // namespace tovra::test
