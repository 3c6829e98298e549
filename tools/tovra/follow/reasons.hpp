// Why a line is not written, in words.
#pragma once

#include <string>

#include "zu_tovra/zu_tovra.h"

namespace tovra::follow {

std::string reason(const zu_tvr_event &withheld);
// A short name of ZU_TVR_WITHHELD_*.
const char *reason_name(int32_t reason);
// The condition of a print node as it is written, or empty.
std::string condition_of(const zu_tvr_node &node);

} // namespace tovra::follow
