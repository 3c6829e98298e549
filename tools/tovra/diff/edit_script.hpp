// Which elements of two rows are the same, in order: the difference of two texts, their lines as numbers.
#pragma once

#include <cstdint>
#include <vector>

namespace tovra::diff {

using row = std::vector<uint32_t>;

// For each element of `old_row` the index of its partner in `new_row`, or -1. Partners are equal and in the
// same order on both sides. Few are left out when much is equal; where nearly nothing is, the search is cut
// short, so that time grows with the rows and not with their product.
std::vector<int64_t> partners(const row &old_row, const row &new_row);

} // namespace tovra::diff
