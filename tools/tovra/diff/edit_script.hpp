// Finds the elements that two sequences have in common, in order. This is the difference of two texts when
// their lines are numbers.
#pragma once

#include <cstdint>
#include <vector>

namespace tovra::diff {

using row = std::vector<uint32_t>;

// For each element of `old_row`, the index of its partner in `new_row`, or -1. Partners are equal and have
// the same order on both sides. When the rows are similar, few possible partners are missed. When nearly
// everything differs the search is cut short, so that time grows with the lengths of the rows and not with
// their product.
std::vector<int64_t> partners(const row &old_row, const row &new_row);

} // namespace tovra::diff
