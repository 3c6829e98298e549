// The reasons why a line is not written, in words.
#pragma once

#include <string>

#include "zu_tovra/zu_tovra.h"

namespace tovra::follow {

std::string reason(const zu_tvr_event &withheld);
// The short name of ZU_TVR_WITHHELD_*.
const char *reason_name(int32_t reason);
// The text of a print node's condition, or empty.
std::string condition_of(const zu_tvr_node &node);

} // namespace tovra::follow
