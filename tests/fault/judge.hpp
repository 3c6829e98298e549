// Checks the rules that apply after a failure.
#pragma once

#include "driver.hpp"

namespace fault {

// What is wrong with what a failure led to, when `wanted` is what comes without it; empty: nothing.
std::string wrong(const outcome &got, const outcome &wanted, const scenario &tried, const kind &failing);

// What differs, for a message.
std::string words(const outcome &got, const outcome &wanted);

} // namespace fault
