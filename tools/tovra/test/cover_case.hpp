// Finds what the renders of a case cover.
#pragma once

#include "../coverage/gather.hpp"
#include "case_file.hpp"

namespace tovra::test {

// Repeats a run in a process of its own, as `tovra coverage`. Empty for runs that render nothing. The names
// of files are relative to this process's folder. Throws std::exception.
coverage::report cover(const golden_case &of, const case_run &run, int seconds);

} // namespace tovra::test
